#!/usr/bin/env bash
# Builds this module: build.sh FOLDER. Prints its class path, or why there is none, and then fails.
set -u
here=$(CDPATH='' cd -- "$(dirname "$0")" && pwd)
mkdir -p "$1"
folder=$(CDPATH='' cd -- "$1" && pwd)

command -v mvn >/dev/null || { echo 'there is no Maven here (the package maven)'; exit 1; }
timeout 300 mvn -q -B -f "$here/pom.xml" -Dfolder="$folder" \
  -Dstyle.color=never compiler:compile dependency:build-classpath >"$folder/log" 2>&1 ||
  { echo "Maven cannot get or build it: $(sed -n 's/^.*\[ERROR\] //p' "$folder/log" | head -1 | cut -c 1-120)"; exit 1; }
echo "$folder/classes:$(cat "$folder/classpath")"
