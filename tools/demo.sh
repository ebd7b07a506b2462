#!/bin/sh
# What modemctl does, on a simulated router with a simulated modem: the shipped binary, its real paths, a real terminal.
set -eu

build=$1
show() {
    echo
    echo "\$ modemctl $*"
    "$build/simrouter" --modem EC25@1-1.2 -- modemctl "$@"
}

echo "A router with a simulated Quectel EC25 on USB bus 1-1.2."
show -D sim-status
show carrier
show get_mode
show check_register
show signal
show cells
show AT ATI
show AT AT+QNWINFO
echo
echo "The same router, online with the APN of the SIM's network:"
database='/www/src/lib/apn-config.js=var apn_config_default ={"apns":{"apn":[
{"-mcc":"232","-mnc":"03","-apn":"internet.example"}]}}'
# shellcheck disable=SC2016
"$build/simrouter" --modem EC25,imsi=232031234567890 --link address=10.64.1.2/30 --put-text /tmp/sim_status=ready \
    --put-text /tmp/sim_type=none --put-text "$database" -- sh -c '
        for command in "modemctl connect-auto" "uci show network.modem_1_1_2" \
                       "ubus -S call network.interface.modem_1_1_2 status"; do
            printf "\n\$ %s\n" "$command"
            $command
        done'
echo
echo "That was $build/modemctl in the simulated router. Try it yourself:"
echo "    $build/simrouter --modem EC25            (a shell on that router)"
echo "    $build/simrouter --list                  (the modems it can simulate)"
