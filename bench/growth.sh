#!/bin/sh
# Prints how the cost of a run grows with what it has to read, as instructions (callgrind), which are the same at every
# measurement, and peak memory. A cost that grows faster than its amount shows as a rising last column.
# shellcheck disable=SC2086 # $callgrind is several words
set -eu

build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

callgrind="valgrind --tool=callgrind --callgrind-out-file=/dev/null"

# Instructions of the command behind the options of the simulated router.
instructions() { "$build/simrouter" "$@" 2>&1 | sed -n 's/.*Collected : //p' | tail -1; }

# Rows of amount, instructions, peak KiB ("-" where it does not matter), instructions per unit over the first row's.
first_amount=
row() {
    if [ -z "$first_amount" ]; then
        first_amount=$1
        first_count=$2
        printf '%10s %15s %10s\n' "$1" "$2" "$3"
    else
        each=$((($2 - first_count) / ($1 - first_amount)))
        printf '%10s %15s %10s %12s each\n' "$1" "$2" "$3" "$each"
    fi
}

echo "== folders in sysfs: modemctl check_register"
for folders in 10 100 1000; do
    row $folders "$(instructions --modem EC25 --extra-folders $folders -- $callgrind modemctl check_register)" -
done
first_amount=

echo "== entries of the APN database: modemctl connect-auto (about 75 bytes an entry; 40,000 make 3 MB)"
peak_of() {
    "$build/simrouter" --modem EC25,imsi=232031234567890 --link setup=1 --put "$work/apns:/www/src/lib/apn-config.js" -- \
        "$build/measure" 1 row "modemctl connect-auto" 0 2>/dev/null | awk '$1 == "row" {print $5}'
}
for entries in 100 1000 10000 40000 100000; do
    awk -v n=$entries 'BEGIN {
        printf "var apn_config_default ={\"apns\":{\"apn\":["
        for (i = 0; i < n; i++)
            printf "%s\n{\"carrier\":\"Network %d\",\"-mcc\":\"%03d\",\"-mnc\":\"%02d\",\"-apn\":\"internet\"}",
                   i ? "," : "", i, i ? 300 + i % 400 : 232, i ? i % 100 : 3
        print "]}}"
    }' >"$work/apns"
    row $entries "$(instructions --modem EC25,imsi=232031234567890 --link setup=1 \
        --put "$work/apns:/www/src/lib/apn-config.js" -- $callgrind modemctl connect-auto)" "$(peak_of)"
done
first_amount=

echo "== messages in the spool: /modem/sms/list"
for messages in 1 100 1000 10000; do
    row $messages "$(instructions --modem EC25 -- sh -c "
        cd /etc/spool/sms/incoming; i=0
        while [ \$i -lt $messages ]; do
            printf 'From: 43660123\\nFrom_TOA: 91 international\\nSent: 26-11-21 01:02:03\\n\\nHello\\n' >GMS99.\$i; i=\$((i + 1))
        done
        exec $callgrind modemapi get /modem/sms/list '{\"modem_id\":3}'")" -
done
