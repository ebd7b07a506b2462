#!/bin/sh
# Carries a text of BYTES bytes (100 million) through a modem of each connection kind on Debian's kernel, and compares what
# arrives with what was sent: tests/kernel/carry.sh [BYTES [KIND...]]. It takes minutes, so no test runs it.

cd "$(dirname "$0")/../.." || exit 1
bytes=${1:-100000000}
[ $# -gt 0 ] && shift
kinds=${*:-qmi ecm ncm mbim ppp}
profile=build/ncm.modem
result=0

# No model in the profiles speaks NCM.
printf '%s\n' 'include EC200T' 'model NCM' 'usb 2c7c:6026' 'interface 0 none ncm netdev usb0' 'interface 2 ttyUSB silent' \
	'interface 3 ttyUSB at' 'interface 4 ttyUSB at' >"$profile"

# carry MODEM HOW DEVICE: prints the text's sum, and the seconds that it took
carry() {
	build/simrouter --kernel --modem "$1" --link apn=internet --put packaging/data/models:/usr/share/modemctl/models -- sh -c "
		modemctl connect $2 $3 fdd_lte internet >/dev/null 2>&1
		tries=0
		until ubus call network.interface.modem_1_1_2 status | grep -q '\"up\": true' || [ \$tries -ge 600 ]; do
			tries=\$((tries + 1))
			sleep 0.1
		done
		start=\$(cut -d. -f1 /proc/uptime)
		wget -q -O - http://10.99.0.1/$bytes | md5sum | cut -d' ' -f1
		echo \$((\$(cut -d. -f1 /proc/uptime) - start))" 2>/dev/null
}

wanted=$(seq "$bytes" | head -c "$bytes" | md5sum | cut -d' ' -f1)
for kind in $kinds; do
	case $kind in
	qmi) got=$(carry EC25 qmi /dev/cdc-wdm0) ;;
	ecm) got=$(carry EC200T serial /dev/ttyUSB2) ;;
	ncm) got=$(carry "$PWD/$profile" serial /dev/ttyUSB2) ;;
	mbim) got=$(carry EM9190 qmi /dev/cdc-wdm0) ;;
	ppp) got=$(carry EC25 serial /dev/ttyUSB3) ;;
	*)
		echo "no connection kind: $kind"
		exit 64
		;;
	esac
	seconds=${got#* }
	seconds=${seconds##*
}
	case $got in
	"$wanted"*) echo "$kind: $bytes bytes in $seconds s" ;;
	*)
		echo "$kind: not what was sent: $got"
		result=1
		;;
	esac
done
exit $result
