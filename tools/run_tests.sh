#!/bin/sh
# Runs the tests of each build folder given and closes with one line, "N passed, N failed", over all of them. Tests mostly
# wait (for a silent modem, for an interface), so more of them run at a time than there are processors.
set -u

at_a_time=$(($(nproc) * 4))
passed=0
failed=0
for build in "$@"; do
    echo "== $build"
    log=$build/test.log
    ctest --test-dir "$build" -j "$at_a_time" --timeout 180 --output-on-failure >"$log" 2>&1
    # A line of ctest's that begins with "<n>% tests passed" tells the totals; without it nothing ran.
    totals=$(sed -n 's/^[0-9]*% tests passed, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log")
    if [ -z "$totals" ]; then
        cat "$log"
        failed=$((failed + 1))
        continue
    fi
    [ "${totals% *}" = 0 ] || grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed |^ *Start +[0-9]+: ' "$log"
    failed=$((failed + ${totals% *}))
    passed=$((passed + ${totals#* } - ${totals% *}))
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
