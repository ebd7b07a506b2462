#!/bin/sh
# Builds modemctl and libmodemapi.so for routers' processors into build-target/<target>. Arguments: the targets.
set -eu

cd "$(dirname "$0")/.."
cache=$PWD/build-target/.cache
tools/setup_target.sh "$@"
for target in "$@"; do
    build=build-target/$target
    cmake -G Ninja -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/musl.cmake" -DTARGET="$target" \
        -DCROSS_CACHE="$cache" -DCMAKE_BUILD_TYPE=MinSizeRel -DWORKSTATION=OFF
    cmake --build "$build" -j"$(nproc)"
    ls -l "$build/modemctl" "$build/libmodemapi.so"
done
