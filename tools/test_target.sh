#!/bin/sh
# Runs the unit tests of build-target/<target> and, with its modemctl and its library's code, the system tests: qemu
# executes those two in the simulated router, all else of which is this machine's own build. Arguments: the target, the build
# folder of this machine, and --some for the choice that "make test-all" takes. The last line is "N passed, N failed, N skipped".
set -eu

target=$1
build=$2
cd "$(dirname "$0")/.."
processor=${target%%-*}
if [ "$processor" = "$(uname -m)" ]; then
    runner=
else
    runner=$(command -v "qemu-$processor-static")
fi
# What differs between processors and C libraries: terminals, files, numbers, texts, ubus, a whole connection.
# The table of APNs is made by this machine's build only.
units_left_out='ApnTable.*'
system_tests="*"
if [ "${3:-}" = --some ]; then
    units_left_out="$units_left_out:*UciCommand.*:Truth.HasNoWrongValue*"
    system_tests='At.*:Signal.*:Cells.*:Carrier.*:Status.*:Summary.*:Convert.*:Connect.*:ConnectAuto.*:NewConnectAuto.*'
    system_tests="$system_tests:Disconnect.*:All/*:WifiStep.*:Thermal.*:Iccid.*:SmsDaemon.*:SmsList.*:Forward.*:Usage.*"
fi
# The simulated router's own, and what this machine's build or its C library is needed for.
left_out='^(Simulat|SimrouterOptions|Journal|RecordedCommand|RouterNetwork|BackEndInC)|MakesNoMistakeThatValgrindSees'
left_out="$left_out|HasThePppStatistics"
# Stepping through a program's system calls would be stepping through qemu's.
[ -z "$runner" ] || left_out="$left_out|^SlowKill"
# qemu does not know the question whether a terminal is exclusive (TIOCGEXCL).
[ -z "$runner" ] || units_left_out="$units_left_out:PutPortBackOnSignals.*"
# A list of network devices: qemu does not byte-swap an empty last attribute of a message, and musl then loops.
case $processor in
mips | mips64 | powerpc)
    units_left_out=$units_left_out:Traffic.OfADeviceThatDoesNotExistIsNothing
    left_out="$left_out|^Status.*(OfAnInterfaceThatIsUp|HasTheKernelsCounters|SurvivesWhatever|WithPassThroughTakes)"
    left_out="$left_out|WithoutTheKernelsTable"
    ;;
esac

log=$build/target-tests
rm -rf "$log.logs"
mkdir -p "$log.logs"

count() { grep -cE "$1" "$2" || true; }

# One process for all unit tests, because qemu starts slowly. A run that does not end is a failure too.
# shellcheck disable=SC2086 # no word where no runner is needed
timeout 600 $runner "build-target/$target/unit_tests" --gtest_filter="-$units_left_out" >"$log.unit" 2>&1 || true
passed=$(count '^\[       OK \]' "$log.unit")
skipped=$(count '^\[  SKIPPED \].* ms\)$' "$log.unit")
failed=$(count '^\[  FAILED  \].* ms\)$' "$log.unit")
grep -q '^\[==========\] .* ran\.' "$log.unit" || failed=$((failed + 1))
[ "$failed" = 0 ] || cat "$log.unit"

"$build/system_tests" --gtest_filter="$system_tests" --gtest_list_tests |
    awk '/^[^ ]/ { suite = $1; next } { print suite $1 }' | grep -vE "$left_out" >"$log.names"
export ROUTER_OPTIONS="--products build-target/$target${runner:+ --runner $runner}"
# As in the main run most tests wait, so that more of them run at a time than there are processors.
# shellcheck disable=SC2016 # the inner shell's
xargs -P $(($(nproc) * 4)) -I{} sh -c '
    log=$(echo "$1" | tr / _)
    if timeout 300 "$2/system_tests" --gtest_filter="$1" >"$3.logs/$log" 2>&1; then
        grep -q "^\[  SKIPPED \]" "$3.logs/$log" && echo skipped || echo passed
    else
        echo "failed $1"
    fi' sh {} "$build" "$log" <"$log.names" >"$log.results"
sed -n 's/^failed //p' "$log.results" | while read -r name; do
    cat "$log.logs/$(echo "$name" | tr / _)"
done
passed=$((passed + $(count ^passed "$log.results")))
failed=$((failed + $(count ^failed "$log.results")))
skipped=$((skipped + $(count ^skipped "$log.results")))
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
