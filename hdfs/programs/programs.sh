#!/usr/bin/env bash
# Programs of others on zolt:// and hdfs://: programs.sh BUILD [mapreduce|spark|bare]... MapReduce's examples in Hadoop's local
# runner; PySpark (SPARK=4.0.1) with the Hadoop that it ships; and Hadoop's shell on a bare machine, which has a Java, the jar of
# zolt:// and the jars of Hadoop's client, and nothing else. What is got from registries is kept in BUILD/hdfs/programs. It
# runs as root, on a folder of its own that is served.
set -u
here=$(CDPATH='' cd -- "$(dirname "$0")" && pwd)
build=$(CDPATH='' cd -- "$1" && pwd)
shift
[ $# -gt 0 ] || set -- mapreduce spark bare
zolt=$here/../../bin/zolt
jar=$build/hdfs/zolt-filesystem.jar
kept=$build/hdfs/programs
SPARK=${SPARK:-4.0.1}

fail() {
  echo "FAILED: $1" >&2
  exit 1
}

why=$("$here/../build.sh" "$build/hdfs") || fail "no HDFS service: $why"
[ "$(id -u)" -eq 0 ] || fail 'only root may serve a folder'
mkdir -p "$kept"

export LC_ALL=C.UTF-8
# shellcheck source=hdfs/served.sh
. "$here/../served.sh" zolt-programs || { cat "$work/said" >&2; fail 'the service does not start'; }
hdfs=$(sed -n 's/.* is at //p' "$work/said")

# What both need: the folder as the root of zolt://, and ZoltFs for programs that use FileContext.
settings=(fs.zolt.root="$folder" fs.AbstractFileSystem.zolt.impl=zolt.hdfs.filesystem.ZoltFs dfs.replication=1)

mapreduce() {
  # shellcheck disable=SC2094
  (cd "$here" && mvn -q dependency:build-classpath@service >"$kept/log" 2>&1) || fail "Maven: $(grep -m 1 ERROR "$kept/log")"
  local scheme version path options
  path=$jar:$(tr ':' '\n' <"$build/hdfs/hdfs-programs/service.path" | grep -v '^$' | paste -sd :)
  options=(-D mapreduce.framework.name=local -D hadoop.tmp.dir="$work/tmp")
  for each in "${settings[@]}"; do options+=(-D "$each"); done
  example() {  # example NAME ARGUMENTS...: on the file system $scheme, with version $version of the commit protocol
    local name=$1
    shift
    java -Dfile.encoding=UTF-8 -Dhadoop.tmp.dir="$work/tmp" -cp "$path" org.apache.hadoop.examples.ExampleDriver "$name" -D fs.defaultFS="$scheme" "${options[@]}" \
      -D mapreduce.fileoutputcommitter.algorithm.version="$version" "$@" >"$work/log" 2>&1 || { tail -30 "$work/log" >&2; fail "$name on $scheme"; }
  }
  printf 'one two two\nthree three three\n' >"$folder/words"
  for scheme in zolt:/// "$hdfs"; do
    for version in 1 2; do
      local out=/mapreduce-${scheme%%:*}-$version
      example wordcount /words "$out/words"
      printf 'one\t1\nthree\t3\ntwo\t2\n' | cmp - "$folder$out/words/part-r-00000" || fail "wordcount on $scheme"
      example teragen -D mapreduce.job.maps=3 50000 "$out/made"
      example terasort -D mapreduce.job.reduces=2 "$out/made" "$out/sorted"
      example teravalidate "$out/sorted" "$out/report"
      [ "$(cat "$folder$out"/sorted/part-r-* | wc -c)" -eq 5000000 ] || fail "terasort on $scheme: not all is there"
      grep -q checksum "$folder$out/report/part-r-00000" && ! grep -q misorder "$folder$out/report/part-r-00000" || fail "teravalidate on $scheme"
      [ "$(find "$folder$out" -name _SUCCESS -size 0 | wc -l)" -eq 4 ] || fail "_SUCCESS on $scheme"
      [ -z "$(find "$folder$out" -name '_temporary*')" ] || fail "something is left behind on $scheme"
      echo "MapReduce on ${scheme%%:*}://, commit protocol $version: wordcount, teragen, terasort, teravalidate"
    done
  done
}

spark() {
  local version options=() each
  [ -x "$kept/spark-$SPARK/bin/spark-submit" ] || { python3 -m venv "$kept/spark-$SPARK" && "$kept/spark-$SPARK/bin/pip" -q install "pyspark==$SPARK"; } || fail 'PySpark cannot be installed'
  for each in "${settings[@]}"; do options+=(--conf "spark.hadoop.$each"); done
  for version in 1 2; do
    PYSPARK_PYTHON=$kept/spark-$SPARK/bin/python SPARK_LOCAL_IP=127.0.0.1 "$kept/spark-$SPARK/bin/spark-submit" --master 'local[2]' --driver-class-path "$jar" --driver-memory 1g \
      --conf spark.ui.enabled=false --conf spark.sql.shuffle.partitions=4 --conf spark.local.dir="$work/spark" --conf spark.sql.warehouse.dir="$work/warehouse" \
      --conf spark.hadoop.mapreduce.fileoutputcommitter.algorithm.version=$version "${options[@]}" \
      "$here/tables.py" "zolt:///spark-$version" "$hdfs/spark-$version-hdfs" 2>"$work/log" || { grep -v INFO "$work/log" | tail -30 >&2; fail 'Spark'; }
    [ -z "$(find "$folder"/spark-$version* -name '_temporary*' -o -name '.spark-staging*')" ] || fail 'something is left behind'
    echo "  with commit protocol $version"
  done
}

bare() {
  local root=$kept/bare version said
  [ -f "$root/complete" ] || { rm -rf "$root" && mmdebstrap --quiet --variant=minbase --include=openjdk-17-jre-headless bookworm "$root" >"$kept/log" 2>&1 &&
    touch "$root/complete"; } || fail "no bare machine: $(tail -1 "$kept/log")"
  mkdir -p "$root/zolt" "$root/srv/data"
  cp "$jar" "$root/zolt/"
  echo 'one line' >"$root/srv/data/file"
  # Hadoop's shell wants a core-site.xml.
  echo '<configuration><property><name>fs.defaultFS</name><value>zolt:///</value></property></configuration>' >"$root/zolt/core-site.xml"
  for version in 3.3.4 3.4.1 3.5.0; do
    rm -rf "$root/zolt/jars"
    for each in org.apache.hadoop:hadoop-client-api:$version org.apache.hadoop:hadoop-client-runtime:$version org.slf4j:slf4j-api:1.7.36 \
        commons-logging:commons-logging:1.2; do
      (cd "$here" && mvn -q dependency:copy -Dartifact="$each" -DoutputDirectory="$root/zolt/jars" >"$kept/log" 2>&1) || fail "Maven: $(grep -m 1 ERROR "$kept/log")"
    done
    shell() {
      unshare --mount --propagation private -- bash -c 'mount -t proc proc "$0/proc" && exec chroot "$0" java -cp "/zolt:/zolt/zolt-filesystem.jar:/zolt/jars/*" \
        org.apache.hadoop.fs.FsShell "$@"' "$root" "$@" 2>"$work/log"
    }
    said=$(shell -ls zolt:///srv/data) && [[ $said == *zolt:///srv/data/file ]] || { cat "$work/log" >&2; fail "-ls on a bare machine with Hadoop $version: $said"; }
    shell -appendToFile /etc/hostname zolt:///srv/data/file && said=$(shell -cat /srv/data/file) && [ "$said" = "one line
$(cat "$root/etc/hostname")" ] || { cat "$work/log" >&2; fail "-cat on a bare machine with Hadoop $version: $said"; }
    echo 'one line' >"$root/srv/data/file"
    ! shell -setfacl -m user:nobody:r-- /srv/data/file && grep -q 'hadoop-hdfs: its jar is not on the class path' "$work/log" || fail "-setfacl with Hadoop $version: $(cat "$work/log")"
    echo "A bare machine with Hadoop $version: hdfs dfs -ls, -appendToFile, -cat"
  done
}

for each; do
  "$each"
done
