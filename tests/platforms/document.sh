#!/usr/bin/env bash
# document.sh BUILD PAGE: puts what the runs of run.sh left in BUILD/platforms into the table of PAGE, in place of its
# rows, and below it what was left out. A system that was not run keeps the row that it has.
set -eu
here=$(dirname "$0")
rows=$(mktemp)
trap 'rm -f "$rows" "$rows.page"' EXIT
systems=()
while IFS=$'\t' read -r name suite arch _; do
  case $name in '' | '#'*) continue ;; esac
  result=$1/platforms/$name
  if [ -e "$result.tsv" ]; then
    systems+=("$result.left")
    IFS=$'\t' read -r libc java core natives tour jar <"$result.tsv"
    echo "| $name | $arch | $libc | $java | Debian $suite | $core | $natives | $tour | $jar |"
  else
    grep "^| $name |" "$2" || :
  fi
done <"$here/systems.tsv" >"$rows"
awk -v all=${#systems[@]} '
  {
    test = why = $0; sub(/: .*/, "", test); sub(/^[^:]*: /, "", why)
    if (!((why, test) in seen)) {seen[why, test] = 1; tests[why] = tests[why] (tests[why] == "" ? "" : ", ") "`" test "`"}
    system_ = FILENAME; sub(/.*\//, "", system_); sub(/[.]left$/, "", system_)
    if (!((why, system_) in seen)) {seen[why, system_] = 1; where[why] = where[why] (where[why] == "" ? "" : ", ") system_; number[why]++}
  }
  END {for (why in tests) print "- " why ": " tests[why] " (" (number[why] == all ? "everywhere" : where[why]) ")"}' \
  "${systems[@]}" | LC_ALL=C sort >"$rows.left"
{ echo; echo "Left out there, or ended without a verdict:"; echo; cat "$rows.left"; echo; } >>"$rows"
rm -f "$rows.left"
awk -v rows="$rows" '
  /^\| System \|/ {print; getline; print; while ((getline line <rows) > 0) print line; skipping = 1; next}
  skipping && (/^\||^- |^$/ || /^Left out there/) {next}
  {skipping = 0; print}' "$2" >"$rows.page"
cat "$rows.page" >"$2"
