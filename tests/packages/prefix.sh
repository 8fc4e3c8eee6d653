#!/usr/bin/env bash
# "make install" as a person calls it: into the loader's own folders, of which the loader has a table, and
# into a folder with a blank in its name; and "make demo" of such a folder. What is installed runs from where
# it lies, and a failure is said. BUILD is the build folder, CMAKE.
set -u
export LC_ALL=C.UTF-8
unset JAVA_HOME LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS DESTDIR MAKEFLAGS MAKELEVEL
failed=0
fail() { echo "FAILED: $1"; failed=1; }
source=$(cd "$(dirname "$0")/../.." && pwd)

# inside WORK PREFIX: in a mount namespace whose /usr/local and /etc are thrown away.
if [ "${1-}" = inside ]; then
  mount -t tmpfs tmpfs "$2" && mkdir "$2"/{local,etc}{,.work} &&
    mount -t overlay -o lowerdir=/usr/local,upperdir="$2/local",workdir="$2/local.work" overlay /usr/local &&
    mount -t overlay -o lowerdir=/etc,upperdir="$2/etc",workdir="$2/etc.work" overlay /etc || exit 77
  "$source/scripts/install.sh" "$BUILD" /usr/local >"$2/said" 2>&1 || { cat "$2/said"; exit 1; }
  cat "$2/said"
  /usr/local/bin/zolt ls / >/dev/null || exit 1
  [ -f /usr/local/share/java/zolt.jsa ] && [ ! -e /usr/local/share/java/zolt.new ] || exit 1
  # A command that cannot run is no success.
  ln -sf /nowhere "$(ls /usr/local/lib/libzolt.so /usr/local/lib/*/libzolt.so 2>/dev/null | head -n 1)"
  echo '#!/bin/sh' >/usr/local/bin/cmake && chmod 755 /usr/local/bin/cmake
  PATH=/usr/local/bin:$PATH "$source/scripts/install.sh" "$BUILD" /usr/local >"$2/said" 2>&1 && exit 1
  grep -q '^install.sh: /usr/local/bin/zolt does not run, and what is new of it is taken away again: zolt: ' "$2/said" ||
    { cat "$2/said"; exit 1; }
  [ ! -e /usr/local/share/java/zolt.new ]
  exit
fi

# full WORK PREFIX: over an older one, on a file system that has no room for both.
if [ "${1-}" = full ]; then
  mount -t tmpfs -o size=20m tmpfs "$2" || exit 77
  "$source/scripts/install.sh" "$BUILD" "$2/prefix" >/dev/null || exit 1
  find "$2/prefix" -type f -name '[!z]*.[!j]*' -exec sh -c 'for file; do echo older >>"$file"; done' sh {} +
  before=$(find "$2/prefix" -type f -exec cksum {} + | sort)
  cat /dev/zero >"$2/filler" 2>/dev/null
  said=$("$source/scripts/install.sh" "$BUILD" "$2/prefix" 2>&1) && exit 1
  [[ $said = "install.sh: nothing is installed: "*" No space left on device"* ]] || { echo "$said"; exit 1; }
  rm "$2/filler"
  [ "$before" = "$(find "$2/prefix" -type f -exec cksum {} + | sort)" ] && "$2/prefix/bin/zolt" ls / >/dev/null
  exit
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ "$(id -u)" -eq 0 ]; then
  mkdir "$work/scratch"
  unshare --mount "$0" inside "$work/scratch"
  case $? in
    0) ;;
    77) echo 'The default prefix was not tried: no overlay may be mounted here.' ;;
    *) fail 'an installation into /usr/local' ;;
  esac
  unshare --mount "$0" full "$work/scratch"
  case $? in
    0) ;;
    77) echo 'An installation without room was not tried: no file system may be mounted here.' ;;
    *) fail 'an installation without room' ;;
  esac
else
  echo 'The default prefix was not tried: that is for root.'
fi

# What would not run is refused in one line, before anything is there.
for name in 'a:b' 'a;b' 'a\b' $'a\nb' $'a\eb' 'a ' $'a\xff' 'a😀' 'a$LIB' '${ORIGIN}'; do
  mkdir "$work/none"
  said=$("$source/scripts/install.sh" "$BUILD" "$work/none/$name" 2>&1) &&
    fail "an installation into $(printf %q "$name")"
  [[ $said = "install.sh: PREFIX "* && $said != *$'\n'* && $said != *$'\e'* ]] && rmdir "$work/none" ||
    fail "no plain refusal of $(printf %q "$name"): $said; $(find "$work/none")"
