#!/bin/sh
# Prints what the products take on a router: for this machine and every target that was built ("make target"), the size
# of each product, stripped, and of modemctl's own code and data, which is what its rooms have in the linked program,
# without libc, json-c and the stand-ins.
set -eu

build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."

# Bytes that the functions and data of the rooms have in the linked program, by the symbols that both know. Symbols that
# were left out of the program do not count.
own_bytes() {
    folder=$1
    link=$(ninja -C "$folder" -t commands modemctl | tail -n 1 | sed 's/ -s / /g; s| -o modemctl | -o modemctl.symbols |')
    (cd "$folder" && sh -c "$link" 2>/dev/null)
    {
        nm --defined-only "$folder"/librooms.a "$folder"/CMakeFiles/modemctl.dir/core/main.cpp.o 2>/dev/null |
            awk 'NF == 3 { print "own", $3 }'
        nm -S --defined-only "$folder/modemctl.symbols" | awk 'NF == 4 { print "linked", $4, $2 }'
    } | python3 -c '
import sys
own, total = set(), 0
for line in sys.stdin:
    fields = line.split()
    if fields[0] == "own":
        own.add(fields[1])
    elif fields[1] in own:
        total += int(fields[2], 16)
print(total)'
    rm -f "$folder/modemctl.symbols"
}

printf '%-24s %12s %18s %14s\n' "stripped bytes" "modemctl" "libmodemapi.so" "modemctl's own"
for folder in "$build" build-target/*/; do
    [ -f "$folder/modemctl" ] || continue
    name=$(basename "$folder")
    [ "$folder" != "$build" ] || name="this machine (glibc)"
    for product in modemctl libmodemapi.so; do
        cp "$folder/$product" "$build/stripped"
        strip "$build/stripped" 2>/dev/null || true # a target's are stripped already
        stat -c %s "$build/stripped"
    done | xargs >"$build/sizes"
    read -r program library <"$build/sizes"
    printf '%-24s %12s %18s %14s\n' "$name" "$program" "$library" "$(own_bytes "$folder")"
done
rm -f "$build/stripped" "$build/sizes"
