#!/bin/sh
# Runs the tests of each build folder given, and, behind "--targets", those of routers' processors that the simulated
# router can run by qemu, and closes with one line, "N passed, N failed", over all of them. Tests mostly wait (for a silent
# modem, for an interface), so more of them run at a time than there are processors.
set -u

at_a_time=$(($(nproc) * 4))
passed=0
failed=0
first_build=$1

# What differs between processors and C libraries: terminals, files, numbers, texts, ubus, a whole connection.
target_tests='At.*:Signal.*:Cells.*:Carrier.*:Status.*:Summary.*:Convert.*:Connect.*:ConnectAuto.*:NewConnectAuto.*'
target_tests="$target_tests:Disconnect.*:All/Model.*:WifiStep.*:Thermal.*:Iccid.*:SmsDaemon.*"

run_build() {
    echo "== $1"
    log=$1/test.log
    ctest --test-dir "$1" -j "$at_a_time" --timeout 180 --output-on-failure >"$log" 2>&1
    # A line of ctest's that begins with "<n>% tests passed" tells the totals; without it nothing ran.
    totals=$(sed -n 's/^[0-9]*% tests passed, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log")
    if [ -z "$totals" ]; then
        cat "$log"
        failed=$((failed + 1))
        return
    fi
    [ "${totals% *}" = 0 ] || grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed |^ *Start +[0-9]+: ' "$log"
    failed=$((failed + ${totals% *}))
    passed=$((passed + ${totals#* } - ${totals% *}))
}

run_target() {
    echo "== $1"
    log=$first_build/$1.log
    result=0
    tools/setup_target.sh "$1" >"$log" 2>&1 || result=$?
    # Without a network that has the cross-compiler there is nothing to run, which is no fault of the product.
    if [ "$result" -eq 3 ]; then
        echo "The cross-compiler cannot be had here: the tests of $1 are not run."
        return
    fi
    if ! tools/build_target.sh "$1" >"$log" 2>&1; then
        tail -n 40 "$log"
        failed=$((failed + 1))
        return
    fi
    tools/test_target.sh "$1" "$first_build" "$target_tests" >"$log" 2>&1
    totals=$(sed -n 's/^\([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' "$log" | tail -n 1)
    [ "${totals:-0 1}" != "${totals% 0}" ] || cat "$log"
    passed=$((passed + ${totals% *}))
    failed=$((failed + ${totals#* }))
}

run=run_build
for what in "$@"; do
    if [ "$what" = --targets ]; then
        run=run_target
    else
        $run "$what"
    fi
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
