#!/usr/bin/env bash
# Builds the HDFS service with Maven: build.sh FOLDER. Leaves the class paths of the service and of its
# tests in FOLDER/classpath and FOLDER/test-classpath. Where that cannot be, it says in one line why, and fails.
set -u
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1"
folder=$(cd "$1" && pwd)

command -v mvn >/dev/null || { echo 'there is no Maven here (the package maven)'; exit 1; }
exec 9>"$folder/lock"
flock 9

# Maven takes seconds to find that there is nothing to do.
if [ -f "$folder/test-classpath" ] && [ -z "$(find "$here" "$here/../build/java/zolt-hadoop.jar" -newer "$folder/test-classpath" \
    \( -name '*.java' -o -name '*.html' -o -name '*.properties' -o -name '*.jar' -o -name '*.xml' -o -type d \) -print -quit)" ]; then
  exit 0
fi

# Offline first: what is there already need not be asked for.
build() {
  (cd "$here" && timeout 500 mvn -q "$@" test-compile dependency:build-classpath@service dependency:build-classpath@tests \
    >"$folder/log" 2>&1)
}
rm -f "$folder/test-classpath"
build -o || { grep -q 'offline mode\|not been downloaded\|could not be resolved' "$folder/log" && build; } ||
  { echo "Maven cannot get or build it: $(sed -n 's/^.*\[ERROR\] //p' "$folder/log" | head -1 | cut -c 1-160)"; exit 1; }

own=
tests=
for module in namespace datanode namenode; do
  own=$own$folder/hdfs-$module/classes:
  tests=$tests$folder/hdfs-$module/test-classes:
done
own=$own$(realpath "$here/../build/java/zolt-hadoop.jar")
others() { tr ':' '\n' <"$folder/hdfs-namenode/$1" | grep -v "^$here/" | paste -sd :; }
printf '%s\n' "$own:$(others service.path)" >"$folder/classpath"
printf '%s\n' "$tests$own:$(others tests.path)" >"$folder/test-classpath"
