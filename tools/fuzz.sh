#!/bin/sh
# Searches for inputs that break a parser or a handler: fuzz.sh SECONDS [TARGET...], each target for so many seconds. What
# adds coverage is kept in tests/fuzz/corpus/<target>, what breaks is put into build-fuzz. One line per target.
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
for target in "$@"; do
    cmake --build build-fuzz --target "${target}_fuzz" simrouter -j"$(nproc)" >/dev/null
    log=build-fuzz/$target.log
    work=build-fuzz/found/$target
    mkdir -p "$work"
    run="$PWD/build-fuzz/${target}_fuzz -max_total_time=$seconds -rss_limit_mb=2048 -close_fd_mask=2 -print_final_stats=1"
    if [ "$target" = handlers ]; then
        # It changes files that a machine may have too; what it writes in the router is gone with it.
        result=0
        # shellcheck disable=SC2086 # several words
        build-fuzz/simrouter --modem EC25 -- $run "$PWD/tests/fuzz/corpus/$target" >"$log" 2>&1 || result=$?
    else
        result=0
        # shellcheck disable=SC2086
        $run -artifact_prefix="$work-" "$work" "tests/fuzz/corpus/$target" >"$log" 2>&1 || result=$?
        # Only what the kept inputs do not reach is added, the smallest first.
        "build-fuzz/${target}_fuzz" -merge=1 -close_fd_mask=2 "tests/fuzz/corpus/$target" "$work" >>"$log" 2>&1 || true
    fi
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | head -n 1)
    coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
    printf '%-10s %10s runs  coverage %6s  %s\n' "$target" "${runs:-?}" "${coverage:-?}" \
        "$([ "$result" -eq 0 ] && echo ok || echo "BROKEN: $log")"
done
