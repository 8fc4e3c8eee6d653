#!/usr/bin/env bash
# Runs JUnit in a virtual machine that checks every JNI call. The environment says which: JAVA, LEVEL,
# LIBRARY, TEST_LIBRARY, FAULTS, LIBACL_PATH (of the libacl that can fail; not for the tools that this
# script calls), LD_LIBRARY_PATH, CLASSPATH; WALK_PAIRS=true, if set, walks pairs of failures too; FOLDER, if
# set, is where files are made, and FILES how many of them are many;
# SANITIZER_PRELOAD (the run-time libraries of a build with sanitizers, which must come before all
# others), if set. The arguments go to JUnit.
#
# A warning of -Xcheck:jni leaves the exit status at 0, so the output is searched for them, and for
# what the sanitizers report.
set -u -o pipefail
# Error texts are the C library's, and Java's file names need a locale that has all characters.
export LC_ALL=C.UTF-8
output=$(mktemp)
reports=$(mktemp -d)  # of the sanitizers, also in the programs that tests start
trap 'rm -rf "$output" "$reports"' EXIT
[ -z "${SANITIZER_PRELOAD:-}" ] || export ASAN_OPTIONS=$ASAN_OPTIONS:log_path=$reports/report

LD_PRELOAD=${SANITIZER_PRELOAD:+$SANITIZER_PRELOAD:}$FAULTS LD_LIBRARY_PATH=$LD_LIBRARY_PATH:$LIBACL_PATH "$JAVA" -Xcheck:jni -Xmx512m -ea \
  -Dzolt.library="$LIBRARY" -Dzolt.test.library="$TEST_LIBRARY" -Dzolt.test.level="$LEVEL" \
  -Dzolt.test.pairs="${WALK_PAIRS:-false}" -Dzolt.test.files="${FILES:-100000}" -Djava.io.tmpdir="${FOLDER:-/tmp}" \
  -Djava.library.path=/nowhere \
  org.junit.platform.console.ConsoleLauncher \
  --disable-banner --details=tree --details-theme=ascii --disable-ansi-colors \
  --fail-if-no-tests --include-classname='.*Test' "$@" 2>&1 | tee "$output" | grep --line-buffered '^at: '  # who watches sees how far long tests are
status=${PIPESTATUS[0]}

# The cache asks for two classes by their descriptors on purpose; those two warnings go, with the
# stack traces under them. Java 8 itself calls a static method without a look at what it threw, before it loads any
# library; ours calls none.
known='bad class descriptor "L(java/util/HashMap|java/lang/String);"'
! "$JAVA" -version 2>&1 | grep -q '"1\.8\.' || known="$known|from CallStaticObjectMethod\$"
awk -v known="$known" '
  /WARNING in native method/ {skipping = $0 ~ known; if (skipping) next}
  skipping && /^\t/ {next}
  {skipping = 0; print}
' "$output" >"$output.filtered" && mv "$output.filtered" "$output"
warnings=$(grep -E -A8 \
  'WARNING in native method|FATAL ERROR in native method|WARNING: JNI|JNI call made' "$output")

# What the leak checker finds is mostly the virtual machine's own. In ours, a function of ours stands
# nearer to the allocation than the machine does; a frame has a library's name only without a line.
cat "$reports"/* >"$reports.all" 2>/dev/null
leaks=$(awk -v RS= '/(Direct|Indirect) leak of/ {
    all++; us = match($0, /zolt::|_ZOLTNative_|libzolt/); vm = index($0, "libjvm.so")
    if (us && (!vm || us < vm)) {ours++; print $0 "\n"}
  }
  END {printf "leaks: %d of the virtual machine, %d ours\n", all - ours, ours}' "$reports.all")
findings=$(grep -hE -A40 'ERROR: AddressSanitizer|LeakSanitizer has encountered|runtime error:' \
  "$reports.all")
rm -f "$reports.all"

if [ $status -ne 0 ] || [ -n "$warnings$findings" ] || [[ $leaks != *' 0 ours' ]]; then
  cat "$output"
  [ -n "$warnings" ] && printf '\nJNI warnings:\n%s\n' "$warnings"
  [ -n "${SANITIZER_PRELOAD:-}" ] && printf '\nSanitizers:\n%s\n%s\n' "$findings" "$leaks"
  exit 1
fi
grep -E '^[a-z]+: [0-9]+ ' "$output" | grep -v '^at: '  # the figures that tests print
tail -n 16 "$output"
[ -z "${SANITIZER_PRELOAD:-}" ] || echo "$leaks"
