#!/bin/sh
# Prints what the products take on a router: for this machine and every target that was built ("make target"), the size
# of each product, stripped, and of modemctl's own code and data, which is what its rooms have in the linked program,
# without libc, json-c and the stand-ins.
set -eu

build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."

# Bytes of code, data and texts that the rooms have in the linked program, by the linker's map. lld tells whose a text is
# only as long as it does not merge texts (-O0), so that one that two files have counts twice.
own_bytes() {
    folder=$1
    link=$(ninja -C "$folder" -t commands modemctl | tail -n 1 | sed 's| -o modemctl | -o modemctl.mapped -Wl,--print-map |')
    case $folder in build-target/*) link=$(echo "$link" | sed 's/ -Wl,/ -Wl,-O0 -Wl,/') ;; esac
    (cd "$folder" && sh -c "$link") | python3 -c '
import re, sys
total = 0
for line in sys.stdin:
    if not re.search(r"\blibrooms\.a\(|/core/main\.cpp\.o", line):
        continue
    # lld: address, load address, size, alignment; ld: address, size. What is left out of the program has no address.
    lld = re.match(r" *([0-9a-f]+) +[0-9a-f]+ +([0-9a-f]+) +[0-9]+ ", line)
    ld = re.search(r"0x([0-9a-f]+) +0x([0-9a-f]+) ", line)
    found = lld or ld
    if found and int(found[1], 16) != 0:
        total += int(found[2], 16)
print(total)'
    rm -f "$folder/modemctl.mapped"
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
