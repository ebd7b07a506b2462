#!/bin/sh
# Prints what modemctl costs: time, memory, instructions, size; beside gammu, which a user could pick instead, on the same
# simulated port in the same run. "own ms" is the median less the waits that the serial protocol prescribes (50 ms after
# opening a port, a transaction each).
set -eu

build=$(cd "$1" && pwd)
router="$build/simrouter --modem EC25"
gammu='printf "[gammu]\ndevice = /dev/ttyUSB2\nconnection = at115200\n" >/tmp/gammurc; exec gammu -c /tmp/gammurc'

echo "== one modem that answers at once: time and memory of a whole process"
$router -- "$build/measure" 15 \
    "modemctl AT ATI"          "modemctl AT ATI"          50 \
    "modemctl sim-status"      "modemctl sim-status"      100 \
    "modemctl signal"          "modemctl signal"          50 \
    "modemctl get_mode"        "modemctl get_mode"        50 \
    "modemctl cells"           "modemctl cells"           150
$router -- "$build/measure" 3 \
    "gammu identify"           "bash -c '$gammu identify'"    0 \
    "gammu networkinfo"        "bash -c '$gammu networkinfo'" 0
echo
echo "== no modem"
"$build/simrouter" -- "$build/measure" 15 "modemctl signal" "modemctl signal" 0
echo
echo "== instructions (callgrind)"
instructions() {
    name=$1
    shift
    count=$("$@" 2>&1 | sed -n 's/.*Collected : //p')
    printf '%-34s %s\n' "$name" "$count"
}
callgrind="valgrind --tool=callgrind --callgrind-out-file=/dev/null modemctl"
# shellcheck disable=SC2086 # $callgrind is several words
instructions "modemctl signal, no modem" "$build/simrouter" -- $callgrind signal
# shellcheck disable=SC2086 # and so is $router
instructions "modemctl signal, EC25"     $router -- $callgrind signal
echo
"$(dirname "$0")/footprint.sh" "$build"
echo
"$(dirname "$0")/growth.sh" "$build"
