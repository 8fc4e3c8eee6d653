#!/usr/bin/env bash
# document.sh BUILD PAGE: puts what the runs of run.sh left in BUILD/platforms into the table of PAGE, in place of its
# rows. A system that was not run keeps the row that it has.
set -eu
here=$(dirname "$0")
rows=$(mktemp)
trap 'rm -f "$rows"' EXIT
while IFS=$'\t' read -r name suite arch _; do
  case $name in '' | '#'*) continue ;; esac
  result=$1/platforms/$name.tsv
  if [ -e "$result" ]; then
    IFS=$'\t' read -r libc java core natives tour <"$result"
    echo "| $name | $arch | $libc | $java | Debian $suite | $core | $natives | $tour |"
  else
    grep "^| $name |" "$2" || :
  fi
done <"$here/systems.tsv" >"$rows"
awk -v rows="$rows" '
  /^\| System \|/ {print; getline; print; while ((getline line <rows) > 0) print line; skipping = 1; next}
  skipping && /^\|/ {next}
  {skipping = 0; print}' "$2" >"$rows.page"
cat "$rows.page" >"$2"
rm -f "$rows.page"
