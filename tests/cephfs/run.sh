#!/usr/bin/env bash
# run.sh BUILD: the client for CephFS by itself, then on clusters that end with their test: a fresh one each.
set -u
cd "$(dirname "$0")/../.."
build=$1
export CLIENT=$PWD/$build/client/cephfs LD_LIBRARY_PATH=$PWD/$build/client/cephfs
began=$SECONDS failed=0
attempt() { echo "== ${*##*/}"; "$@" || { failed=1; echo "FAILED: $*"; }; }

cmake --build --preset cephfs --target cephfs_tests zolthadoop zolttest zoltfaults zolt_test_java >"$build/cephfs.log" 2>&1 || { cat "$build/cephfs.log"; exit 1; }
attempt "$build/tests/cephfs/cephfs_tests" --gtest_brief=1
# shellcheck disable=SC2016  # for the shell beside the cluster
for test in 'map.py $CLIENT/libzolt.so' 'mount.py $CLIENT/libzolt.so' 'listing.py bin/zolt $MOUNT' \
  "natives.py $build"; do
  attempt scripts/cephfs.sh bash -c "/usr/bin/python3 tests/cephfs/$test"
done
for test in doctor.sh demo.sh; do
  attempt scripts/cephfs.sh "tests/cephfs/$test" bin/zolt
done
if why=$(hdfs/build.sh "$build/hdfs"); then
  attempt scripts/cephfs.sh /usr/bin/python3 tests/cephfs/hdfs.py "$build"
else
  echo "The HDFS service is left out: $why"
fi
attempt scripts/cephfs.sh tests/cephfs/soak.sh "$build" 0.25 2
echo "$((SECONDS - began)) s"
exit $failed
