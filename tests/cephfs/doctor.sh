#!/usr/bin/env bash
# doctor.sh ZOLT: what the doctor says of a CephFS that is mounted as it should be, and of one that is not. Within
# scripts/cephfs.sh; the client library is in CLIENT.
set -u
zolt=$1
export LD_LIBRARY_PATH=$CLIENT
failed=0
# told CODE FOLDER LINE...: the doctor ends so and says these; each is a regular expression for the begin of a line.
told() {
  local code=$1 folder=$2 said line
  shift 2
  said=$("$zolt" doctor "$folder" 2>&1)
  [ $? -eq "$code" ] || { echo "FAILED: doctor $folder did not end with $code: $said"; failed=1; }
  for line; do
    grep -qE "^$line" <<<"$said" || { echo "FAILED: doctor $folder does not say $line: $said"; failed=1; }
  done
}

# A user with a second group, for this cluster alone.
cp /etc/group "$STATE/group"
echo 'zolt-second:x:4711:daemon' >>"$STATE/group"
mount --bind "$STATE/group" /etc/group
mkdir "$MOUNT/good" "$MOUNT/late"
told 0 "$MOUNT/good" 'ok   attributes' 'ok   ACLs' 'ok   leases' 'ok   blocks' 'ok   clocks' 'ok   default ACLs' \
  'ok   groups +[a-z-]+, who is in [a-z-]+, may read' 'ok   directory sizes'

# The time of a change by another machine, whose clock is ahead.
touch -d '+1 hour' "$MOUNT/late"
told 1 "$MOUNT/late" 'fail clocks +after a change the time of .* is 3[0-9]{3} s ahead of this'

# One whose program does not see the processes that it serves, and adds up sizes.
mkdir "$STATE/wrong"
unshare --pid --fork --kill-child ceph-fuse -f -n client.admin --client_dirsize_rbytes=true "$STATE/wrong" &>"$STATE/wrong.log" &
for ((left = 300; left > 0; left--)); do
  ! mountpoint -q "$STATE/wrong" || break
  sleep 0.1
done
head -c 100000 /dev/zero >"$STATE/wrong/good/data"
told 1 "$STATE/wrong/good" 'fail groups +[a-z-]+, who is in [a-z-]+, may not read' 'warn directory sizes' 'ok   default ACLs'
umount "$STATE/wrong"
echo "doctor: three folders looked at"
exit $failed
