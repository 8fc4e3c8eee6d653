#!/usr/bin/env bash
# The command's tests in one virtual machine. What it loads is copied to where every user may read it,
# since some commands act as another user and look at the library. JAVA, LIBRARY, CLIENT, BOUNDED, MAN, CLASSPATH.
set -u
export LC_ALL=C.UTF-8
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -L "$LIBRARY" "$CLIENT" "$work"
chmod -R a+rX "$work"
# What a test mounts is gone with the process, however it ends.
private=()
! unshare --mount true 2>/dev/null || private=(unshare --mount)
LD_LIBRARY_PATH=$work "${private[@]}" "$JAVA" -XX:+UseSerialGC -Xcheck:jni -ea -agentpath:"$BOUNDED" \
  -Dzolt.library="$work/$(basename "$LIBRARY")" -Dzolt.man="$MAN" \
  -Dorg.slf4j.simpleLogger.defaultLogLevel=off org.junit.platform.console.ConsoleLauncher \
  --disable-banner --details=tree --details-theme=ascii --disable-ansi-colors --fail-if-no-tests \
  --include-classname='.*Test' --select-package=zolt.cli
