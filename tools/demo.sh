#!/bin/sh
# What modemctl does, on a simulated router with a simulated modem: the shipped binary, its real paths, a real terminal.
set -eu

build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/apns" <<'END'
/www/src/lib/apn-config={"apns":{"apn":[
{"-mcc":"232","-mnc":"03","-apn":"mms.example","-type":"mms"},
{"-mcc":"232","-mnc":"03","-apn":"old.example"},
{"-mcc":"232","-mnc":"03","-apn":"internet.example"}]}}
END
cat >"$work/story" <<'END'
show() {
    printf '\n$ %s\n' "$*"
    "$@" 2>/dev/null
}
echo "== A router with a Quectel EC25 on USB bus 1-1.2. Which modem, which ports?"
show modemctl -D sim-status
echo
echo "== Its network and signal"
show modemctl carrier
show modemctl get_mode
show modemctl check_register
show modemctl signal
show modemctl cells
show modemctl AT AT+QNWINFO
echo
echo "== Online without any setting. The network takes one of the three APNs that the database has for this SIM."
show modemctl connect-auto
show uci show network.modem_1_1_2
show ifconfig wwan0
show modemctl test
echo
echo "== What the web interface asks"
show modemapi get /modem/brief_info
show modemapi get /modem/sms/list '{"modem_id":3}'
echo
echo "== Offline again, as the web interface does it"
show modemapi post /modem/enable '{"bus":"1-1.2","disable":true}'
show ifconfig wwan0
END

"$build/simrouter" --modem EC25@1-1.2,imsi=232031234567890 --link apn=internet.example,setup=200,address=10.64.1.2/30,traffic=1234567/89012 \
    --put-text /tmp/sim_status=ready --put-text /tmp/sim_type=none \
    --put-text "/usr/share/modem/operator.dat=23203,Example Mobile" --put "$work/apns:/www/src/lib/apn-config.js" \
    --put-text "/etc/spool/sms/incoming/GMS99.aBcDeF=From: 436601234567
From_TOA: 91 international, ISDN/telephone
Sent: 26-11-21 01:02:03

Your package is ready" --put "$work/story:/tmp/story" -- sh /tmp/story

echo
echo "That was $build/modemctl in the simulated router. Try it yourself:"
echo "    $build/simrouter --modem EC25            (a shell on that router)"
echo "    $build/simrouter --list                  (the modems it can simulate)"
