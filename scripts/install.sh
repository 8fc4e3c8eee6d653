#!/usr/bin/env bash
# install.sh BUILD PREFIX: installs what is built, and shows that it runs from where it lies. Below DESTDIR
# it is only put down: where it will run is not known here.
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
scratch=$(mktemp -d)
log=$scratch/log
added=$scratch/added
jars=$prefix/share/java
echo "$jars/zolt.jsa" >"$added"
# What is new goes again where the installation fails: files, and then the folders that they were in.
finish() {
  status=$?
  rm -f "$jars/zolt.new"
  [ "$status" -eq 0 ] || while IFS= read -r path; do
    rm -df -- "${DESTDIR-}$path" 2>/dev/null || :
  done <"$added"
  rm -rf "$scratch"
}
trap finish EXIT
umask 022 # it is for all users, whoever installs it
put() {
  DESTDIR=$1 cmake --install "$build" --prefix "$prefix" >"$log" 2>&1 ||
    fail "nothing is installed: $(sed -n '/^Call Stack/q; s/^  *//p' "$log" | tr '\n' ' ')"
}
mkdir "$scratch/files"
put "$scratch/files"
(cd "$scratch/files" && find . -depth -mindepth 1 -printf '/%P\n') | while IFS= read -r path; do
  [ -e "${DESTDIR-}$path" ] || [ -L "${DESTDIR-}$path" ] || echo "$path"
done >>"$added"
put "${DESTDIR-}"
[ -z "${DESTDIR-}" ] || exit 0

# What the command finds by itself, not by what the caller has set.
unset LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS
export PATH=$PATH:/usr/sbin:/sbin
# In the loader's own folders a library is found once the loader's table has it.
if [ "$(id -u)" -eq 0 ]; then ldconfig || echo "install.sh: ldconfig has failed" >&2; fi

rm -f "$jars/zolt.jsa"
"$prefix/bin/zolt" ls -l / >"$log" 2>&1 ||
  fail "$prefix/bin/zolt does not run, and what is new of it is taken away again: $(tail -n 1 "$log")
Where a library is not found, run ldconfig as root."
# Classes kept ready make a quick start; a Java that keeps none does without. Its option takes no blanks.
(cd "$jars" && ZOLT_JAVA_OPTS=-XX:ArchiveClassesAtExit=zolt.new "$prefix/bin/zolt" ls -l / >/dev/null 2>&1) || :
[ ! -f "$jars/zolt.new" ] || { touch -r "$jars/zolt-cli.jar" "$jars/zolt.new" && mv "$jars/zolt.new" "$jars/zolt.jsa"; }
version=$("$prefix/bin/zolt" --version)
echo "Installed below $prefix: ${version%%
*}, $prefix/bin/zolt"
