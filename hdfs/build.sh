#!/usr/bin/env bash
# Builds the HDFS service with Maven: build.sh FOLDER. Leaves the class paths of the service and of its
# tests in FOLDER/classpath and FOLDER/test-classpath, those of the web server, which has another Hadoop, in FOLDER/web-classpath
# and FOLDER/web-test-classpath, and the jar of zolt:// in FOLDER/zolt-filesystem.jar. Where that cannot be, it says in one line why, and fails.
set -u
here=$(CDPATH='' cd -- "$(dirname "$0")" && pwd)
mkdir -p "$1"
folder=$(CDPATH='' cd -- "$1" && pwd)

command -v mvn >/dev/null || { echo 'there is no Maven here (the package maven)'; exit 1; }
exec 9>"$folder/lock"
flock 9

# Maven takes seconds to find that there is nothing to do.
if [ -f "$folder/test-classpath" ] && [ -z "$(find "$here" "$here/../build/java/zolt-hadoop.jar" -newer "$folder/test-classpath" \
    \( -name '*.java' -o -name '*.html' -o -name '*.properties' -o -name '*.jar' -o -name '*.xml' -o -name build.sh -o -type d \) -print -quit)" ]; then
  exit 0
fi

# Offline first: what is there already need not be asked for. What Maven says where something is missing has many forms.
build() {
  (cd "$here" && timeout 500 mvn -q "$@" test-compile dependency:build-classpath@service dependency:build-classpath@tests \
    >"$folder/log" 2>&1)
}
rm -f "$folder/test-classpath"
build -o || { ! grep -q 'COMPILATION ERROR' "$folder/log" && build; } ||
  { echo "Maven cannot get or build it: $(sed -n 's/^.*\[ERROR\] //p' "$folder/log" | head -1 | cut -c 1-160)"; exit 1; }

core=$(realpath "$here/../build/java/zolt-hadoop.jar")
own() { printf "%s" "$core"; printf ":$folder/hdfs-%s/classes" "$@"; }
tests() { printf "$folder/hdfs-%s/test-classes:" "$@"; }
# others FILE MODULE...: what modules need of others. Maven ends its files without a newline.
others() {
  local file=$1 module
  shift
  for module; do tr ':' '\n' <"$folder/hdfs-$module/$file"; echo; done | grep -v "^$here/\|^\$" | awk '!seen[$0]++' | paste -sd :
}

# near: a class path of jars in FOLDER/jars, since those that Maven has got may lie where only their owner looks.
mkdir -p "$folder/jars"
near() {
  local jar name path=
  while IFS= read -r -d : jar; do
    name=$folder/jars/${jar##*/}
    if [ ! -f "$name" ]; then
      install -m 644 "$jar" "$name.new" && mv "$name.new" "$name" || return
    fi
    cmp -s "$jar" "$name" || { echo "two jars are called ${jar##*/}" >&2; return 1; }
    path=$path:$name
  done < <(printf '%s:' "$(others "$@")")
  printf '%s\n' "${path#:}"
}

# zolt:// for Hadoop's programs: with the natives of this platform, and with no class of Hadoop's.
for developers in "$here"/../build/java/zolt-hadoop-*.jar; do
  platform=${developers##*/zolt-hadoop-}
  natives=$folder/natives/zolt/native/${platform%.jar}
  mkdir -p "$natives"
  strip -o "$natives/libzolthdfs.so" "$here/../build/lib/libzolthdfs.so" && cp "$developers" "$folder/zolt-filesystem.jar.new" &&
    jar --update --file "$folder/zolt-filesystem.jar.new" -C "$folder/hdfs-namespace/classes" . -C "$folder/hdfs-filesystem/classes" . \
      -C "$folder/natives" . && mv "$folder/zolt-filesystem.jar.new" "$folder/zolt-filesystem.jar" || { echo 'the jar of zolt:// cannot be made'; exit 1; }
done

service=(namespace datanode namenode filesystem)
web=(namespace filesystem web)
nearby=$(near service.path web) || { echo "the jars of the web server cannot be copied"; exit 1; }
printf '%s\n' "$(own "${web[@]}"):$nearby" >"$folder/web-classpath"
printf '%s\n' "$(tests web)$(own "${web[@]}"):$(others tests.path web)" >"$folder/web-test-classpath"
nearby=$(near service.path namenode filesystem) || { echo "the jars of the service cannot be copied"; exit 1; }
printf '%s\n' "$(own "${service[@]}"):$nearby" >"$folder/classpath"
printf '%s\n' "$(tests "${service[@]}")$(own "${service[@]}"):$(others tests.path namenode filesystem)" >"$folder/test-classpath"
