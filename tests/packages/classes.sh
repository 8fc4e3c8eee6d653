#!/usr/bin/env bash
# The classes that a package keeps ready for a quick start: that its scripts make and remove the file, that
# the command reads it, and that it works with none and with one that does not fit. BUILD, CMAKE.
set -u
unset JAVA_HOME LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=0
fail() { echo "FAILED: $1"; failed=1; }
"$CMAKE" --install "$BUILD" --prefix "$scratch/usr" >/dev/null || exit 1

# As in the packages, but for where things lie.
cache=$scratch/cache/zolt-tools
kept=$cache/zolt.jsa
mkdir "$scratch/cache"
moved() { sed "s,/usr/bin/zolt,$scratch/usr/bin/zolt,; s,/usr/share/java/zolt-cli.jar,$scratch&,; s,/var/cache,$scratch/cache,; s,!= /usr \],!= $scratch/usr ]," "$1"; }
here=$(cd "$(dirname "$0")/../.." && pwd)
moved "$here/bin/zolt" >"$scratch/usr/bin/zolt"
moved "$here/cmake/packages/postinst" >"$scratch/postinst"
moved "$here/cmake/packages/postrm" >"$scratch/postrm"
zolt=$scratch/usr/bin/zolt
ends() { output=$(/bin/sh "$@" 2>&1) && [ -z "$output" ] || fail "$* ended with $?: $output"; }
used() {  # whether classes of the command come from the file
  ZOLT_JAVA_OPTS=-Xlog:class+load "$zolt" stat / | grep 'zolt.cli.commands.Commands source: shared objects file (top)' >/dev/null
}
works() {  # as it does without
  output=$("$zolt" stat / 2>&1) && [ "$(head -n 1 <<<"$output")" = / ] || fail "with $1: $output"
}

used && fail 'classes are ready before they were kept'
for call in configure triggered 1 2; do
  rm -rf "$cache"
  ends "$scratch/postinst" $call
  used || fail "no classes are ready after $call"
  ends "$scratch/postinst" $call
  used || fail "no classes are ready after $call again"
done
[ "$(ls "$cache")" = zolt.jsa ] || fail "more than the file: $(ls "$cache")"

# What does not fit is not read, and not complained of.
cp "$kept" "$scratch/good"
jar=$scratch/usr/share/java/zolt-cli.jar
put() { rm -f "$kept"; cat >"$kept"; touch -r "$jar" "$kept"; }
sed 's/Server VM ([0-9]/Server VM (9/' "$scratch/good" | put
cmp -s "$kept" "$scratch/good" && fail 'the file does not say which Java made it'
works 'a file of another Java' && used && fail 'a file of another Java is read'
head -c 100000 /dev/zero | put && works 'a file of nothing'
: | put && works 'an empty file'
# Of one that was cut off, Java would not notice.
for bytes in 1000 100000 1000000 3000000; do
  put <"$scratch/good" && truncate -s $bytes "$kept" && works "$bytes bytes of a file"
done
put <"$scratch/good" && chmod 644 "$kept" && touch -d @86400 "$jar" "$kept"
works 'a file of other jars' && used && fail 'a file of other jars is read'
chmod 0 "$kept" && works 'a file that may not be read'

# Nothing fails an installation: no Java, no place.
mkdir "$scratch/bin" && for tool in rm mkdir readlink sync touch mv; do ln -s "$(command -v $tool)" "$scratch/bin"; done
PATH=$scratch/bin ends "$scratch/postinst" configure
[ -z "$(ls -A "$cache")" ] || fail "without Java: $(ls "$cache")"
works none
ends "$scratch/postinst" configure
ends "$scratch/postrm" upgrade 1.0.1
[ -f "$kept" ] || fail 'an upgrade takes the classes away'
ends "$scratch/postrm" remove
[ ! -e "$cache" ] || fail 'a removal leaves the classes'
rmdir "$scratch/cache" && touch "$scratch/cache"
ends "$scratch/postinst" configure
ends "$scratch/postrm" purge
exit $failed
