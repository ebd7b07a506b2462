#include "simulator/network/protocol_scripts.h"

#include "simulator/network/network_status.h"

namespace simulator {

namespace {

constexpr const char *common = R"sh(
failed() { echo "error $1"; exit 1; }
until_end() { read -r end; }
[ -e "$device" ] || [ -e "/sys/class/net/$device" ] || failed NO_DEVICE
# The input is for the shell: programs in the background have none.
exec 3<&0 </dev/null
run_until_end() {
    "$@" &
    program=$!
    { until_end <&3; kill $program; } &
    stopper=$!
    wait $program
    status=$?
    kill $stopper 2>/dev/null
    return $status
}
at() { # at COMMAND...: each must be answered with OK
    for command in "$@"; do
        shift
        set -- "$@" "$command" OK
    done
    chat -t 20 ABORT ERROR '' "$@" <"$device" >"$device"
}
lease() {
    ip link set "$l3_device" up
    printf '%s\n' "#!$(command -v busybox) sh" '[ "$1" != bound ] || echo "up $interface $ip $mask $router $dns"' \
        >/var/run/lease.script
    chmod +x /var/run/lease.script
    run_until_end busybox udhcpc -f -t 3 -T 2 -A 3 -s /var/run/lease.script -i "$l3_device" 2>&1
}
)sh";

constexpr const char *qmi = R"sh(
control=/sys/class/usbmisc/${device##*/}/device
l3_device=$(ls "$control/net") || failed NO_IFACE
q() { timeout 60 qmicli -d "$device" "$@" 2>&1; }
ip link set "$l3_device" down
if [ "$raw_ip" = 1 ]; then
    echo Y >"/sys/class/net/$l3_device/qmi/raw_ip"
    q --wda-set-data-format=raw-ip
else
    echo N >"/sys/class/net/$l3_device/qmi/raw_ip"
    q --wda-set-data-format=802-3
fi
client() { echo "$call" | sed -n "s/.*CID: '\(.*\)'/\1/p"; }
call=$(q --client-no-release-cid \
    --wds-start-network="ip-type=4${apn:+,apn=$apn}${username:+,username=$username}${password:+,password=$password}") || {
    echo "$call"
    q --wds-noop --client-cid="$(client)"
    failed CALL_FAILED
}
settings=$(q --wds-get-current-settings)
value() { echo "$settings" | sed -n "s/.*$1: *//p"; }
ip link set "$l3_device" up
address=$(value 'IPv4 address')
echo "up $l3_device $address $(busybox ipcalc -p "$address" "$(value 'IPv4 subnet mask')" | cut -d= -f2)" \
    $(value 'IPv4 gateway address') $(value 'IPv4 primary DNS') $(value 'IPv4 secondary DNS')
until_end <&3
q --client-cid="$(client)" --wds-stop-network="$(echo "$call" | sed -n "s/.*data handle: '\(.*\)'/\1/p")"
)sh";

constexpr const char *mbim = R"sh(
l3_device=$(ls "/sys/class/usbmisc/${device##*/}/device/net") || failed NO_IFACE
m() { timeout 60 mbimcli -d "$device" "$@" 2>&1; }
m --attach-packet-service || failed ATTACH_FAILED
call=$(m --no-close --connect="access-string=$apn${username:+,username=$username}${password:+,password=$password}") || {
    echo "$call"
    failed CONNECT_FAILED
}
value() { echo "$call" | sed -n "s/.*$1: '\(.*\)'/\1/p"; }
ip link set "$l3_device" up
echo "up $l3_device $(value 'IP \[0\]' | tr / ' ')" $(value 'Gateway') $(value 'DNS \[[01]\]')
until_end <&3
m --no-open="$(value TRID)" --disconnect
)sh";

/// Its result is the line of the other end: pppd itself has given the device its address.
constexpr const char *dial = R"sh(
files=/var/run/dial.$interface
# chat itself puts the APN in: whatever is in it stays one text.
export APN="$apn"
context='AT+CGDCONT=1,"IP","$APN"'
printf '%s\n' "ABORT 'NO CARRIER' ABORT ERROR TIMEOUT 20 '' AT OK ${apn:+'$context' OK} 'ATD*99***1#' CONNECT" >$files
# As on a router, pppd itself says what it was given: its file of name servers is every call's.
rm -f $files.address
printf '%s\n' "#!$(command -v busybox) sh" "echo up \$1 \$4 32 \$5 \$DNS1 \$DNS2 >$files.new" \
    "mv $files.new $files.address" >$files.up
chmod +x $files.up
tell_address() {
    until [ -e $files.address ]; do
        kill -0 $$ 2>/dev/null || return
        sleep 0.1
    done
    cat $files.address
}
tell_address &
teller=$!
run_until_end pppd "$device" 115200 nodetach noauth noipdefault nodefaultroute usepeerdns crtscts modem \
    ifname "$l3_device" ip-up-script $files.up connect "chat -E -s -f $files" \
    ${username:+user "$username"} ${password:+password "$password"} 2>&1
status=$?
kill $teller 2>/dev/null
case $status in
11 | 19) failed AUTH_FAILED ;;
2) failed INVALID_OPTIONS ;;
esac
)sh";

/// The makers' commands that begin and end the session of the network device.
constexpr const char *ncm = R"sh(
case $(cat "/sys/class/tty/${device##*/}/device/../../idVendor") in
2c7c) start=AT+QNETDEVCTL=1,1,1 stop=AT+QNETDEVCTL=0,1,1 ;;
19d2) start=AT+ZGACT=1,1 stop=AT+ZGACT=0,1 ;;
*) start=AT+CGACT=1,1 stop=AT+CGACT=0,1 ;;
esac
[ -z "$apn" ] || at "AT+CGDCONT=1,\"IP\",\"$apn\"" || failed CONFIGURE_FAILED
at $start || failed CONNECT_FAILED
lease
at $stop
)sh";

constexpr const char *directip = R"sh(
[ -e "/sys/class/net/$l3_device" ] || failed NO_IFNAME
[ -z "$apn" ] || at "AT+CGDCONT=1,\"IP\",\"$apn\"" || failed CONNECT_FAILED
at AT!SCACT=1,1 || failed CONNECT_FAILED
lease
at AT!SCACT=0,1
)sh";

constexpr const char *dhcp = "lease\n";

constexpr std::pair<const char *, const char *> scripts[] = {
    {"qmi", qmi}, {"qcm", qmi}, {"mbim", mbim}, {"3g", dial}, {"ncm", ncm}, {"directip", directip}, {"dhcp", dhcp}};

std::string in_quotes(const std::string &text)
{
    std::string quoted = "'";
    for (const char character : text)
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return quoted + "'";
}

} // namespace

std::string protocol_script(const InterfaceSection &section, const std::string &device)
{
    for (const auto &[protocol, script] : scripts) {
        if (option_of(section, "proto") != protocol)
            continue;
        std::string text = "interface=" + in_quotes(section.name) + "\nl3_device=" + in_quotes(device) + '\n';
        for (const char *option : {"device", "apn", "username", "password", "raw_ip"})
            text += option + ('=' + in_quotes(option_of(section, option))) + '\n';
        return text + common + script;
    }
    return {};
}

} // namespace simulator
