#pragma once

#include "tests/paths.h"
#include "walk.h"

// What tests of going online on a kernel share: the files that a router has for it, and shell functions.

inline Lines with_online_files(Lines options)
{
    const std::string packaging = std::string(SOURCE_ROOT) + "/packaging";
    options.insert(options.end(), {"--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=att", "--put",
                                   packaging + "/openwrt/files/usr/libexec/modemctl:/usr/libexec/modemctl", "--put",
                                   packaging + "/data/models:/usr/share/modemctl/models"});
    return options;
}

/// device BUS NUMBER: the device of that interface. The others take a network interface: status, field NAME MEMBER,
/// is_up, is_pending, until_up, until_error NAME CODE (prints the status with it), and use: packets through it.
inline constexpr const char *online_functions = R"sh(
device() {
    for file in /sys/bus/usb/devices/$1:1.$2/ttyUSB* /sys/bus/usb/devices/$1:1.$2/usbmisc/cdc-wdm*; do
        [ ! -e $file ] || echo /dev/${file##*/}
    done
}
status() { ubus call network.interface.$1 status | tr -d ' \t\n'; }
field() { status $1 | sed -n "s/.*\"$2\":\"\([^\"]*\)\".*/\1/p"; }
is_up() { ubus call network.interface.$1 status | grep -q '"up": true'; }
is_pending() { ubus call network.interface.$1 status | grep -q '"pending": true'; }
until_up() { wait_until "is_up $1"; }
until_error() { wait_until "status $1 >/tmp/status; grep -q $2 /tmp/status"; cat /tmp/status; echo; }
use() {
    there=$(field $1 l3_device)
    ip route add 10.99.0.0/24 dev $there
    busybox ping -A -c 2 -W 60 10.99.0.1 | grep received
    timeout 200 wget -q -O - http://10.99.0.1/300000 | md5sum
    ip route del 10.99.0.0/24 dev $there
}
# online BUS KIND NUMBER APN
connect() { modemctl $1 connect $2 $(device $1 $3) fdd_lte $4 | grep success; }
online() {
    name=modem_$(echo $1 | tr .- __)
    connect "$@"
    until_up $name
    echo $1 $(field $name proto) $(status $name | sed 's/.*"address":"\([^"]*\)".*/\1/')
    use $name
    ifdown $name
    ! is_up $name || echo still up
}
)sh";

inline const std::string used =
    "2 packets transmitted, 2 packets received, 0% packet loss\n89b69b8e5d56ca5115ae0590209d55b3  -\n";

/// What online() prints.
inline std::string was_online(const std::string &bus, const std::string &protocol, const std::string &address)
{
    return "connect success\n" + bus + ' ' + protocol + ' ' + address + '\n' + used;
}
