#!/bin/sh
# Builds modemctl and libmodemapi.so for routers' processors into build-target/<target>, and with --tests in front what
# tools/test_target.sh needs. Arguments: the targets. Exit status 3: see tools/setup_target.sh.
set -eu

cd "$(dirname "$0")/.."
cache=$PWD/build-target/.cache
goals="modemctl modem_api_library"
if [ "$1" = --tests ]; then
    goals="$goals unit_tests modemapi call_operation"
    shift
fi
tools/setup_target.sh "$@"
for target in "$@"; do
    build=build-target/$target
    cmake -G Ninja -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/target.cmake" -DTARGET="$target" \
        -DCROSS_CACHE="$cache" -DCMAKE_BUILD_TYPE=MinSizeRel -DWORKSTATION=OFF -DTARGET_TESTS=ON
    # shellcheck disable=SC2086 # one word per goal
    cmake --build "$build" -j"$(nproc)" --target $goals
    ls -l "$build/modemctl" "$build/libmodemapi.so"
done
