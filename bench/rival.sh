#!/usr/bin/env bash
# rival.sh BUILD SECONDS PAGE: the portable library beside that of BUILD, in instructions of the core's hot paths and in
# processor time of every native; and the section of PAGE that says so. Fails where one of them misses its goal.
set -eu -o pipefail
build=$(realpath "$1") seconds=$2 page=$3
here=$(dirname "$0")
portable=$build/portable/$(uname -m)
folder=$build/bench/rival
rm -rf "$folder"
mkdir -p "$folder"
failed=0

for rival in "$build" "$portable"; do
  name=$(basename "$rival")
  ACCEPT=1 "$here/count.sh" "$rival/bench/zolt_counts" "$folder/$name.tsv" "$folder/$name" >/dev/null
done
RIVAL=$portable/lib/libzolthadoop.so.1.0.0 "$here/run.sh" "$build" "$folder" "$seconds" || failed=1

section() {
  cat <<END
## The portable library

\`make bench-portable\`: the library of \`make portable\` beside the distribution's build, in one virtual machine. Both are
reached by the same jump, in turns of a millisecond, on the same files. Below is the portable library's processor time
in that of the other: the median over the rounds, and its quartiles. **$(rows | grep -c 'held$') of $(rows | wc -l) are at most
1.03**; the median of them all is $(rows | cut -f 6 | sort -n | awk '{all[NR] = $1} END {print all[int((NR + 1) / 2)]}').
$(nproc) processors ($(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -1)), Linux $(uname -r | cut -d- -f1), $(java -version 2>&1 | sed -n '1s/"//gp'); load average $(cut -d' ' -f1 /proc/loadavg) at its end.

| Case | On | Size | x | Quartiles | |
|---|---|--:|--:|---|---|
$(rows | awk -F '\t' '{
  printf "| %s | %s | %s | %s | %s | %s |\n", $1, $2, $3 == 0 ? "" : $3, $6, $7, $9 == "held" ? "held" : "**missed**"}')

Instructions of the core's hot paths, with those of the C library (\`make bench-count\` for both). **$(counts | grep -c 'held |$') of $(counts | wc -l)
are at most 1.03, or at most 20 instructions more**: each call makes a system call, which takes hundreds of nanoseconds,
and 20 instructions take about five. Eight of those are the price of GLIBC 2.17, whose lstat(2) is a function of another
name. The ranking of a few nodes is the C++ library's own \`std::nth_element\`, whose order clients see.

| Path | Distribution's | Portable | x | |
|---|--:|--:|--:|---|
$(counts)

END
}
counts() {
  awk -F '\t' 'NR == FNR {of[$1] = $2; next} {
    held = $2 <= 1.03 * of[$1] || $2 <= of[$1] + 20
    printf "| %s | %d | %d | %.3f | %s |\n", $1, of[$1], $2, $2 / of[$1], held ? "held" : "**missed**"}' \
    "$folder/$(basename "$build").tsv" "$folder/$(basename "$portable").tsv"
}
rows() { tail -n +2 "$folder/goals.tsv"; }

! counts | grep -q missed || failed=1
section >"$folder/section.md"
awk -v section="$folder/section.md" '
  function put() {while ((getline line <section) > 0) print line; done = 1}
  /^## The portable library$/ {put(); skipping = 1; next}
  /^## / {skipping = 0; if (!done && /^## Times$/) put()}
  !skipping {print}' "$page" >"$folder/page.md"
cat "$folder/page.md" >"$page"
exit $failed
