#!/usr/bin/env bash
# Reads the built library: check.sh LIBRARY HEADER
set -u
library=$1 header=$2
failed=0
check() {  # check WHAT EXPECTED FOUND
  if [ "$2" = "$3" ]; then
    echo "ok: $1"
  else
    echo "FAILED: $1"; diff <(echo "$2") <(echo "$3"); failed=1
  fi
}

declared=$( (grep -o 'Java_[A-Za-z0-9_]*' "$header"; echo JNI_OnLoad) | sort)
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort)
check "the exports are JNI_OnLoad and the natives of ZOLTNative" "$declared" "$exported"

dynamic=$(readelf -dW "$library")
check "the name it is known by" libzolthadoop.so.1 "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")"
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
check "libzolt.so is needed by that name" libzolt.so "$(grep -x 'libzolt.so' <<<"$needed")"
check "libacl is not linked" "" "$(grep libacl <<<"$needed")"
check "no RPATH" "" "$(grep -E '\((RPATH|RUNPATH)\)' <<<"$dynamic")"
folder=$(dirname "$library")
check "libzolthadoop.so.1 stands beside it" libzolthadoop.so.1.0.0 "$(readlink "$folder/libzolthadoop.so.1")"
check "libzolthadoop.so stands beside it" libzolthadoop.so.1 "$(readlink "$folder/libzolthadoop.so")"
exit $failed
