#!/usr/bin/env bash
# install.sh BUILD PREFIX [remove]: installs what is built, and shows that it runs from where it lies. Below DESTDIR
# it is only put down: where it will run is not known here. With "remove", what it would install is taken away, and each
# folder that is empty then and is its own.
set -eu
build=$1
prefix=$2
fail() { echo "install.sh: $1" >&2; exit 1; }

case $prefix in
  '') fail 'PREFIX is empty: name a folder' ;;
  *[!/]*) [ "${prefix#/}" != "$prefix" ] || prefix=$PWD/$prefix ;;
  *) fail 'PREFIX is /: name a folder below it, as /usr or /usr/local' ;;
esac
# Of Java, the loader and cmake, each has names of folders that it does not take.
no() { fail "$1: $(printf %q "$prefix")"; }
case $prefix in
  *[:\;\\]*) no 'PREFIX has a colon, a semicolon or a backslash, with which nothing would run there' ;;
  *[[:cntrl:]]*) no 'PREFIX has a line end or another control character' ;;
  *\$LIB* | *\$ORIGIN* | *\$PLATFORM* | *\$\{LIB\}* | *\$\{ORIGIN\}* | *\$\{PLATFORM\}*)
    no 'PREFIX has a word that the loader replaces in its search path (ld.so(8))' ;;
  *[[:space:]]) no 'PREFIX ends in a blank, which cmake would leave out' ;;
esac
printf %s "$prefix" | iconv -f UTF-8 -t UCS-2 >/dev/null 2>&1 ||
  no 'PREFIX is no UTF-8, or has a character beyond U+FFFF, and Java finds no classes there'
# The kernel goes through each folder on the way, and so does whoever looks for what is installed.
case $prefix/ in
  */../* | */./*) prefix=$(realpath -m -- "$prefix") ;;
esac
scratch=$(mktemp -d)
log=$scratch/log
added=$scratch/added
files=$scratch/files
jars=$prefix/share/java
targets=()
[ -e "$jars/zolt.jsa" ] || echo "$jars/zolt.jsa" >"$added"

# beside: where the new file waits and the old one is kept, by names that ldconfig(8) takes for no library.
beside() {
  new=${1%/*}/.zolt-new.${1##*/}
  old=${1%/*}/.zolt-old.${1##*/}
}
# Where the installation fails, or is interrupted, the old files come back, and what is new goes: files, and then the
# folders that they were in.
finish() {
  status=$?
  trap '' HUP INT TERM
  rm -f "$jars/zolt.new"
  for target in "${targets[@]}"; do
    beside "$target"
    if [ "$status" -ne 0 ] && { [ -e "$old" ] || [ -L "$old" ]; }; then mv -fT "$old" "$target" || continue; fi
    rm -f "$new" "$old"
  done
  [ "$status" -eq 0 ] || [ ! -f "$added" ] || while IFS= read -r path; do
    rm -df -- "$path" 2>/dev/null || :
  done <"$added"
  rm -rf "$scratch"
}
trap finish EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM
umask 022 # it is for all users, whoever installs it

nothing() { fail "nothing is installed: $(sed -n '/^Call Stack/q; s/^  *//; /./p' "$log" | tr '\n' ' ')"; }
# replace NEW TARGET: the old one is kept until the end.
replace() {
  beside "$2"
  rm -f "$old"
  if [ -e "$2" ] || [ -L "$2" ]; then ln -PT "$2" "$old" 2>/dev/null || mv -T "$2" "$old" || return; fi
  mv -fT "$1" "$2"
}
mkdir "$files"
DESTDIR=$files cmake --install "$build" --prefix "$prefix" >"$log" 2>&1 || nothing
if [ "${3-}" = remove ]; then
  gone=0
  while IFS= read -r path; do
    target=${DESTDIR-}$path
    if [ -d "$files$path" ] && [ ! -L "$files$path" ]; then
      case $path/ in
        */libzolthadoop/ | */libzolthadoop/* | */libzolt-local/* | */zolt-tools/*) rmdir "$target" 2>/dev/null || : ;;
      esac
    elif [ -e "$target" ] || [ -L "$target" ]; then
      rm -f -- "$target" 2>"$log" || fail "$(tail -n 1 "$log")"
      gone=$((gone + 1))
    fi
  done < <(cd "$files" && find . -depth -mindepth 1 -printf '/%P\n')
  [ -n "${DESTDIR-}" ] || [ "$(id -u)" -ne 0 ] || case $prefix in
    /usr | /usr/local) PATH=$PATH:/usr/sbin:/sbin ldconfig || : ;;
  esac
  [ "$gone" -gt 0 ] || fail "nothing of it is installed below ${DESTDIR-}$prefix"
  rm -f -- "${DESTDIR-}$jars/zolt.jsa"
  echo "Removed from ${DESTDIR-}$prefix: $gone files"
  exit 0
fi
while IFS= read -r path; do
  target=${DESTDIR-}$path
  [ -e "$target" ] || [ -L "$target" ] || echo "$target" >>"$added"
  [ ! -d "$files$path" ] || [ -L "$files$path" ] || continue
  [ ! -d "$target" ] || [ -L "$target" ] || fail "nothing is installed: $target is a folder"
  targets+=("$target")
done < <(cd "$files" && find . -depth -mindepth 1 -printf '/%P\n')
# None takes its place before all are there.
for target in "${targets[@]}"; do
  beside "$target"
  { mkdir -p "${target%/*}" && cp -d --preserve=mode,timestamps "$files${target#"${DESTDIR-}"}" "$new"; } 2>"$log" || nothing
done
for target in "${targets[@]}"; do
  beside "$target"
  replace "$new" "$target" 2>"$log" || nothing
done
[ -z "${DESTDIR-}" ] || { echo "Put down below $(printf %q "$DESTDIR") for $prefix"; exit 0; }

# What the command finds by itself, not by what the caller has set.
unset LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS
export PATH=$PATH:/usr/sbin:/sbin
# In the loader's own folders a library is found once the loader's table has it.
case $prefix in
  /usr | /usr/local) [ "$(id -u)" -ne 0 ] || ldconfig || echo "install.sh: ldconfig has failed" >&2 ;;
esac

"$prefix/bin/zolt" ls -l / >"$log" 2>&1 ||
  fail "$prefix/bin/zolt does not run, and what is new of it is taken away again: $(tail -n 1 "$log")
Where a library is not found, run ldconfig as root."
# Classes kept ready make a quick start; a Java that keeps none does without. Its option takes no blanks.
(cd "$jars" && ZOLT_JAVA_OPTS=-XX:ArchiveClassesAtExit=zolt.new "$prefix/bin/zolt" ls -l / >/dev/null 2>&1) || :
if [ -f "$jars/zolt.new" ]; then
  targets+=("$jars/zolt.jsa")
  touch -r "$jars/zolt-cli.jar" "$jars/zolt.new" && replace "$jars/zolt.new" "$jars/zolt.jsa"
fi
version=$("$prefix/bin/zolt" --version)
echo "Installed below $prefix: ${version%%
*}, $prefix/bin/zolt"
