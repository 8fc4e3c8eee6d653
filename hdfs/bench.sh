#!/usr/bin/env bash
# Hadoop's own NameNode and this one side by side: bench.sh BUILD [PART...], with PART one of operations, listing, size
# and data; and zolt:// beside Hadoop's local file system and plain calls, with the PART files; all of them by default.
# FILES=100000 says how many files "listing", "size" and "files" make, OPERATIONS=5000 how many calls "operations" counts
# at a time, and ROWS='data small listing hdfs' which rows "files" has, or ROWS='vectored renamed', and whether Hadoop's HDFS is in them. It runs as root, in a mount namespace of its own.
set -u
here=$(CDPATH='' cd -- "$(dirname "$0")" && pwd)
build=$(CDPATH='' cd -- "$1" && pwd)
shift

why=$("$here/build.sh" "$build/hdfs") || { echo "No HDFS service: $why" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || { echo 'Only root may serve a folder' >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/var/tmp}/zolt-hdfs-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/folder"
chmod 755 "$work" "$work/folder"

export LC_ALL=C.UTF-8 LD_LIBRARY_PATH=$build/client/local
export work build
own=()
[ $# -gt 0 ] || own=(files)
others=()
for part; do [ "$part" = files ] && own=(files) || others+=("$part"); done
# "files" is a program of its own; it needs no server of this project's.
programs=
[ ${#own[@]} -eq 0 ] || programs=zolt.hdfs.bench.FileSystems
[ $# -gt 0 ] && [ ${#others[@]} -eq 0 ] || programs="$programs zolt.hdfs.bench.Bench"
export programs
# shellcheck disable=SC2016  # for the inner shell
unshare --mount --propagation private -- bash -c '
  mount -o bind,nosymfollow "$work/folder" "$work/folder" || exit 1
  cd "$work"
  for program in $programs; do
    java -Dfile.encoding=UTF-8 -Djava.net.preferIPv4Stack=true -Dhadoop.tmp.dir="$work/tmp" \
      -Dzolt.library="$build/lib/libzolthadoop.so.1.0.0" -Dzolt.hdfs.library="$build/lib/libzolthdfs.so" \
      -Dbench.work="$work" -Dbench.build="$build" -Dbench.files="${FILES:-100000}" -Dbench.rows="${ROWS:-data small listing hdfs}" -Dbench.operations="${OPERATIONS:-5000}" \
      -cp "$(cat "$build/hdfs/test-classpath")" "$program" "$@" || exit
  done' bench "${others[@]+"${others[@]}"}"
