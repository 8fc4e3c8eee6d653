#!/usr/bin/env bash
# zig.sh FOLDER: fetches the compiler of the portable libraries into FOLDER, once, and prints its path.
set -eu
folder=$1
here=$(dirname "$0")
pins=$here/../cmake/portable/requirements.txt
compiler=$folder/ziglang/zig
if ! cmp -s "$pins" "$folder/requirements.txt"; then
  rm -rf "$folder"
  mkdir -p "$folder"
  pip3 install --quiet --disable-pip-version-check --root-user-action=ignore --no-deps --only-binary=:all: --require-hashes \
    --target "$folder" -r "$pins" >&2
  cp "$pins" "$folder/requirements.txt"
fi
echo "$compiler"
