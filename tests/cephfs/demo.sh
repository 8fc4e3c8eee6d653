#!/usr/bin/env bash
# demo.sh ZOLT: what the command shows of a CephFS, with the client library in CLIENT. Within scripts/cephfs.sh.
set -eu
zolt=$1
export LD_LIBRARY_PATH=$CLIENT
head -c 50000000 /dev/zero >"$MOUNT/numbers"
"$zolt" tour "$MOUNT"
echo
echo "The blocks of a file of 50,000,000 bytes, in three copies on three OSDs:"
"$zolt" blocks --form=fs "$MOUNT/numbers" | tee "$STATE/blocks"
[ "$(tr -s ' ' '\n' <"$STATE/blocks" | grep -cxE '[012]')" -ge 36 ] || { echo "demo.sh: these are not three OSDs" >&2; exit 1; }
