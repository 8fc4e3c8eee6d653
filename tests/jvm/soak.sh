#!/usr/bin/env bash
# The soak for MINUTES, then the kill check of KILLS virtual machines, under -Xcheck:jni. The
# environment has these two and the rest: JAVA, LEVEL, SEED (for another than a new one), LIBRARY,
# TEST_LIBRARY, FAULTS, LD_LIBRARY_PATH, CLASSPATH; FOLDER, if set, is where its files are, and BY_ANYBODY=true says
# that the file system lets anybody set the mode that a file already has.
set -u
# Error texts are the C library's.
export LC_ALL=C.UTF-8
warnings=$(mktemp)
ours=$(mktemp -d)
trap 'rm -rf "$warnings" "$ours"' EXIT
# Classes are also looked for while a thread has the rights of another user, who may not come to where
# the build stands: a copy of them is for all to read.
cp -r "${CLASSPATH%%:*}" "$ours/classes"
chmod -R a+rX "$ours"
export CLASSPATH=$ours/classes:${CLASSPATH#*:}
[ -t 1 ] && terminal=true || terminal=false

# What -Xcheck:jni says leaves the exit status at 0, so it is searched for. The cache asks for two
# classes by their descriptors on purpose; those two warnings go, with the stack traces under them.
known='bad class descriptor "L(java/util/HashMap|java/lang/String);"'
said() {
  awk -v known="$known" '
    /WARNING in native method/ {skipping = $0 ~ known; if (skipping) next}
    skipping && /^\t/ {next}
    {skipping = 0; print}
  ' "$warnings"
}

run() {  # run CLASS OPTION...
  local class=$1 status; shift
  "$JAVA" -Xcheck:jni -XX:+DisplayVMOutputToStderr -Djava.library.path=/nowhere \
    -Djava.io.tmpdir="${FOLDER:-/tmp}" -Dsoak.present.mode.by.anybody="${BY_ANYBODY:-false}" \
    -Dzolt.library="$LIBRARY" -Dzolt.test.library="$TEST_LIBRARY" -Dzolt.test.level="$LEVEL" \
    ${SEED:+-Dsoak.seed=$SEED} -Dsoak.terminal=$terminal "$@" "$class" 2>"$warnings"
  status=$?
  [ $status -eq 0 ] && [ -z "$(said)" ] && return
  printf '%s ended with %s and said:\n%s\n' "$class" $status "$(said)"
  exit 1
}

# The heap is taken as a whole at the start, and only one compiler works, so that resident memory
# shows what the library does.
LD_PRELOAD=$FAULTS run zolt.soak.Soak -Dsoak.minutes="$MINUTES" -Xms256m -Xmx256m -XX:+AlwaysPreTouch \
  -XX:+UseSerialGC -XX:TieredStopAtLevel=1 || exit 1
run zolt.soak.Kills -Dsoak.kills="$KILLS" -Xmx128m
