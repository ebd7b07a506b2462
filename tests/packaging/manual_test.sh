#!/bin/sh
# The manual page is rendered without a warning: manual_test.sh <repository>
set -eu

page=$1/packaging/modemctl.1
warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
if [ -n "$warnings" ]; then
    echo "$warnings"
    exit 1
fi
