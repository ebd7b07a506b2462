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
echo "That was $build/modemctl in the simulated router. Try it yourself:"
echo "    $build/simrouter --modem EC25            (a shell on that router)"
echo "    $build/simrouter --list                  (the modems it can simulate)"
