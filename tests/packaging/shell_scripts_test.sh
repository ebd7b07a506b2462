#!/bin/sh
# Every shell script of the repository: accepted by the router's shell and by shellcheck. shell_scripts_test.sh <repository>
set -eu

cd "$1"
scripts=$(find . -name '.git' -prune -o -type d -name 'build*' -prune -o -type f -print | while read -r file; do
    if head -n 1 "$file" | grep -q '^#!/bin/sh'; then
        echo "$file"
    fi
done | sort)
[ "$(echo "$scripts" | wc -l)" -ge 10 ]
failed=0
for script in $scripts; do
    # The router's shell has local variables, as dash has.
    busybox ash -n "$script" && shellcheck --shell=dash "$script" || failed=1
done
exit "$failed"
