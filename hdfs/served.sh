# For scripts, which source it: serves a folder of its own, "$work/folder", until the script ends. "$zolt" is the command,
# and "$1" what the new directory "$work" is called. What the service says is in "$work/said"; the answer is its start's.
# shellcheck shell=bash
work=${TMPDIR:-/var/tmp}
# Hadoop's shell takes a path for a URI, and its configuration parts some.
case $work in *[!A-Za-z0-9/._+@=-]*) work=/var/tmp ;; esac
work=$(mktemp -d "$work/$1.XXXXXX") || exit 1
export ZOLT_HDFS_STATE=$work/state
folder=$work/folder
mkdir "$folder" && chmod 755 "$work" "$folder"
finish() {
  "$zolt" hdfs stop "$folder"
  rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

# Ports that nobody has: the service runs beside anything.
port() {
  local p
  for ((p = 20000 + RANDOM % 20000; ; p++)); do (exec 3<>"/dev/tcp/127.0.0.1/$p") 2>/dev/null || { echo $p; return; }; done
}
"$zolt" hdfs start "$folder" -D "dfs.namenode.rpc-address=127.0.0.1:$(port)" -D dfs.namenode.http-address=127.0.0.1:0 -D dfs.datanode.address=127.0.0.1:0 \
  -D dfs.datanode.ipc.address=127.0.0.1:0 -D dfs.datanode.http.address=127.0.0.1:0 >"$work/said" 2>&1
