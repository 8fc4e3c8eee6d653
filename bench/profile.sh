#!/usr/bin/env bash
# Where the time of each way goes: profile.sh BUILD FOLDER SECONDS. Leaves profile.tsv in the folder and
# prints it. Without ONLY, the cases are those that are compared with Java's ways.
set -eu
build=$(realpath "$1") folder=$2 seconds=$3
here=$(dirname "$0") rate=2000
mkdir -p "$folder"
export ONLY=${ONLY:-'(fast|full) status.*|getINum.*|isCM.*|missing.*|getXAttr.*|dumpXAttrs.*|(listing|count).* 1000(00)? .*'}
export PROFILER="perf record -q -e cpu-clock -k CLOCK_MONOTONIC -F $rate -o $folder/perf.data"
"$here/run.sh" "$build" "$folder" "$seconds" profile >/dev/null
perf script -i "$folder/perf.data" -F tid,time,ip,dso 2>/dev/null >"$folder/samples"
"$here/profile.py" "$folder/turns.tsv" "$folder/samples" $rate >"$folder/profile.tsv"
rm "$folder/samples" "$folder/perf.data"
column -t -s "$(printf '\t')" "$folder/profile.tsv" 2>/dev/null || cat "$folder/profile.tsv"
