#!/bin/sh
# Runs a test of the page: run.sh FILE BUILD. Exit status 77, skipped, without Node.
command -v node >/dev/null || { echo "Node is missing: tools/setup.sh page installs it" && exit 77; }
exec node "$1" "$2"
