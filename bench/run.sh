#!/usr/bin/env bash
# Runs the benchmark: run.sh BUILD FOLDER SECONDS [long] [quick] [profile]. The user databases that it needs
# are mounted over the system's in a mount namespace of its own, where that is allowed. ONLY is a
# regular expression for the cases to measure; HADOOP is the class path of Hadoop's part, and WITHOUT
# why there is none; PROFILER goes before the virtual machine. RIVAL is another build of the library, to be compared
# with that of BUILD and nothing else. ON is a folder of a mount to measure on, with the client library that is in CLIENT.
set -eu
build=$1 folder=$2
shift
mkdir -p "$folder/accounts"
cp /etc/passwd /etc/group "$folder/accounts/"
export LD_LIBRARY_PATH=${CLIENT:-$build/client/local}
library=$build/lib/libzolthadoop.so.1.0.0
if [ -n "${RIVAL-}" ]; then
  export RIVAL_0=$library RIVAL_1=$RIVAL
  library=$build/bench/libzoltrivals.so
fi
heap=1g
[[ " $* " != *" long "* ]] || heap=3g  # File.list has ten million names at a time
# What is hot is compiled at once, and not when a processor is free.
# shellcheck disable=SC2206  # options, separated by blanks
java=(${PROFILER-} java -Xms256m -Xmx$heap -XX:+UseSerialGC -XX:-BackgroundCompilation
  -cp "$build/bench/classes:$build/java/zolt-hadoop.jar:/usr/share/java/slf4j-api.jar:/usr/share/java/slf4j-simple.jar${HADOOP:+:$HADOOP}"
  -Dzolt.bench.hadoop.without="${WITHOUT:-not asked for}"
  -Dzolt.library="$library"
  -Dzolt.bench.rivals="${RIVAL:+true}"
  -Dzolt.bench.library="$build/bench/libzoltbench.so"
  -Dzolt.bench.only="${ONLY:-.*}"
  -Dzolt.bench.on="${ON-}"
  -Dzolt.bench.marked="${MARKED:-false}"
  -Dorg.slf4j.simpleLogger.defaultLogLevel=off)

if unshare -m true 2>/dev/null; then
  exec unshare -m bash -c '
    mount --bind "$0/passwd" /etc/passwd && mount --bind "$0/group" /etc/group && exec "$@"' \
    "$folder/accounts" "${java[@]}" -Dzolt.bench.accounts="$folder/accounts" zolt.bench.Bench "$@"
else
  exec "${java[@]}" zolt.bench.Bench "$@"
fi
