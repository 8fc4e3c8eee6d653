#!/usr/bin/env bash
# The jar for developers: what it loads, with and without libraries on the path, and that it leaves
# nothing behind. BUNDLE is the jar, BUILD the build folder, JAVA, SLF4J the logger's interface.
set -u
scratch=$(mktemp -d)
trap 'umount "$scratch/noexec" 2>/dev/null; rm -rf "$scratch"' EXIT
failed=0
here=$(dirname "$0")
"${JAVA}c" -cp "$BUNDLE" -d "$scratch/classes" "$here/Loaded.java" || exit 1

# loaded OPTION...: what a virtual machine has loaded, or the error's one line.
loaded() {
  "$JAVA" -cp "$scratch/classes:$BUNDLE:$SLF4J" -Djava.io.tmpdir="$scratch/tmp" "$@" Loaded 2>&1 |
    sed -n 's/^Exception in thread "main" //p; /^SLF4J/d; /^\tat/d; /^Caused/d; /^[/U]/p' |
    LC_ALL=C sort
}
# expect NAME WANTED GOT: both whole; or WANTED as a pattern.
expect() {
  # shellcheck disable=SC2053
  [[ $3 == $2 ]] && return
  printf 'FAILED %s\n  wanted: %s\n  got:    %s\n' "$1" "$2" "$3"
  failed=1
}
unset LD_LIBRARY_PATH
mkdir "$scratch/tmp" "$scratch/noexec" "$scratch/site"

expect 'nothing on the path: both from the jar' \
  $'UNPACKED/libzolt.so (deleted)\nUNPACKED/libzolthadoop.so (deleted)' "$(loaded)"
expect 'and nothing is left' '' "$(ls -A "$scratch/tmp")"

cp "$BUILD/client/local/libzolt.so" "$scratch/site"
expect "a site's client is the one that answers" \
  "$scratch/site/libzolt.so"$'\nUNPACKED/libzolthadoop.so (deleted)' \
  "$(LD_LIBRARY_PATH=$scratch/site loaded)"

expect 'a library on the path is the one that is loaded' \
  "$(printf '%s\n' "$scratch/site/libzolt.so" "$BUILD/lib/libzolthadoop.so.1.0.0" | LC_ALL=C sort)" \
  "$(LD_LIBRARY_PATH=$scratch/site loaded -Djava.library.path="$BUILD/lib")"
expect 'a library on the path without its client is not passed over' \
  '*java.library.path=*libzolt.so*was not found: put its folder on LD_LIBRARY_PATH*' \
  "$(loaded -Djava.library.path="$BUILD/lib")"

loaded >"$scratch/one" &
loaded >"$scratch/two"
wait
expect 'two at once' "$(cat "$scratch/one")" "$(cat "$scratch/two")"
expect 'two at once, and nothing is left' '' "$(ls -A "$scratch/tmp")"

expect 'another platform' '*The jar carries the library for linux-*only, and this is linux-pdp11.' \
  "$(loaded -Dos.arch=pdp11)"
# The loader of musl is known by the name of its file.
cp "$BUILD/client/local/libzolt.so" "$scratch/ld-musl-x86_64.so.1"
expect 'another C library' '*The jar carries the library for linux-*only, and this is linux-*-musl.' \
  "$(LD_PRELOAD=$scratch/ld-musl-x86_64.so.1 loaded)"
expect 'a folder that is not there' '*cannot unpack libzolthadoop.so below /nowhere:*' \
  "$(loaded -Djava.io.tmpdir=/nowhere)"
if mount -t tmpfs -o noexec none "$scratch/noexec" 2>/dev/null; then
  expect 'a folder without the right to execute' '*-Djava.io.tmpdir=DIR*' \
    "$(loaded -Djava.io.tmpdir="$scratch/noexec")"
  expect 'and nothing is left there' '' "$(ls -A "$scratch/noexec")"
else
  echo 'Not tried: a folder mounted noexec, since this process may not mount.'
fi
exit $failed
