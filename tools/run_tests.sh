#!/bin/sh
# Runs the tests of each build folder given, and, behind "--targets", those of routers' processors that the simulated
# router can run by qemu, and closes with one line, "N passed, N failed", over all of them. Tests mostly wait (for a silent
# modem, for an interface), so more of them run at a time than there are processors.
set -u

at_a_time=$(($(nproc) * 6))
passed=0
failed=0
first_build=$1

run_build() {
    echo "== $1"
    log=$1/test.log
    ctest --test-dir "$1" -j "$at_a_time" --timeout 300 --output-on-failure >"$log" 2>&1
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
    tools/test_target.sh "$1" "$first_build" --some >"$log" 2>&1
    totals=$(sed -n 's/^\([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' "$log" | tail -n 1)
    totals=${totals:-0 1}
    [ "${totals#* }" = 0 ] || cat "$log"
    passed=$((passed + ${totals% *}))
    failed=$((failed + ${totals#* }))
}

# What the programs for routers may weigh.
check_sizes() {
    echo "== sizes"
    if bench/run.py "$first_build" sizes >"$first_build/sizes.log" 2>&1; then
        passed=$((passed + 1))
    else
        cat "$first_build/sizes.log"
        failed=$((failed + 1))
    fi
}

words=$*
builds=${words%%--targets*}
targets=
# What is built for targets is built while the tests wait, and gets in nobody's way.
case $words in
*--targets*)
    targets=${words##*--targets}
    # shellcheck disable=SC2086 # one word per target
    nice -n 19 tools/build_target.sh --tests $targets >"$first_build/targets.log" 2>&1 &
    ;;
esac
for build in $builds; do
    run_build "$build"
done
if [ -n "$targets" ]; then
    wait $!
    case $? in
    0)
        for target in $targets; do
            run_target "$target"
        done
        check_sizes
        ;;
    # Without a network that has the cross-compiler there is nothing to run, which is no fault of the product.
    3) echo "There is no npm registry to fetch the cross-compiler from: no tests of$targets" ;;
    *)
        tail -n 40 "$first_build/targets.log"
        failed=$((failed + 1))
        ;;
    esac
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
