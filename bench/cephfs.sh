#!/usr/bin/env bash
# cephfs.sh BUILD SECONDS: each native beside its bare system calls on a mounted CephFS, the map of a file of 1,000
# objects, and a listing of 100,000 names while another mount changes the directory. Within scripts/cephfs.sh; the client
# library is in CLIENT.
set -eu
build=$1 seconds=$2
mkdir "$MOUNT/bench"
# The smallest objects that there are: a thousand of them are a small file.
setfattr -n ceph.dir.layout -v 'stripe_unit=65536 stripe_count=1 object_size=65536 pool=data' "$MOUNT/bench"
status=0
ON=$MOUNT/bench bench/run.sh "$build" "$build/bench/cephfs" "$seconds" || status=$?
LD_LIBRARY_PATH=$CLIENT /usr/bin/python3 tests/cephfs/listing.py bin/zolt "$MOUNT" 100000 5 || status=$?
exit $status