done
said=$(cd "$work" && "$source/scripts/install.sh" "$BUILD" '' 2>&1)
[ "$said" = 'install.sh: PREFIX is empty: name a folder' ] || fail "an empty prefix: $said"
said=$("$source/scripts/install.sh" "$BUILD" // 2>&1)
[ "$said" = 'install.sh: PREFIX is /: name a folder below it, as /usr or /usr/local' ] || fail "the root as prefix: $said"

# An installation that fails leaves nothing, neither where there was nothing nor beside what was there.
install_to() { "$source/scripts/install.sh" "$BUILD" "$@" 2>&1; }
mkdir "$work/old" && touch "$work/old/kept"
for prefix in old 'ne w/deeper'; do
  said=$(JAVA_HOME=/nowhere install_to "$work/$prefix") && fail 'an installation without Java'
  [[ $said = "install.sh: $work/$prefix/bin/zolt does not run, "*": zolt: no java in JAVA_HOME=/nowhere"* ]] ||
    fail "without Java: $said"
done
mkdir "$work/full" "$work/full/bin"
touch "$work/full/bin/zolt" && chattr +i "$work/full/bin/zolt" 2>/dev/null && {
  said=$(install_to "$work/full") && fail 'an installation over what cannot be replaced'
  [[ $said = "install.sh: nothing is installed: "*" Operation not permitted"* && $said != *$'\n'* ]] ||
    fail "what cannot be replaced: $said"
  chattr -i "$work/full/bin/zolt"
}
rm -f "$work/full/bin/zolt"
mkdir "$work/full/bin/zolt"
said=$(install_to "$work/full") && fail 'an installation over a folder'
[ "$said" = "install.sh: nothing is installed: $work/full/bin/zolt is a folder" ] || fail "a folder: $said"
rmdir "$work/full/bin/zolt"
# Neither does one that is interrupted.
for signal in TERM HUP; do
  "$source/scripts/install.sh" "$BUILD" "$work/interrupted" >/dev/null 2>&1 &
  install=$!
  while [ ! -e "$work/interrupted/bin/zolt" ] && kill -0 $install; do sleep 0.01; done
  kill -$signal $install
  wait $install
  [ $? -ge 128 ] && [ ! -e "$work/interrupted" ] || fail "SIG$signal: $(find "$work/interrupted" | head -n 3)"
done
[ "$(cd "$work" && find old "ne w" full 2>/dev/null)" = $'old\nold/kept\nfull\nfull/bin' ] ||
  fail "what a failed installation leaves: $(cd "$work" && find old "ne w" full)"

# A way that goes through what is not there is the way that is meant.
said=$(install_to "$work/way/x/../y") && [ -x "$work/way/y/bin/zolt" ] && [ ! -e "$work/way/x" ] || fail "a way with ..: $said"
# What is taken away is what was installed, and no more.
touch "$work/way/y/bin/other" "$work/way/y/share/doc/other"
said=$(install_to "$work/way/y" remove) || fail "an installation that is removed: $said"
[ "$(cd "$work/way/y" && find . ! -type d | sort)" = $'./bin/other\n./share/doc/other' ] && [ ! -e "$work/way/y/share/doc/zolt-tools" ] ||
  fail "what is left of an installation: $(find "$work/way/y")"
said=$(install_to "$work/way/y" remove) && fail 'what is not installed is removed'
[ "$said" = "install.sh: nothing of it is installed below $work/way/y" ] || fail "nothing to remove: $said"

# What root installs is everyone's, whatever umask(2) root has.
(umask 077 && install_to "$work/closed" >/dev/null) || fail 'an installation under umask 077'
[ -z "$(find "$work/closed" ! -perm -044 -o -type d ! -perm -055)" ] || fail 'an installation that is not for everyone'

# The Makefile belongs to the build in its own folder.
[ "$BUILD" = "$source/build" ] || exit $failed
blank=$work/'a b%s@|x|@'
mkdir "$blank" && touch "$blank/part-0000"
from() { make -C "$source" -o build "$@" 2>&1; }
from demo DIR="$blank" | grep -qE '^  file +[0-9]+  part-0000$' || fail 'make demo of a folder with a blank'
output=$(from install PREFIX="$blank/prefix") || fail "make install into a folder with a blank: $output"
[ "$("$blank/prefix/bin/zolt" ls "$blank")" = "$(ls -AU1 "$blank")" ] || fail 'a command in a folder with a blank'
[[ $("$blank/prefix/bin/zolt" --version) = "zolt 1.0.0"*$'\nlibrary 1.0.0, '"$blank"/prefix/lib*$'\nclient  '"$blank"/prefix/* ]] ||
  fail "files of a version: $("$blank/prefix/bin/zolt" --version)"
[ -f "$blank/prefix/share/java/zolt.jsa" ] || fail 'no classes are kept ready in a folder with a blank'
output=$(from install PREFIX="$work/\$HOME(x)\$") && [ -x "$work/\$HOME(x)\$/bin/zolt" ] || fail "make install with a dollar: $output"
output=$(from install PREFIX=/usr DESTDIR="$blank/staged") && [ -x "$blank/staged/usr/bin/zolt" ] &&
  grep -q '^Put down below .*staged for /usr$' <<<"$output" && from uninstall PREFIX=/usr DESTDIR="$blank/staged" >/dev/null &&
  [ -z "$(find "$blank/staged" ! -type d)" ] ||
  fail "a staged installation: $output"
output=$(from install PREFIX=/usr DESTDIR="$blank/\$HOME") && [ -x "$blank/\$HOME/usr/bin/zolt" ] ||
  fail "a staged installation with a dollar: $output"
exit $failed
