#!/usr/bin/env bash
# soak.sh BUILD MINUTES KILLS: the soak on the mount, 32 threads as ten users, and then virtual machines that are killed.
# With the embedded client, whose files change their copies. Within scripts/cephfs.sh.
set -eu
while IFS= read -r line; do export "${line?}"; done <"$1/tests/jvm/environment"
mkdir "$MOUNT/soak"
chmod 1777 "$MOUNT/soak"
setfattr -n ceph.dir.layout -v 'stripe_unit=65536 stripe_count=1 object_size=65536 pool=data' "$MOUNT/soak"
FOLDER=$MOUNT/soak BY_ANYBODY=true JAVA=java LEVEL=INFO MINUTES=$2 KILLS=$3 tests/jvm/soak.sh
