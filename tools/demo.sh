#!/bin/sh
# What modemctl does, on a simulated router with a simulated modem: the shipped binary, its real paths, a real terminal.
set -eu

build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/apns" <<'END'
/www/src/lib/apn-config={"apns":{"apn":[
{"-mcc":"232","-mnc":"03","-apn":"mms.example","-type":"mms"},
{"-mcc":"232","-mnc":"03","-apn":"internet.example"},
{"-mcc":"232","-mnc":"03","-apn":"old.example"}]}}
END
cat >"$work/story" <<'END'
explain() {
    echo
    for line; do echo "# $line"; done
}
show() {
    echo "\$ $*"
    "$@"
}
echo
echo "== A router with a Quectel EC25 on USB bus 1-1.2"
explain "Which modem is it, and is its SIM card ready? -D also prints what the program finds on USB: the port for AT commands" \
    "is control_port. The answer is the last line."
show modemctl -D sim-status

echo
echo "== Its network and signal"
explain "The operator's name."
show modemctl carrier
explain "The generation of the network."
show modemctl get_mode
explain "Is the modem registered in the network? 0 means yes."
show modemctl check_register
explain "The signal, in dBm and dB, and a grade: strength, from 1, the weakest, to 4."
show modemctl signal
explain "The cell that serves the modem, and its neighbours."
show modemctl cells
explain "Everything that the modem reports, on one page. With --json it is a document for programs."
show modemctl info
explain "Any AT command. This one asks for the network, its number (country 232, network 03) and the band."
show modemctl AT AT+QNWINFO

echo
echo "== Online without any setting"
explain "The APN database has three APNs for the SIM's network. The first is for picture messages and is left out; the second" \
    "works, so the third is not tried. The modem needs a second or two to connect."
show modemctl connect-auto
explain "What it wrote into the router's configuration (fdd_lte is the kind of service)."
show uci show network.modem_1_1_2
explain "The network device of the modem is up and has an address."
show ifconfig wwan0
explain "A summary. \"modem_up\": \"1\" means that the interface is up."
show modemctl test

echo
echo "== What a web interface asks"
explain "modemapi stands in for a web back end: it calls the library's handlers. The number before each answer is the" \
    "handler's status, and 0 is success. First the modems of this router, and how they are reached."
show modemapi get /modem/brief_info
explain "The text messages that have arrived, for the modem with number 3 (modem_id above)."
show modemapi get /modem/sms/list '{"modem_id":3}'

echo
echo "== Offline again, as a web interface does it"
explain "Success has an empty answer."
show modemapi post /modem/enable '{"bus":"1-1.2","disable":true}'
explain "The network device is down: it has no address, and UP is gone from its flags."
show ifconfig wwan0
END

"$build/simrouter" --modem EC25@1-1.2,imsi=232031234567890 --link apn=internet.example,setup=200,address=10.64.1.2/30,traffic=1234567/89012 \
    --put-text /tmp/sim_status=ready --put-text /tmp/sim_type=none \
    --put-text "/usr/share/modem/operator.dat=23203,T-Mobile A" --put "$work/apns:/www/src/lib/apn-config.js" \
    --put-text "/etc/spool/sms/incoming/GMS99.aBcDeF=From: 436601234567
From_TOA: 91 international, ISDN/telephone
Sent: 26-11-21 01:02:03

Your package is ready" --put "$work/story:/tmp/story" -- sh /tmp/story

echo
echo "That was $build/modemctl in the simulated router. Try it yourself:"
echo "    $build/simrouter --modem EC25            (a shell on that router)"
echo "    $build/simrouter --list                  (the modems it can simulate)"
