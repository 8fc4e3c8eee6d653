#!/usr/bin/env bash
# Runs every fuzz target over its seeds, the cases once found, and what it makes of them.
#   run.sh FOLDER runs N     N inputs each, always the same ones; nothing is kept
#   run.sh FOLDER minutes N  N minutes in all; FOLDER/corpus is kept and gone on from
# Prints the executions of each target. A finding is left in FOLDER/findings and fails the run.
set -u
folder=$(realpath "$1") mode=$2 amount=$3
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t targets < <(cd "$folder/tests/fuzz" && find . -maxdepth 1 -name 'fuzz_*' -type f -executable -printf '%f\n' | sed s/fuzz_// | sort)
[ ${#targets[@]} -gt 0 ] || { echo "fuzz: no targets in $folder" >&2; exit 2; }
mkdir -p "$folder/findings"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

jobs=$(nproc)
if [ "$mode" = runs ]; then
  limit=(-runs="$amount" -seed=1)
else
  limit=(-max_total_time=$((amount * 60 * jobs / ${#targets[@]})))
fi

fuzz() {
  local target=$1 corpus=$work/$1 known=()
  [ "$mode" = runs ] || corpus=$folder/corpus/$target
  mkdir -p "$corpus"
  for kind in seeds regressions; do
    [ ! -d "$here/$kind/$target" ] || known+=("$here/$kind/$target")
  done
  # Memory that cannot be had is an error that the library answers.
  ASAN_OPTIONS=allocator_may_return_null=1 "$folder/tests/fuzz/fuzz_$target" "${limit[@]}" \
    -timeout=20 -print_final_stats=1 -artifact_prefix="$folder/findings/$target-" \
    "$corpus" "${known[@]}" >"$work/$target.log" 2>&1
  local status=$?
  echo "fuzz: $target $(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$target.log") runs"
  [ $status -eq 0 ] && return
  grep -v NEW_FUNC "$work/$target.log" | tail -n 60
  echo "fuzz: $target FAILED; once mended, its input belongs into tests/fuzz/regressions/$target/"
  touch "$work/failed"
}

for target in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n; done
  fuzz "$target" &
done
wait
[ ! -e "$work/failed" ]
