#!/usr/bin/env bash
# inside.sh TOP PORTABLE OUT: what run.sh runs on each system: the tests of the core, the natives' suite in the Java
# that JAVA names, and a tour. A line of OUT says what came of it: GLIBC, Java, core, suite, tour.
set -u
top=$1
portable=$2
out=$3
failed=0
export LC_ALL=C.UTF-8 TMPDIR=/tmp LEVEL=OFF

# The want of memory that the fault library plays is an exception of its own copy of the C++ library, which the tests'
# copy does not know; the first of these waits for it by its type. The other is too slow for an emulator: it starts
# thousands of programs.
left=Fmt.ATextThatThereIsNoMemoryForIsAnErrorAndNoShorterText
[ -z "${EMULATED:-}" ] || left=$left:AclToolsTest.HundredsOfChangesAgree

echo "== core"
core=$(LD_LIBRARY_PATH=$portable/tests:$LIBACL_PATH:$LD_LIBRARY_PATH "$portable/tests/core_tests" --gtest_brief=1 --gtest_filter="-$left" 2>&1) || failed=1
echo "$core"
core="$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests*\.$/\1/p' <<<"$core") of $(sed -n 's/^\[==========\] \([0-9]*\) tests .*/\1/p' <<<"$core")"

echo "== natives"
suite=$("$top/tests/jvm/run.sh" --select-package=zolt.test --select-package=zolt.fs --exclude-tag=hostile \
  --exclude-classname='.*[.]WalkTest' 2>&1) || failed=1
echo "$suite"
tests() { sed -n "s/^\[ *\([0-9]*\) tests $1 *\]\$/\1/p" <<<"$suite"; }
case $suite in
  *'tests found'*) suite="$(tests successful) of $(tests found), $(tests aborted) without what they need" ;;
  *) suite='JUnit does not start' ;;
esac

echo "== tour"
tour=ends
folder=$(mktemp -d)
JAVA_HOME=${JAVA%/bin/java} ZOLT_LIBRARY=$LIBRARY "$top/bin/zolt" tour "$folder" || { tour=fails; failed=1; }

java=$("$JAVA" -version 2>&1 | sed -n '1s/.*"\(.*\)".*/\1/p')
printf '%s\t%s\t%s\t%s\t%s\n' "$(getconf GNU_LIBC_VERSION | sed 's/.* //')" "$java" "$core" "$suite" "$tour" >"$out"
exit $failed
