#!/usr/bin/env bash
# What 'make demo' shows: a folder of its own, served, and Hadoop's unmodified shell on it. Where that cannot be, it
# says in one line why, and ends with 3.
set -u
root=$(CDPATH='' cd -- "$(dirname "$0")/.." && pwd)
instead() {
  echo "No HDFS service here: $1. A tour of the natives instead:"
  exit 3
}
why=$("$root/hdfs/build.sh" "$root/build/hdfs") || instead "$why"
[ "$(id -u)" -eq 0 ] || instead 'only root may serve a folder'
why=$(unshare --mount true 2>&1) || instead "no mount namespace can be made (${why#unshare: })"

zolt=$root/bin/zolt
# shellcheck source=hdfs/served.sh
. "$root/hdfs/served.sh" zolt-demo || { cat "$work/said" >&2; exit 1; }

show() {  # show USER ARGUMENTS...: what the shell says, as somebody types it
  local user=$1
  shift
  echo "$ ${user:+HADOOP_USER_NAME=$user }hdfs dfs $*" | sed "s:$work/::g"
  HADOOP_USER_NAME=${user:-root} "$zolt" hdfs dfs "$folder" "$@" 2>&1 | sed 's/^/  /'
}

sed "s:$work/::" "$work/said"
echo
head -c 300000000 /dev/zero >"$work/numbers"
show '' -mkdir -p /data/closed
show '' -put "$work/numbers" /data/numbers
show '' -chmod 700 /data/closed
show '' -setfacl -m user:daemon:r-x /data/closed
show '' -ls /data
echo "$ ls -l folder/data"
ls -l "$folder/data" | sed 's/^/  /'
show nobody -ls /data/closed
show daemon -ls /data/closed
show '' -stat '%n: %b bytes in blocks of %o, %r copies' /data/numbers
echo
echo "The same file, and where the file system has its blocks:"
"$zolt" blocks "$folder/data/numbers" | sed "s:$work/::; s/^/  /"
