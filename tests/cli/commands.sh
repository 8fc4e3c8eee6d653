#!/usr/bin/env bash
# The command's tests in one virtual machine. What it loads is copied to where every user may read it,
# since some commands act as another user and look at the library. JAVA, LIBRARY, CLIENT, BOUNDED, ORACLE,
# MAN, CLASSPATH; TESTS, if set, says which tests: options of JUnit.
set -u
export LC_ALL=C.UTF-8
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -L "$LIBRARY" "$CLIENT" "$ORACLE" "$work"
chmod -R a+rX "$work"
# What a test mounts is gone with the process, however it ends.
private=()
! unshare --mount true 2>/dev/null || private=(unshare --mount)
# shellcheck disable=SC2086  # options, separated by blanks
LD_LIBRARY_PATH=$work "${private[@]}" "$JAVA" -XX:+UseSerialGC -Xcheck:jni -ea -agentpath:"$BOUNDED" \
  -Dzolt.library="$work/$(basename "$LIBRARY")" -Dzolt.man="$MAN" -Dzolt.oracle="$work/zoltoracle" \
  -Dorg.slf4j.simpleLogger.defaultLogLevel=off org.junit.platform.console.ConsoleLauncher \
  --disable-banner --details=tree --details-theme=ascii --disable-ansi-colors --fail-if-no-tests \
  --include-classname='.*Test' ${TESTS:---select-package=zolt.cli}
