#!/bin/sh
# The manual page is rendered without a warning, and tells of every command that the program knows: manual_test.sh <repository>
set -eu

page=$1/packaging/modemctl.1
warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
if [ -n "$warnings" ]; then
    echo "$warnings"
    exit 1
fi
text=$(LC_ALL=C.UTF-8 MANWIDTH=80 man -l "$page" | col -b)
sed -n 's/^    {"\([^"]*\)", .*[a-z_]*,.*/\1/p' "$1/core/cli/commands.cpp" | while read -r command; do
    echo "$text" | grep -q "^ *$command\b" || { echo "the manual page lacks $command"; exit 1; }
done
