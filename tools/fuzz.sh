#!/bin/sh
# Searches for inputs that break a parser or a handler: fuzz.sh SECONDS [TARGET...], each target for SECONDS. Inputs
# that add coverage go into tests/fuzz/corpus/<target>.pack, inputs that break a target stay in build-fuzz/search/<target>.
# Prints one line per target; exit status 1 if one broke.
#
#     fuzz.sh --unpack TARGET FOLDER    the target's kept inputs as files of the folder
#     fuzz.sh --pack TARGET FOLDER      files of the folder that are not kept yet go into the target's pack
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
corpus_tool=$root/build-fuzz/fuzz_corpus

configure() {
    "$root/tools/setup.sh" -n build test fuzz
    cmake -G Ninja -S "$root" -B "$root/build-fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSANITIZE=ON -DFUZZING=ON \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
    cmake --build "$root/build-fuzz" --target fuzz_corpus >/dev/null
}

case ${1:-} in
--pack | --unpack)
    [ $# -eq 3 ] || { echo "Usage: fuzz.sh $1 TARGET FOLDER" >&2; exit 2; }
    configure
    exec "$corpus_tool" "${1#--}" "$root/tests/fuzz/corpus/$2" "$3"
    ;;
esac

seconds=$1
shift
cd "$root"
configure
# shellcheck disable=SC2046 # a word per target
[ $# -gt 0 ] || set -- $(cd tests/fuzz && echo *_fuzz.cpp | sed 's/_fuzz\.cpp//g')
status=0
for target in "$@"; do
    cmake --build build-fuzz --target "${target}_fuzz" simrouter -j"$(nproc)" >/dev/null
    corpus=$root/tests/fuzz/corpus/$target
    work=$root/build-fuzz/search/$target
    unpacked=$root/build-fuzz/unpacked/$target
    rm -rf "$work" "$unpacked"
    mkdir -p "$unpacked"
    # A new target has no inputs yet.
    [ ! -e "$corpus.pack" ] || "$corpus_tool" unpack "$corpus" "$unpacked" >/dev/null
    search="$root/tools/fuzz_target.sh $root/build-fuzz/${target}_fuzz $unpacked $seconds"
    if grep -qx "$target" tests/fuzz/in_the_router.txt; then
        # It changes files that a machine has too: it runs in a router, of which the results are brought out.
        mkdir -p "$work"
        build-fuzz/simrouter --modem EC25 -- sh -c "$search /tmp/search; tar -C /tmp/search -c ." | tar -C "$work" -x
    else
        # shellcheck disable=SC2086 # several words
        $search "$work"
    fi
    "$corpus_tool" pack "$corpus" "$work/kept" >/dev/null
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
