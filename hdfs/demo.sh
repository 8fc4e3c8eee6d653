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
unshare --mount true 2>/dev/null || instead 'no mount namespace can be made'

work=$(mktemp -d "${TMPDIR:-/var/tmp}/zolt-demo.XXXXXX")
export ZOLT_HDFS_STATE=$work/state
zolt=$root/bin/zolt
folder=$work/folder
mkdir "$folder" && chmod 755 "$work" "$folder"
finish() {
  "$zolt" hdfs stop "$folder"
  rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

# Ports that nobody has: a demo runs beside anything.
port() {
  local p
  for ((p = 20000 + RANDOM % 20000; ; p++)); do (exec 3<>"/dev/tcp/127.0.0.1/$p") 2>/dev/null || { echo $p; return; }; done
}
"$zolt" hdfs start "$folder" -D "dfs.namenode.rpc-address=127.0.0.1:$(port)" -D dfs.namenode.http-address=127.0.0.1:0 -D dfs.datanode.address=127.0.0.1:0 \
  -D dfs.datanode.ipc.address=127.0.0.1:0 -D dfs.datanode.http.address=127.0.0.1:0 >"$work/said" 2>&1 ||
  { cat "$work/said" >&2; exit 1; }

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
