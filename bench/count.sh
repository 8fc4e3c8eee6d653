#!/usr/bin/env bash
# Counts the instructions of the core's hot paths and compares them with the committed counts:
# count.sh PROGRAM COUNTS FOLDER. A difference of more than 2 % in either direction fails; ACCEPT=1
# writes the counts anew. A log site that is off must cost what a compare costs.
set -eu -o pipefail
program=$1 counts=$2 folder=$3
calls=20
rm -rf "$folder"
mkdir -p "$folder"
LD_LIBRARY_PATH=$(dirname "$program") valgrind -q --tool=callgrind --callgrind-out-file="$folder/out" "$program"

# One file a mark: its name, and the sum of all costs.
for file in $(ls -v "$folder"/out.*); do
  name=$(sed -n 's/^desc: Trigger: Client Request: //p' "$file")
  total=$(sed -n 's/^summary: //p' "$file")
  [ -z "$name" ] || printf '%s\t%d\n' "$name" $((total / calls))
done >"$folder/counts.tsv"

if [ -n "${ACCEPT:-}" ]; then
  cp "$folder/counts.tsv" "$counts"
fi
awk -F '\t' '
  NR == FNR {wanted[$1] = $2; next}
  {
    found[$1] = $2
    known = $1 in wanted
    change = known ? 100 * ($2 - wanted[$1]) / wanted[$1] : 0
    bad = !known || change > 2 || change < -2
    failed = failed || bad
    printf "%-36s %10d  %+6.2f %%%s\n", $1, $2, change, bad ? "  CHANGED" : ""
  }
  END {
    for (name in wanted) if (!(name in found)) {print name " was not counted"; failed = 1}
    sites = found["20 log sites that are off"] - found["10 log sites that are off"]
    compares = found["20 compares"] - found["10 compares"]
    printf "10 more log sites that are off take %d instructions, 10 compares %d\n", sites, compares
    if (sites > compares) {print "a log site that is off costs more than a compare"; failed = 1}
    exit failed
  }' "$counts" "$folder/counts.tsv" || {
  echo "Counts differ from $counts: make bench-count ACCEPT=1 takes them over." >&2
  exit 1
}
