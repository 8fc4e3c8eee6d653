#!/usr/bin/env bash
# inside.sh TOP PORTABLE OUT: what run.sh runs on each system: the tests of the core, the natives' suite in the Java
# that JAVA names, a tour, and the program LOADED with nothing but the jar that carries the libraries. A line of OUT
# says what came of it: GLIBC, Java, core, suite, tour, jar.
set -u -o pipefail
top=$1
portable=$2
out=$3
failed=0
export LC_ALL=C.UTF-8 TMPDIR=/tmp LEVEL=OFF

left=
leave() {  # leave TEST WHY: a test of the core
  left=$left:$1
  printf '%s: %s\n' "$1" "$2" >>"$out.left"
}
: >"$out.left"
leave Fmt.ATextThatThereIsNoMemoryForIsAnErrorAndNoShorterText \
  "the want of memory that is played is an exception of another copy of the C++ library"
[ -z "${EMULATED:-}" ] || {
  leave AclToolsTest.HundredsOfChangesAgree 'it starts thousands of programs, which is too slow for an emulator'
  leave GroupsTest.AGroupListTooLongForMemory 'the emulator knows no limit of memory'
}

minutes=15
[ -z "${EMULATED:-}" ] || minutes=40
limited() { timeout --kill-after=10 ${minutes}m "$@"; }  # what hangs on one system shall not keep the others from their turn

echo "== core"
core=$(LD_LIBRARY_PATH=$portable/tests:$LIBACL_PATH:$LD_LIBRARY_PATH limited "$portable/tests/core_tests" --gtest_filter="-${left#:}" 2>&1 | tee /dev/stderr)
status=$?
[ $status -eq 0 ] || failed=1
case $status in
  124) core="no end in $minutes min" ;;
  *) core="$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests*\.$/\1/p' <<<"$core") of $(sed -n 's/^\[==========\] \([0-9]*\) tests .*/\1/p' <<<"$core")" ;;
esac

echo "== natives"
reports=$(mktemp -d)
suite=$(limited "$top/tests/jvm/run.sh" --reports-dir="$reports" --select-package=zolt.test --select-package=zolt.fs --exclude-tag=hostile \
  --exclude-classname='.*[.]WalkTest' 2>&1)
status=$?
[ $status -eq 0 ] || failed=1
echo "$suite"
tests() { sed -n "s/^\[ *\([0-9]*\) tests $1 *\]\$/\1/p" <<<"$suite"; }
case $status/$suite in
  124/*) suite="no end in $minutes min" ;;
  *'tests found'*) suite="$(tests successful) of $(tests found), $(tests aborted) without what they need" ;;
  *) suite='JUnit does not start' ;;
esac
# A test that lacks something says what, and ends.
awk '
  /^<testcase / {name = $0; sub(/.*classname="([^"]*[.])?/, "", name); sub(/".*/, "", name)
    method = $0; sub(/^<testcase name="/, "", method); sub(/[("].*/, "", method)}
  /CDATA.*TestAbortedException: / {sub(/.*TestAbortedException: (Assumption failed: )?/, ""); print name "." method ": " $0}' \
  "$reports/TEST-junit-jupiter.xml" >>"$out.left"

echo "== tour"
tour=ends
folder=$(mktemp -d)
said=$(limited env JAVA_HOME=${JAVA%/bin/java} ZOLT_LIBRARY=$LIBRARY "$top/bin/zolt" tour "$folder" 2>&1) || { tour=fails; failed=1; }
echo "$said"
grep -q '^WARNING' <<<"$said" && { tour='ends, with warnings'; failed=1; }

echo "== jar"
jar=loads
said=$(env -u LD_LIBRARY_PATH "$JAVA" -jar "$LOADED" 2>&1)
echo "$said"
[ "$(grep -v '^SLF4J' <<<"$said")" = $'UNPACKED/libzolt.so (deleted)\nUNPACKED/libzolthadoop.so (deleted)' ] || { jar=fails; failed=1; }

java=$("$JAVA" -version 2>&1 | sed -n '1s/.*"\(.*\)".*/\1/p')
printf '%s\t%s\t%s\t%s\t%s\t%s\n' "$(getconf GNU_LIBC_VERSION | sed 's/.* //')" "$java" "$core" "$suite" "$tour" "$jar" >"$out"
exit $failed
