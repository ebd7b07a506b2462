#!/bin/sh
# One target's search: fuzz_target.sh PROGRAM CORPUS SECONDS FOLDER. In the folder, which it makes, are then the kept
# inputs with those added that reach new code (kept), what broke the target, its log and its exit status (result).
set -eu

program=$1
corpus=$2
seconds=$3
mkdir -p "$4/found"
cd "$4"
cp -r "$corpus" kept
result=0
"$program" -max_total_time="$seconds" -rss_limit_mb=2048 -close_fd_mask=2 -print_final_stats=1 found kept \
    >log 2>&1 || result=$?
echo "$result" >result
"$program" -set_cover_merge=1 -use_counters=0 -close_fd_mask=2 kept found >>log 2>&1
