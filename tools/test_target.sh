#!/bin/sh
# Runs the system tests with the modemctl of build-target/<target>, which qemu executes in the simulated router; all else
# of it is this machine's own build. Arguments: the target, the build folder, and tests to choose (a pattern of
# googletest; all when not given). The last line is "N passed, N failed".
set -eu

target=$1
build=$2
cd "$(dirname "$0")/.."
case ${target%%-*} in
x86_64) runner= ;;
*) runner=$(command -v "qemu-${target%%-*}-static") ;;
esac
list=$build/target-tests
"$build/system_tests" --gtest_filter="${3:-*}" --gtest_list_tests |
    awk '/^[^ ]/ { suite = $1; next } { print suite $1 }' >"$list.names"
export ROUTER_OPTIONS="--products $PWD/build-target/$target${runner:+ --runner $runner}"
rm -rf "$list.logs"
mkdir -p "$list.logs"
# As in the main run most tests wait, so that more of them run at a time than there are processors.
# shellcheck disable=SC2016 # the inner shell's
xargs -P $(($(nproc) * 4)) -I{} sh -c '
    log=$(echo "$1" | tr / _)
    if timeout 180 "$2/system_tests" --gtest_filter="$1" >"$3.logs/$log" 2>&1; then
        echo passed
    else
        echo "failed $1"
    fi' sh {} "$build" "$list" <"$list.names" >"$list.results"
sed -n 's/^failed //p' "$list.results" | while read -r name; do
    cat "$list.logs/$(echo "$name" | tr / _)"
done
echo "$(grep -c ^passed "$list.results") passed, $(grep -c ^failed "$list.results") failed"
! grep -q ^failed "$list.results"
