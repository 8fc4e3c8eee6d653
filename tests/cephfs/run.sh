#!/usr/bin/env bash
# run.sh BUILD: the client for CephFS by itself, then on clusters that end with their test: a fresh one each. ONLY, a
# regular expression, chooses among unit, map, mount, listing, natives, doctor, demo, hdfs and soak.
set -u
cd "$(dirname "$0")/../.."
build=$1
export CLIENT=$PWD/$build/client/cephfs LD_LIBRARY_PATH=$PWD/$build/client/cephfs
began=$SECONDS failed=0
attempt() {  # attempt NAME COMMAND...
  local name=$1 from=$SECONDS
  shift
  [[ $name =~ ^(${ONLY:-.*})$ ]] || return 0
  echo "== $name"
  "$@" || { failed=1; echo "FAILED: $*"; }
  echo "== $name took $((SECONDS - from)) s"
}
on_cluster() { attempt "$1" scripts/cephfs.sh "${@:2}"; }

cmake --build --preset cephfs --target cephfs_tests zolthadoop zolttest zoltfaults zolt_test_java >"$build/cephfs.log" 2>&1 || { cat "$build/cephfs.log"; exit 1; }
attempt unit "$build/tests/cephfs/cephfs_tests" --gtest_brief=1
on_cluster map /usr/bin/python3 tests/cephfs/map.py "$CLIENT/libzolt.so"
on_cluster mount /usr/bin/python3 tests/cephfs/mount.py "$CLIENT/libzolt.so"
# shellcheck disable=SC2016  # for the shell beside the cluster
on_cluster listing bash -c '/usr/bin/python3 tests/cephfs/listing.py bin/zolt "$MOUNT"'
on_cluster natives /usr/bin/python3 tests/cephfs/natives.py "$build"
on_cluster doctor tests/cephfs/doctor.sh bin/zolt
on_cluster demo tests/cephfs/demo.sh bin/zolt
if [[ hdfs =~ ^(${ONLY:-.*})$ ]]; then
  if why=$(hdfs/build.sh "$build/hdfs"); then
    on_cluster hdfs /usr/bin/python3 tests/cephfs/hdfs.py "$build"
  else
    echo "The HDFS service is left out: $why"
  fi
fi
on_cluster soak tests/cephfs/soak.sh "$build" 0.25 2
echo "$((SECONDS - began)) s"
exit $failed
