#!/usr/bin/env bash
# cephfs.sh COMMAND [ARGUMENT...]: runs it beside a CephFS that is there for it alone: a monitor, three OSDs in
# memory on three hosts of their own, a metadata server and ceph-fuse with POSIX ACLs, three copies of everything.
# As root. The command finds MOUNT and CEPH_CONF in its environment, and below STATE the process ids (NAME.pid) and
# logs. All of it lives in namespaces of processes, mounts and the network: with the command everything ends, a
# signal ends the command, and nothing outside sees a port or a mount.
set -euo pipefail
[ $# -gt 0 ] || { sed -n '2,6s/^# //p' "$0"; exit 2; }
limit=${CEPH_WAIT_S:-120}

if [ "$1" != --inside ]; then
  [ "$(id -u)" -eq 0 ] || { echo "cephfs.sh: only root may make a cluster of its own (mounts, namespaces)" >&2; exit 1; }
  state=$(mktemp -d "${TMPDIR:-/var/tmp}/zolt-cephfs.XXXXXX")
  [ ${#state} -le 80 ] || { echo "cephfs.sh: too long for its sockets: $state" >&2; rmdir "$state"; exit 2; }
  trap 'rm -rf "$state"' EXIT
  child=
  trap '[ -z "$child" ] || kill -KILL "$child" 2>/dev/null; exit 143' TERM INT HUP
  # The child of unshare is the first process of its namespace: the kernel ends all others with it.
  STATE=$state unshare --mount --net --pid --fork --kill-child --mount-proc "$0" --inside "$@" &
  child=$!
  status=0
  wait $child || status=$?
  exit $status
fi

shift
export STATE MOUNT=$STATE/mnt CEPH_CONF=$STATE/ceph.conf CEPH_ARGS=
trap 'status=$?; [ $status -eq 0 ] || { echo "cephfs.sh: no cluster; the last words of its daemons:"; tail -qn 3 "$STATE"/*.log; } >&2' EXIT
ip link set lo up
mkdir -p "$STATE"/{mnt,mon,osd.0,osd.1,osd.2}
chmod 755 "$STATE"
fsid=$(</proc/sys/kernel/random/uuid)
key=$(CEPH_CONF=/dev/null ceph-authtool --gen-print-key)
cat >"$CEPH_CONF" <<TEXT
[global]
  fsid = $fsid
  mon host = [v2:127.0.0.1:3300]
  public addr = 127.0.0.1
  cluster addr = 127.0.0.1
  ms bind msgr1 = false
  keyring = $STATE/keyring
  run dir = $STATE
  pid file = $STATE/\$name.pid
  log file = $STATE/\$name.log
  admin socket = $STATE/\$name.sock
  crash dir = $STATE
  mon data = $STATE/mon
  mon allow pool size one = true
  osd data = $STATE/osd.\$id
  osd objectstore = memstore
  memstore device bytes = 4294967296
  osd pool default size = 3
  osd pool default min size = 2
  osd pool default pg autoscale mode = off
  osd crush chooseleaf type = 0
  osd crush update on start = false
  paxos propose interval = 0.05
  client acl type = posix_acl
  client dirsize rbytes = false
  fuse default permissions = false
[client]
  admin socket =
  log file =
  err to stderr = false
[client.zolt]
  keyring = $STATE/keyring.zolt
TEXT
(
  umask 077
  for name in mon. client.admin osd.0 osd.1 osd.2 mds.a mds.b; do
    printf '[%s]\n  key = %s\n  caps mon = "allow *"\n  caps osd = "allow *"\n' "$name" "$key"
    [ "$name" = mon. ] || printf '  caps mds = "allow *"\n'
  done >"$STATE/keyring"
)
{
  monmaptool --create --addv a '[v2:127.0.0.1:3300]' --fsid "$fsid" "$STATE/monmap"
  ceph-mon --mkfs -i a --monmap "$STATE/monmap" --keyring "$STATE/keyring"
  for i in 0 1 2; do ceph-osd --mkfs -i $i --osd-uuid "${fsid%?}$i" & done
  ceph-mon -i a
  wait
} &>"$STATE/mkfs.log"
/usr/bin/python3 - "$STATE" "$limit" "${fsid%?}" <<'PYTHON'
import json, rados, subprocess, sys, time
state, limit, uuid = sys.argv[1], float(sys.argv[2]), sys.argv[3]
monitor = rados.Rados(conffile=state + "/ceph.conf")
monitor.connect(timeout=int(limit))

def ask(prefix, **arguments):
    status, out, error = monitor.mon_command(json.dumps(dict(arguments, prefix=prefix, format="json")), b"", timeout=int(limit))
    if status != 0:
        sys.exit("%s: %d %s" % (prefix, status, error))
    return json.loads(out) if out.strip() else None

def start(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=open(state + "/start.log", "a"))

def wait(what, holds):
    began = time.time()
    while not holds():
        if time.time() - began > limit:
            sys.exit("no %s within %g s" % (what, limit))
        time.sleep(0.1)

for i in range(3):
    ask("osd new", uuid=uuid + str(i), id=i)
    ask("osd crush add", id=i, weight=1.0, args=["root=default", "host=node%d" % i])
    start("ceph-osd", "-i", str(i))
ask("osd pool create", pool="meta", pg_num=8)
ask("osd pool create", pool="data", pg_num=32)
ask("fs new", fs_name="fs", metadata="meta", data="data")
start("ceph-mds", "-i", "a")
# What the client needs, and no more.
caps = ["mon", 'allow command "pg map", allow command "osd dump"']
_, out, _ = monitor.mon_command(json.dumps({"prefix": "auth get-or-create", "entity": "client.zolt", "caps": caps}), b"")
open(state + "/keyring.zolt", "wb").write(out)
wait("3 OSDs", lambda: sum(osd["up"] and osd["in"] for osd in ask("osd dump")["osds"]) == 3)
wait("metadata server", lambda: "up:active" in json.dumps(ask("mds stat")))
PYTHON
chmod 600 "$STATE/keyring.zolt"
timeout "$limit" ceph-fuse -n client.admin --pid-file "$STATE/fuse.pid" --log-file "$STATE/fuse.log" \
  --admin-socket "$STATE/fuse.sock" "$MOUNT" &>"$STATE/mount.log"
mountpoint -q "$MOUNT"
chmod 755 "$MOUNT"
trap - EXIT
export ZOLT_CEPHFS_ID=zolt
status=0
"$@" || status=$?
# Its processes end with this one; what the mount would wait for is gone by then.
timeout 10 umount "$MOUNT" 2>/dev/null || umount -l "$MOUNT" 2>/dev/null || :
exit $status
