#!/usr/bin/env bash
# The tour as a person takes it: at each level of the logger, and without root's rights. The
# environment says: CMAKE, BUILD.
set -u
export LC_ALL=C.UTF-8
failed=0
fail() { echo "FAILED: $1"; failed=1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir -m 1777 "$work/tmp" && export ZOLT_JAVA_OPTS="-Djava.io.tmpdir=$work/tmp"
mkdir "$work/shown" && touch "$work/shown/part-0000" && ln -s part-0000 "$work/shown/latest"

# Readable for all, wherever the build stands.
umask 022
"$CMAKE" --install "$BUILD" --prefix "$work/prefix" >/dev/null || exit 1

tour() {  # tour LEVEL COMMAND...: the command that runs the virtual machine is its prefix
  local level=$1; shift
  "$@" env ZOLT_LOG="$level" "$work/prefix/bin/zolt" tour "$work/shown" 2>&1
}

# What each level of the Java logger lets through of the library's five; at info that is no info.
while read -r level shown; do
  output=$(tour "$level" env) || fail "the tour at $level: $output"
  for tag in TRACE DEBUG INFO WARN ERROR; do
    lines=$(grep -cE "(^| )$tag org.apache.hadoop.hdfs.server.namenode.ZOLTNative - @" <<<"$output")
    case " $shown " in
      *" $tag "*) [ "$lines" -gt 0 ] || fail "no $tag line at $level" ;;
      *) [ "$lines" -eq 0 ] || fail "$lines $tag lines at $level" ;;
    esac
  done
done <<'LEVELS'
trace TRACE DEBUG INFO WARN ERROR
debug DEBUG INFO WARN ERROR
info WARN ERROR
warn WARN ERROR
error ERROR
off
LEVELS

expect() { grep -qE "$1" <<<"$output" || fail "no line like $1 in: $output"; }
expect '^  link +[0-9]+  latest$'
expect '^  entries: 2 \(file 1, link 1\)$'
expect '^  inode +[0-9]+$'
expect 'latest is a link to report.txt'
expect 'user.colour="green", user.empty=""'
expect 'user.lease.holder already exists'
expect 'writer-2 tries now: the holder is writer-2'
expect '^ +7  [#.]{40}$'
if [ "$(id -u)" -eq 0 ]; then
  expect '^  secret.txt +-rw------- 18 bytes +-rw------- 18 bytes$'
  expect '^  closed/inner.txt +-rw-r--r-- 0 bytes +AccessDeniedException$'
  expect '^  nobody may not search /.*/closed .drwx------ root root.: .* and the mode gives others ---$'
  expect '^  nobody added +user::rwx  user:nobody:r-x  group::---  mask::r-x  other::---$'
  expect '^  nobody looks at closed/inner.txt: inode [0-9]+$'

  # A user of no rights sees the same tour but for what only root can show.
  output=$(tour off setpriv --reuid=65534 --regid=65534 --clear-groups) || fail "as nobody: $output"
  expect 'To see the same as another user, run the tour as root'
  expect 'An access control list on closed/'
fi
grep -q $'\e' <<<"$output" && fail 'an escape in a pipe'
script -qec "$work/prefix/bin/zolt tour $work/shown" /dev/null </dev/null | grep -q $'\e\[1;36mWhat is in' ||
  fail 'no colour on a terminal'
output=$("$work/prefix/bin/zolt" tour "$work/nowhere" 2>&1)
[ $? -eq 4 ] && [ "$output" = "zolt: $work/nowhere: No such file or directory: failed to open directory" ] ||
  fail "nowhere: $output"

# Who stands in a folder whose name no path can express can take it there.
mkdir "$work/em"$'\xf0\x9f\x98\x80' "$work/bytes"$'\xff'
for folder in "$work"/em* "$work"/bytes*; do
  touch "$folder/part-0001"
  output=$(env -C "$folder" "$work/prefix/bin/zolt" tour 2>&1) || fail "a tour in $folder: $output"
  expect '^  file +[0-9]+  part-0001$'
done

# A signal ends it, and it takes its files with it; one that asks for nothing does nothing.
for signal in TERM HUP INT TERM; do
  for _ in 1 2 3 4 5; do  # on a busy machine it may be over before the signal comes
    env --default-signal=INT "$work/prefix/bin/zolt" tour "$work/shown" >/dev/null 2>"$work/errors" &
    until compgen -G "$work/tmp/zolt-tour-*/*" >/dev/null || ! kill -0 $!; do sleep 0.005; done
    kill -USR1 $! && kill -USR2 $! && kill -ALRM $!
    kill -$signal $!
    wait $!
    status=$?
    [ $status -eq 0 ] || break
  done
  [ $status -eq $((128 + $(kill -l $signal))) ] && [ -z "$(ls -A "$work/tmp")" ] && [ ! -s "$work/errors" ] ||
    fail "after SIG$signal: $status, left: $(ls -A "$work/tmp"), said: $(cat "$work/errors")"
  rm -rf "$work"/tmp/*
done
[ -z "$(compgen -G "$work/tmp/zolt-tour-*")" ] || fail "the tour left something behind"
exit $failed
