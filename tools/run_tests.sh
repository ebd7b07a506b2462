#!/bin/sh
# Runs the tests of each build folder given, and closes with one line, "N passed, N failed, N skipped", over all that ran.
# Tests mostly wait (for a silent modem, for an interface), so more of them run at a time than there are processors.
#   -l LABELS    only the tests with one of these labels ("quick|test"): see tests/CMakeLists.txt
#   -s SUITE     only the tests whose name begins like this ("Cells*", "Cells*.Are*"), or like one of these ("Cells*:Carrier*")
#   -t TARGETS   the tests of these routers' processors too, which the simulated router runs by qemu, and the products' sizes
#   -n N         so many at a time for each processor (6)
#   -c FILE      keep the counts there when all passed;  -a FILE  add the counts kept there
set -u

each=6
passed=0
failed=0
skipped=0
labels=.
names=.
targets=
keep=
while getopts l:s:t:n:c:a: option; do
    case $option in
    l) labels="^($OPTARG)\$" ;;
    s) [ -z "$OPTARG" ] || names="\.([^./]*/)?($(echo "$OPTARG" | sed 's/\./\\./g; s/\*/.*/g; s/?/./g; s/:/|/g'))([./]|\$)" ;;
    t) targets=$OPTARG ;;
    n) each=$OPTARG ;;
    c) keep=$OPTARG ;;
    a) read -r passed failed skipped <"$OPTARG" ;;
    *) exit 64 ;;
    esac
done
shift $((OPTIND - 1))
first_build=$1
at_a_time=$(($(nproc) * each))

# A line a second on a terminal, in place; else one every ten seconds: show_progress LOG & ... ; hide_progress
show_progress() {
    seconds=0
    while kill -0 $$ 2>/dev/null; do
        sleep 1
        seconds=$((seconds + 1))
        line=$(sed -n 's|^ *\([0-9]*\)/\([0-9]*\) Test .*|   \1 of \2|p' "$1" 2>/dev/null | tail -n 1)
        [ -n "$line" ] || line="   starting"
        if [ -t 1 ]; then
            printf '\r%s ' "$line"
        elif [ $((seconds % 10)) = 0 ]; then
            echo "$line"
        fi
    done
}

hide_progress() {
    kill "$watcher" 2>/dev/null
    wait "$watcher" 2>/dev/null
    [ ! -t 1 ] || printf '\r'
}

run_build() {
    echo "== the tests of $1"
    log=$1/test.log
    rm -f "$log"
    # The tests run in the foreground: an interrupt ends them, and none finds its signals ignored.
    show_progress "$log" &
    watcher=$!
    ctest --test-dir "$1" -L "$labels" -R "$names" -j "$at_a_time" --timeout 300 --output-on-failure >"$log" 2>&1
    hide_progress
    # A line of ctest's that begins with "<n>% tests passed" has the totals; without it nothing ran.
    totals=$(sed -n 's/^[0-9]*% tests passed, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log")
    if [ -z "$totals" ]; then
        cat "$log"
        failed=$((failed + 1))
        return
    fi
    # To ctest a skipped test has passed.
    not_run=$(grep -c '\*\*\*Skipped' "$log")
    [ "${totals% *}" = 0 ] ||
        grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* (Passed|\*\*\*Skipped) |^ *Start +[0-9]+: ' "$log"
    failed=$((failed + ${totals% *}))
    skipped=$((skipped + not_run))
    passed=$((passed + ${totals#* } - ${totals% *} - not_run))
}

run_target() {
    echo "== the tests of $1"
    log=$first_build/$1.log
    tools/test_target.sh "$1" "$first_build" --some >"$log" 2>&1
    totals=$(sed -n 's/^\([0-9]*\) passed, \([0-9]*\) failed, \([0-9]*\) skipped$/\1 \2 \3/p' "$log" | tail -n 1)
    read -r target_passed target_failed target_skipped <<END
${totals:-0 1 0}
END
    [ "$target_failed" = 0 ] || cat "$log"
    passed=$((passed + target_passed))
    failed=$((failed + target_failed))
    skipped=$((skipped + target_skipped))
}

# What the programs for routers may weigh.
check_sizes() {
    echo "== the sizes of the products"
    if bench/run.py "$first_build" sizes >"$first_build/sizes.log" 2>&1; then
        passed=$((passed + 1))
    else
        cat "$first_build/sizes.log"
        failed=$((failed + 1))
    fi
}

if [ -n "$targets" ]; then
    # shellcheck disable=SC2086 # one word per target
    tools/setup_target.sh $targets
    if [ $? = 3 ]; then
        # There is nothing to run then, which is no fault of the product.
        echo "The tests of $targets and of the products' sizes are skipped."
        # shellcheck disable=SC2086 # one word per target
        skipped=$((skipped + $(echo $targets | wc -w) + 1))
        targets=
    else
        # It is built while the tests wait, and gets in nobody's way. Of mips_24kc only the size counts.
        nice -n 19 sh -c "tools/build_target.sh --tests $targets && tools/build_target.sh mips_24kc" >"$first_build/targets.log" 2>&1 &
        building=$!
    fi
fi
for build in "$@"; do
    run_build "$build"
done
if [ -n "$targets" ]; then
    if wait "$building"; then
        for target in $targets; do
            run_target "$target"
        done
        check_sizes
    else
        tail -n 40 "$first_build/targets.log"
        failed=$((failed + 1))
    fi
fi
[ "$failed" -ne 0 ] || [ -z "$keep" ] || echo "$passed $failed $skipped" >"$keep"
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
