#!/bin/sh
# Searches for inputs that break a parser or a handler: fuzz.sh SECONDS [TARGET...], each target for so many seconds. What
# adds coverage is kept in tests/fuzz/corpus/<target>, what breaks is left in build-fuzz/search/<target>. One line per
# target; exit status 1 when one broke.
set -eu

seconds=$1
shift
cd "$(dirname "$0")/.."
for package in clang libclang-rt-14-dev; do
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' && continue
    [ "$(id -u)" -eq 0 ] || { echo "Please run: sudo apt-get install $package" >&2; exit 1; }
    DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "$package" >/dev/null
done
cmake -G Ninja -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSANITIZE=ON -DFUZZING=ON \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
# shellcheck disable=SC2046 # a word per target
[ $# -gt 0 ] || set -- $(cd tests/fuzz && echo *_fuzz.cpp | sed 's/_fuzz\.cpp//g')
status=0
for target in "$@"; do
    cmake --build build-fuzz --target "${target}_fuzz" simrouter -j"$(nproc)" >/dev/null
    corpus=$PWD/tests/fuzz/corpus/$target
    work=$PWD/build-fuzz/search/$target
    rm -rf "$work"
    mkdir -p "$corpus"
    search="$PWD/tools/fuzz_target.sh $PWD/build-fuzz/${target}_fuzz $corpus $seconds"
    if grep -q require_simulated_router "tests/fuzz/${target}_fuzz.cpp"; then
        # It changes files that a machine has too: it runs in a router, of which the results are brought out.
        mkdir -p "$work"
        build-fuzz/simrouter --modem EC25 -- sh -c "$search /tmp/search; tar -C /tmp/search -c ." | tar -C "$work" -x
    else
        # shellcheck disable=SC2086 # several words
        $search "$work"
    fi
    cp -n "$work"/kept/* "$corpus/"
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log" | head -n 1)
    coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$work/log" | tail -n 1)
    verdict=ok
    if [ "$(cat "$work/result")" -ne 0 ]; then
        verdict="BROKEN: see $work"
        status=1
    fi
    printf '%-10s %10s runs  coverage %6s  %s\n' "$target" "${runs:-?}" "${coverage:-?}" "$verdict"
done
exit "$status"
