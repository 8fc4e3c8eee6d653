#!/usr/bin/env bash
# The command as it is installed, by its launcher: found from anywhere, as root and as an ordinary user,
# on a terminal and in a pipe, and when something is missing. The environment says: CMAKE, BUILD.
set -u
export LC_ALL=C.UTF-8
unset JAVA_HOME LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS
failed=0
fail() { echo "FAILED: $1"; failed=1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
umask 022
"$CMAKE" --install "$BUILD" --prefix "$work/prefix" >/dev/null || exit 1
zolt=$work/prefix/bin/zolt

# expect CODE PATTERN COMMAND...: the exit code, and one line that both streams together have.
expect() {
  local code=$1 pattern=$2 output status
  shift 2
  output=$("$@" 2>&1 </dev/null)
  status=$?
  [ "$status" -eq "$code" ] || fail "$* ended with $status, not $code: $output"
  grep -qE -- "$pattern" <<<"$output" || fail "$* said: $output"
}
# alone COMMAND...: nothing but one line on standard error.
alone() {
  local errors
  errors=$("$@" 2>&1 >/dev/null </dev/null)
  [ "$(wc -l <<<"$errors")" -eq 1 ] || fail "$* complained in several lines: $errors"
}

# Found from anywhere.
expect 0 '^zolt 1\.0\.0$' "$zolt" --version
ln -s prefix/bin/zolt "$work/first" && ln -s "$work/first" "$work/second"
expect 0 '^zolt 1\.0\.0$' "$work/second" --version
expect 0 '^zolt 1\.0\.0$' env -C "$work/prefix/bin" ./zolt --version
ln -s prefix/bin/zolt "$work/relative"
expect 0 '^zolt 1\.0\.0$' env -C "$work" sh relative --version
expect 0 '^zolt 1\.0\.0$' env -C "$work" PATH="prefix/bin:$PATH" zolt --version
expect 0 "^library 1\.0\.0, $work/prefix/lib.*/libzolthadoop\.so\.1\.0\.0$" "$zolt" -V
expect 0 "^client  $work/prefix/lib.*/libzolt\.so, the embedded one$" "$zolt" -V
expect 0 '^Java    [0-9][0-9._]*, /' "$zolt" -V
expect 0 '^libacl  /.*/libacl\.so\.1' "$zolt" -V
expect 0 '^library cannot be loaded: ' env ZOLT_LIBRARY=/nowhere "$zolt" -V
expect 0 '^Usage: zolt acl modify ' "$zolt" help acl modify
cmp -s <("$zolt" ls /usr/bin) <(ls -AU1 /usr/bin) || fail 'a listing differs from that of ls'

# The installed documents have links to what is installed.
documents=$work/prefix/share/doc/libzolthadoop
while IFS=: read -r document target; do
  [ -e "$(dirname "$document")/${target%%#*}" ] || fail "$document has a link to $target"
done < <(grep -roE '\]\([^)#]+' "$documents" --include='*.md' | sed 's/\](//' | grep -v ':http')

# What is missing is said in one line.
mkdir "$work/empty"
expect 5 '^zolt: no java: install default-jre-headless, or set JAVA_HOME$' \
  env PATH="$work/empty" /bin/sh "$zolt" whoami
expect 5 '^zolt: no java in JAVA_HOME=/nowhere$' env JAVA_HOME=/nowhere "$zolt" whoami
expect 5 '^zolt: Cannot load the ZOLT library from zolt.library=/nowhere: ' \
  env ZOLT_LIBRARY=/nowhere "$zolt" whoami
alone env ZOLT_LIBRARY=/nowhere "$zolt" whoami
expect 5 '^fail library +Cannot load' env ZOLT_LIBRARY=/nowhere "$zolt" doctor
expect 5 'That is a folder: name the file in it' env ZOLT_LIBRARY=/ "$zolt" whoami
expect 5 ' is no library\. The file is there' env ZOLT_LIBRARY=/dev/zero "$zolt" whoami
for file in /etc /etc/passwd "$(ldd /bin/ls | sed -n 's,.*> \(/.*/libc.so[^ ]*\).*,\1,p')" \
            "$(find "$work/prefix" -name libzolt.so)"; do
  expect 5 '( is no library\.|Is a directory|^zolt: .* is not the ZOLT library, or not of the release) ?' \
    env ZOLT_LIBRARY="$file" "$zolt" whoami
  alone env ZOLT_LIBRARY="$file" "$zolt" whoami
done
mv "$work/prefix/share/java/zolt-hadoop.jar" "$work"
expect 5 '^zolt: zolt-hadoop.jar is neither in .* nor in /usr/share/java$' "$zolt" whoami
mv "$work/zolt-hadoop.jar" "$work/prefix/share/java"
for jar in zolt-cli zolt-hadoop; do
  for bytes in 0 5000 50000; do
    cp "$work/prefix/share/java/$jar.jar" "$work"
    truncate -s $bytes "$work/prefix/share/java/$jar.jar"
    expect 5 "^zolt: $work/prefix/share/java/$jar.jar is no whole jar: install it again\$" "$zolt" whoami
    alone "$zolt" whoami
    mv "$work/$jar.jar" "$work/prefix/share/java"
  done
done
# What a terminal would obey is not said to it.
expect 5 '^zolt: no java in JAVA_HOME=/\?\[31m\?z$' env JAVA_HOME=$'/\e[31m\u202ez' "$zolt" whoami
expect 5 '^zolt: no java in JAVA_HOME=/\\033é$' env JAVA_HOME='/\033é' "$zolt" whoami
for unseen in $'\x01' $'\u00ad' $'\u061c' $'\u200b' $'\u2028' $'\u2066' $'\ufeff'; do
  expect 2 '^zolt: ZOLT_LOG=\? is no level: ' env ZOLT_LOG="$unseen" "$zolt" whoami
done
# The service is a part of the clone alone, and its help is there whether anything is built or not.
expect 2 "^zolt: zolt hdfs runs from a clone in which 'make hdfs' was called: it is not installed\$" "$zolt" hdfs
expect 0 '^usage: zolt hdfs start DIR ' "$(dirname "$0")/../../bin/zolt" help hdfs
cut=$work/cut.so
for bytes in 64 1000 100000; do
  head -c $bytes "$(find "$work/prefix" -name libzolthadoop.so.1.0.0)" >"$cut"
  expect 5 "^zolt: Cannot load the ZOLT library from zolt.library=$cut: $cut is cut off\. " \
    env -C "$work" ZOLT_LIBRARY="$cut" "$zolt" whoami
  alone env -C "$work" ZOLT_LIBRARY="$cut" "$zolt" whoami
done
[ -z "$(compgen -G "$work/hs_err*")" ] || fail 'Java has left a report of a library that is cut off'
expect 2 "^zolt: Unknown option: '-z' \(see zolt ls --help\)$" "$zolt" ls -z

# So is what Java itself would say in its own way. The shell complains of a deleted folder before the
# launcher begins.
mkdir "$work/gone"
output=$(cd "$work/gone" && rmdir "$work/gone" && "$zolt" ls / 2>&1)
[ $? -eq 5 ] && [ "$(tail -n +2 <<<"$output")" = 'zolt: the current folder is deleted: change to another one' ] ||
  fail "a deleted folder: $output"
long=$(printf '%0200d' 0)
mkdir "$work/long"
output=$(cd "$work/long" && for ((i = 0; i < 25; i++)); do mkdir "$long" && cd "$long" || exit; done 2>/dev/null
  "$zolt" ls / 2>&1)
[ $? -eq 5 ] && [[ $output = *'zolt: the path of the current folder has more than 4095 bytes: change to another one' ]] &&
  [[ $output != *'Error occurred'* ]] || fail "a long path of the current folder: $output"
rm -r "$work/long"
for limit in '-v 100000' '-v 300000' '-d 50000' '-n 13' '-n 14'; do
  output=$(cd "$work" && eval "ulimit $limit" && "$zolt" ls / 2>&1)
  [ $? -eq 5 ] && [ "$(wc -l <<<"$output")" -eq 1 ] && [[ $output = 'zolt: '[!:]* && $output != *'at java'* ]] ||
    fail "ulimit $limit: $output"
done
[ -z "$(compgen -G "$work/hs_err*")" ] || fail 'Java has left a report'
output=$(ulimit -v 1500000 && "$zolt" ls / 2>&1) || fail "Java does not start in 1.5 GB: $output"

# The heap that Java would choose does not fit into some sizes in between.
for bytes in 600000000 700000000 1200000000 1600000000; do
  expect 0 '^/$' prlimit --as=$bytes "$zolt" ls -d /
done
# Where it begins to suffice it does, or not: Java does not end in the midst of the work.
for ((kb = 425000; kb < 445000; kb += 1000)); do
  output=$(cd "$work" && ulimit -v $kb && "$zolt" ls / 2>&1 >/dev/null)
  case $?:$output in
    0: | 5:'zolt: Java does not start within'*) ;;
    *) fail "ulimit -v $kb: $output" ;;
  esac
done
[ -z "$(compgen -G "$work/hs_err*")" ] || fail 'Java has left a report where memory is scarce'
# What Java refuses of its options is said in one line, by the status of what cannot start.
for name in ZOLT_JAVA_OPTS _JAVA_OPTIONS; do
  expect 5 '^zolt: Java does not start with the options in the environment \(.*\): .' env $name=-Xmx1k "$zolt" ls /
  alone env $name=-Xmx1k "$zolt" ls /
done

expect 5 '^zolt: Java does not start with the options .*: [^P]' env JAVA_TOOL_OPTIONS=-Xmx1k "$zolt" ls /
expect 5 '^zolt: Java does not start with the options ' env ZOLT_JAVA_OPTS=--help "$zolt" ls /
alone env ZOLT_JAVA_OPTS=--help "$zolt" ls /

# Where cd would look for folders, and what it would say then, changes nothing.
for path in . .:/tmp /; do
  expect 0 '^/$' env -C "$work/prefix" CDPATH=$path bin/zolt ls -d /
done

# The options in ZOLT_JAVA_OPTS are no patterns of files.
output=$(cd "$work" && touch -- -version && ZOLT_JAVA_OPTS='-versio?' "$zolt" ls "$work/empty" 2>&1)
[ -z "$output" ] || fail "a pattern among Java's options: $output"

# The log goes to standard error, at the level that was asked for.
expect 4 '(^| )DEBUG .*ZOLTNative - @' env ZOLT_LOG=debug "$zolt" stat /nowhere
expect 2 '^zolt: ZOLT_LOG=bogus is no level: trace, debug, info, warn, error or off$' \
  env ZOLT_LOG=bogus "$zolt" whoami
[ -z "$(ZOLT_LOG=debug "$zolt" stat /nowhere 2>/dev/null)" ] || fail 'the log is on standard output'
alone "$zolt" stat /nowhere

# Pipes that end, disks that are full.
"$zolt" ls -R /usr 2>"$work/errors" | head -n 1 >"$work/line"
status=${PIPESTATUS[0]}
[ "$status" -eq 141 ] && [ ! -s "$work/errors" ] || fail "a closed pipe: $status $(cat "$work/errors")"
output=$("$zolt" ls /usr/bin 2>&1 >/dev/full)
[ $? -eq 1 ] && [ "$output" = 'zolt: standard output: No space left on device' ] ||
  fail "a full disk: $output"

# A stream that is closed is no file of Java's: nothing is read from it, and what is written is lost.
output=$("$zolt" stat - 2>&1 <&-)
[ $? -eq 1 ] && [ "$output" = 'zolt: standard input: Bad file descriptor' ] || fail "a closed input: ${output:0:200}"
output=$("$zolt" ls / 2>&1 >&-)
[ $? -eq 1 ] && [ "$output" = 'zolt: standard output: Bad file descriptor' ] || fail "a closed output: $output"
"$zolt" stat "$work" >/dev/null 2>&- || fail 'a closed standard error'

# A signal ends a walk after the path that it is at, by its number; what it says is what is done.
mkdir "$work/tree" && (cd "$work/tree" && seq -f d%02g 40 | xargs mkdir &&
  for d in *; do (cd "$d" && seq 500 | xargs touch); done)
for signal in TERM HUP; do
  find "$work/tree" -type f -exec chmod 600 {} +
  "$zolt" chmod -R 640 "$work/tree" "$work/tree" "$work/tree" 2>"$work/errors" &
  walk=$!
  while [ -z "$(find "$work/tree/" -type f -perm 640 -print -quit)" ] && kill -0 $walk; do :; done
  kill -$signal $walk
  wait $walk
  status=$?
  said=$(cat "$work/errors")
  [ $status -eq $((128 + $(kill -l $signal))) ] &&
    [[ $said =~ ^zolt:\ [0-9]+\ changed,\ 0\ failed,\ and\ then\ stopped\ by\ a\ signal$ ]] ||
    fail "a walk and SIG$signal: $status $said"
done
script -qec "$zolt chmod -R 640 $work/tree $work/tree $work/tree $work/tree" /dev/null </dev/null |
  grep -qE '[0-9]+ entries, in .*/tree' || fail 'no progress of a change on a terminal'
trees=$(printf "$work/tree %.0s" {1..20})
for call in 'find -name none' leases; do
  script -qec "$zolt $call $trees" /dev/null </dev/null | grep -qE '[0-9]+ entries, in .*/tree' ||
    fail "no progress of $call on a terminal"
done
rm -r "$work/tree"

# Java's dump of threads, which SIGQUIT asks for, does not stand in the answer.
usr=$(printf '/usr %.0s' {1..20})  # long enough on the fastest machine
# shellcheck disable=SC2086
"$zolt" ls -R $usr >"$work/answer" 2>"$work/errors" &
walk=$!
while [ ! -s "$work/answer" ] && kill -0 $walk; do :; done
kill -QUIT $walk
while ! grep -q '^Heap' "$work/errors" && kill -0 $walk; do sleep 0.1; done
kill -0 $walk || fail 'SIGQUIT ends the command, and the manual page says that it does not'
kill $walk
wait $walk
grep -q '^Full thread dump' "$work/errors" && ! grep -q '^Full thread dump' "$work/answer" ||
  fail "a dump of threads: $(head -n 3 "$work/errors")"

# A walk that only shows says, too, that it was not at its end.
for call in 'ls -R' 'ls -Rt' find; do
  : >"$work/answer"
  # shellcheck disable=SC2086
  "$zolt" $call $usr >"$work/answer" 2>"$work/errors" &
  walk=$!
  while [ ! -s "$work/answer" ] && kill -0 $walk; do :; done
  kill $walk
  wait $walk
  status=$?
  [ $status -eq 143 ] && [ "$(cat "$work/errors")" = 'zolt: stopped by a signal before the end' ] ||
    fail "$call and SIGTERM: $status $(cat "$work/errors")"
done

# What failed is read from the failure, whatever the name of the file occurs in; and a name that is no UTF-8
# is one in an argument, too.
mkdir "$work/names"
for name in a already user.lease.holder user.n exists; do
  touch "$work/names/$name"
  expect 0 '' env -C "$work/names" "$zolt" lease set h "$name"
  expect 6 "^zolt: $name: File exists: user.lease.holder already exists\$" env -C "$work/names" "$zolt" lease set h "$name"
  expect 4 "^zolt: $name: No data available: user.m does not exist\$" env -C "$work/names" "$zolt" xattr remove user.m "$name"
done
expect 1 '/\\377q: a name that is no UTF-8' "$zolt" stat "$work/names"/$'\xffq'
expect 2 '^zolt: cl\\377: HOLDER is no UTF-8' "$zolt" lease set $'cl\xff' "$work/names/a"
expect 4 '^zolt: no: No such file or directory$' env -C "$work/names" "$zolt" touch no

# Colour and progress are for terminals.
terminal() { script -qec "$1" /dev/null </dev/null; }
terminal "$zolt stat /" | grep -q $'\e\[1m/' || fail 'no bold name on a terminal'
"$zolt" stat / | grep -q $'\e' && fail 'an escape in a pipe'
terminal "$zolt ls -R $usr >/dev/null" | grep -qE '[0-9]+ entries, in /' || fail 'no progress'
"$zolt" ls -R /usr 2>&1 >/dev/null | grep -q . && fail 'progress without a terminal'
touch "$work/$(printf 'a\033[31mb')"
output=$(terminal "ZOLT_LOG=trace $zolt stat $work/\$(printf 'c\033[31md')")
grep -q 'c\\033\[31md' <<<"$output" && ! grep -q $'c\e' <<<"$output" || fail "the log paints the terminal: $output"
terminal "$zolt ls $work" | grep -q $'\e\[31m' && fail 'a name that paints the terminal'

# A large directory takes no more memory than a small one.
mkdir "$work/large"
(cd "$work/large" && seq -f 'a-name-that-is-rather-long-%06.0f' 60000 | xargs touch)
lines=$(ZOLT_JAVA_OPTS=-Xmx7m "$zolt" ls "$work/large" | wc -l)
[ "$lines" -eq 60000 ] || fail "$lines lines of 60000 in a small heap"

# Nor does the map of a file of terabytes, which begins at once, and says how far it is.
truncate -s 1T "$work/1T" && truncate -s 10T "$work/10T"
first=$(ZOLT_JAVA_OPTS=-Xmx16m timeout 60 "$zolt" blocks --form fs "$work/1T" 2>&1 | sed -n '1p; 2000000{p;q}')
grep -q '1T: 268435456 blocks of 4096 bytes' <<<"$first" && grep -q '^ *8191987712 ' <<<"$first" ||
  fail "the map of 1 TiB: $first"
first=$(ZOLT_JAVA_OPTS=-Xmx16m timeout 60 "$zolt" blocks "$work/10T" 2>&1 | sed -n '1p; 3{p;q}')
grep -q '10T: 81920 blocks of 134217728 bytes' <<<"$first" && grep -q '^ *0 *134217728 ' <<<"$first" ||
  fail "the map of 10 TiB: $first"
terminal "timeout 8 $zolt blocks --draw $work/10T" | grep -qE '[0-9]+ % of 81920 blocks, in ' ||
  fail 'no progress in a drawing'
rm "$work/1T" "$work/10T"

# The completion: commands, verbs, options, their values, users.
cmp -s <("$zolt" completion) "$work/prefix/share/bash-completion/completions/zolt" ||
  fail 'the installed completion is not that of the command'
eval "$("$zolt" completion)"
complete_words() { COMP_WORDS=(zolt "$@"); COMP_CWORD=$#; _zolt 2>/dev/null; echo "${COMPREPLY[*]}"; }
[ "$(complete_words wh)" = 'whoami why' ] || fail "commands: $(complete_words wh)"
[ "$(complete_words acl mo)" = modify ] || fail "verbs: $(complete_words acl mo)"
[ "$(complete_words ls --rec)" = --recursive ] || fail "options: $(complete_words ls --rec)"
[ "$(complete_words why --for '')" = 'look r w x d' ] || fail "values: $(complete_words why --for '')"
[ "$(complete_words stat --as nobod)" = nobody ] || fail "users: $(complete_words stat --as nobod)"
[ "$(complete_words stat /etc/passw)" = "$(compgen -f /etc/passw | paste -sd ' ')" ] || fail files

# Of a service without the library, what the library would load is not missed.
expect 1 '^fail libzolthadoop +is not loaded' "$zolt" doctor --pid $$
"$zolt" doctor --pid $$ | grep libacl && fail 'libacl is missed before the library is there'

[ "$(id -u)" -eq 0 ] || exit $failed

# Without /proc, Java would not find its own libraries.
if unshare --mount true 2>/dev/null; then
  expect 5 '^zolt: Java needs /proc, which is not mounted here$' \
    unshare --mount sh -c 'mount -t tmpfs none /proc && exec "$0" ls /' "$zolt"
  expect 5 '^zolt: what starts Java needs /dev/null, which is not here, or not to be written$' \
    unshare --mount sh -c 'mount -t tmpfs none /dev && exec "$0" ls /' "$zolt"
  # A /proc that shows processes alone is enough.
  expect 0 '^1$' unshare --mount sh -c 'mount -t proc -o subset=pid none /proc && "$0" whoami 2>&1 | wc -l' "$zolt"
fi

# Who acts for a user has the rights of that user, whatever this process had; the superuser has his own.
touch "$work/attributed" && chown 65534 "$work/attributed" && chmod 666 "$work/attributed"
setfattr -n trusted.secret -v key "$work/attributed"
expect 0 '^trusted.secret="key"$' "$zolt" xattr get trusted.secret "$work/attributed"
for root in root 0 00 +0; do
  expect 0 '^trusted.secret="key"$' "$zolt" xattr get trusted.secret --as $root "$work/attributed"
done
for user in nobody 65534; do
  expect 4 ': trusted.secret: no such attribute$' "$zolt" xattr get trusted.secret --as $user "$work/attributed"
  expect 4 ': trusted.secret: no such attribute$' "$zolt" xattr get trusted.secret --as=$user "$work/attributed"
  expect 0 '^uid=65534\(nobody\) ' "$zolt" whoami --as $user
done
for name in trusted.secret security.capability security.other; do
  expect 3 'Operation not permitted' "$zolt" xattr set --as nobody $name 0x00 "$work/attributed"
  expect 3 'Operation not permitted' "$zolt" xattr remove --as nobody $name "$work/attributed"
done
[ "$(getfattr -d -m - --absolute-names "$work/attributed" | grep -c =)" -eq 1 ] || fail 'attributes of nobody'
# A container may have few processes and threads, however many a user may have.
group=/sys/fs/cgroup/pids
[ -d $group ] || group=/sys/fs/cgroup
group=$group/zolt-$$
if mkdir $group 2>/dev/null && { echo 12 >$group/pids.max; } 2>/dev/null; then
  expect 5 '^zolt: Java does not start within the limits of this shell .* or pids.max of its cgroup\): ' \
    bash -c 'echo $$ >"$0/cgroup.procs" && exec "$@"' "$group" "$zolt" ls /
fi
[ ! -d $group ] || rmdir $group

# A FUSE mount without allow_other admits its owner's processes, whoever they act for. This one has no program that
# answers: who is admitted waits for ever.
mkdir "$work/own mount"
if unshare --mount true 2>/dev/null && { : <>/dev/fuse; } 2>/dev/null; then
  mounted() {  # mounted FOLDER COMMAND...
    # shellcheck disable=SC2016  # for the inner shell
    timeout -s KILL 20 unshare --mount bash -c 'exec 9<>/dev/fuse
      mount -i -t fuse -o fd=9,rootmode=40000,user_id=0,group_id=0 none "$1/own mount" || exit 99
      cd "$2" && shift 2 && "$@" 9<&- ' bash "$work" "$@"
  }
  expect 3 '^zolt: own mount: Permission denied' mounted "$work" "$zolt" ls --as nobody "own mount"
  expect 1 '^zolt: own mount: Permission denied' mounted "$work" "$zolt" ls --as nobody "a," why "own mount"
  expect 3 '^zolt: [^ ]*/own mount: Permission denied' mounted "$work" "$zolt" --as=nobody ls -R "$work"
fi

# A user namespace of one id has no others to switch to.
if unshare --user --map-root-user true 2>/dev/null; then
  expect 3 '^zolt: switching to nobody is refused here, as in a user namespace ' \
    unshare --user --map-root-user "$zolt" whoami --as nobody
fi
# Where they cannot be given up, nobody is acted for. Of what is after --, nothing is an option.
java=$(command -v java)
ln -s "$(readlink -f "$java")" "$work/empty/java"
cannot='^zolt: --as needs setpriv \(util-linux\), to give up capabilities$'
expect 5 "$cannot" env PATH="$work/empty" JAVA_HOME="${java%/bin/java}" /bin/sh "$zolt" whoami --as nobody
expect 4 '^zolt: --as: ' env PATH="$work/empty" JAVA_HOME="${java%/bin/java}" /bin/sh "$zolt" link -- --as nobody
rm "$work/empty/java"
expect 5 '^zolt: nobody: acting for another user would leave that user CAP_SYS_ADMIN, CAP_SETFCAP, CAP_KILL, ' \
  setpriv --bounding-set=-setpcap "$zolt" whoami --as nobody
expect 5 '^zolt: nobody: the kernel leaves capabilities to who is acted for: this process has the secure bit ' \
  setpriv --securebits=+no_setuid_fixup "$zolt" whoami --as nobody
expect 0 '^uid=0' setpriv --bounding-set=-setpcap "$zolt" whoami --as root
expect 0 '^uid=65534' setpriv --bounding-set=-all,+setuid,+setgid,+dac_override "$zolt" whoami --as nobody
for user in no-such-user 4123456789 5000000000 -1 ''; do
  expect 4 ": unknown user\$" "$zolt" whoami "--as=$user"
done
# A switch from one ordinary user to another takes nothing away: all but switching is given up.
keeping() {
  setpriv --reuid=1 --regid=1 --clear-groups --inh-caps="$caps" --ambient-caps="$caps" "$@"
}
caps=+setuid,+setgid,+dac_override,+sys_admin
chmod 600 "$work/attributed"
# A jar that is for its owner alone is said in one line, whichever it is.
for jar in zolt-cli zolt-hadoop; do
  chmod 600 "$work/prefix/share/java/$jar.jar"
  expect 5 "^zolt: $work/prefix/share/java/$jar.jar may not be read here: " setpriv --reuid=1 --regid=1 --clear-groups "$zolt" whoami
  alone setpriv --reuid=1 --regid=1 --clear-groups "$zolt" whoami
  chmod 644 "$work/prefix/share/java/$jar.jar"
done
# The groups are those of the user, too: not the caller's, whose first is the user's, and not root's.
echo of-the-group >"$work/of-root" && chmod 640 "$work/of-root"
for first in 65534 1 0; do
  expect 0 '^uid=65534\(nobody\) gid=65534\(nogroup\) groups=65534\(nogroup\)$' \
    setpriv --regid=$first --groups=0,4 "$zolt" whoami --as nobody
  expect 3 'may not read' setpriv --regid=$first --groups=0,4 "$zolt" why --as nobody "$work/of-root" "$work/of-root"
done
(caps=+setuid,+setgid; ! keeping "$zolt" why "$work/of-root" "$work/of-root" | grep 'may read') || fail "the groups of root"
expect 3 'Permission denied|may not read' keeping "$zolt" why --as games "$work/attributed"
expect 4 'no such attribute' keeping "$zolt" xattr get --as nobody trusted.secret "$work/attributed"
expect 1 '^fail capabilities +daemon has CAP_SYS_ADMIN, CAP_DAC_OVERRIDE and keeps' keeping "$zolt" doctor
expect 0 '^warn capabilities +what is started here has CAP_SYS_ADMIN, CAP_SETFCAP, CAP_KILL' "$zolt" doctor
expect 0 '^ok   capabilities ' setpriv \
  --bounding-set=-all,+setuid,+setgid,+dac_override,+dac_read_search,+fowner,+chown "$zolt" doctor

# An ordinary user has his own rights, and is told when that is not enough.
gifted() {
  setpriv --reuid=65534 --regid=65534 --clear-groups --inh-caps="$caps" --ambient-caps="$caps" "$@"
}
user() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }
expect 0 '^uid=65534\(nobody\) gid=65534' user "$zolt" whoami
expect 0 '^uid=65534\(nobody\) gid=65534' user "$zolt" whoami --as nobody
expect 3 '^zolt: switching to root needs CAP_SETUID and CAP_SETGID \(run as root\)$' \
  user "$zolt" ls --as root /
expect 4 '^zolt: no-such-user: unknown user$' user "$zolt" ls --as no-such-user /
# Java's threads count against the processes of a user, those of the superuser do not.
for limit in 1 2 8; do
  expect 5 'annot fork$|^zolt: Java does not start within the limits of this shell \(ulimit -v, -d, -n, -u, ' \
    user bash -c "ulimit -u $limit; exec \"\$0\" whoami" "$zolt"
  alone user bash -c "ulimit -u $limit; exec \"\$0\" whoami" "$zolt"
done
expect 0 '^uid=65534' user bash -c 'ulimit -u 1000; exec "$0" whoami' "$zolt"
mkdir "$work/own" "$work/closed" && touch "$work/own/file" "$work/closed/file" "$work/secret"
chown -R 65534 "$work/own" && chmod 700 "$work/closed" && chmod 600 "$work/secret"
cmp -s <(user "$zolt" ls -R /usr/share/doc) <(ls -AU1R /usr/share/doc) || fail 'a listing of a user'
expect 0 'not to be seen without the right to open' user "$zolt" stat "$work/secret"
expect 0 '^  blocks    of 134217728 bytes' user "$zolt" stat "$work/own/file"
expect 3 "^nobody may not search $work/closed " user "$zolt" why "$work/closed/file"
expect 3 "^zolt: $work/secret: Operation not permitted$" user "$zolt" chmod 644 "$work/secret"
for change in 'acl modify u:1:r' 'xattr set user.a b' 'lease set me' 'chmod 640' touch 'bgf 2' \
              'replication 1'; do
  # shellcheck disable=SC2086
  output=$(user "$zolt" $change "$work/own/file" 2>&1) || fail "$change as a user: $output"
done
[ "$(getfacl -cp "$work/own/file" | grep -c '^user:daemon:r--')" -eq 1 ] || fail 'acl as a user'
expect 0 '^warn identity +no CAP_SETUID' user "$zolt" doctor "$work/own"
expect 0 '^ok   leases' user "$zolt" doctor "$work/own"
# A service user that keeps a capability while it acts for others is warned of.
caps=+setuid,+setgid,+dac_override
expect 1 '^fail capabilities +nobody has CAP_DAC_OVERRIDE' \
  setpriv --reuid=65534 --regid=65534 --clear-groups --inh-caps="$caps" --ambient-caps="$caps" \
  "$zolt" doctor

# A relative path begins at the current folder, whatever is above that.
mkdir -p "$work/above/here" && echo x >"$work/above/here/x" && chmod 0 "$work/above"
for path in x ./x .; do
  # shellcheck disable=SC2016
  output=$(cd "$work/above/here" && user "$zolt" why "$path" 2>&1) || fail "why $path: $output"
  [ "$output" = "nobody may read $path" ] || fail "why $path: $output"
done
output=$(cd "$work/above/here" && user "$zolt" why --for w x 2>&1)
[[ $? -eq 3 && $output = "nobody may not write $work/above/here/x "* ]] || fail "why --for w x: $output"
chmod 755 "$work/above"

# The capabilities of who is not root count, and access(2) leaves them out.
mkdir -m 700 "$work/shut" && install -m 777 /dev/null "$work/shut/file"
for caps in +dac_override +dac_read_search; do
  for access in look r x; do
    expect 0 '^nobody may ' gifted "$zolt" why --for $access "$work/shut/file"
  done
done
# A superuser without them may be let in less far than a user.
mkdir -m 700 "$work/users" && echo x >"$work/users/file" && chown nobody "$work/users" "$work/users/file"
expect 0 '^nobody may read ' setpriv --bounding-set=-all,+setuid,+setgid "$zolt" why --as nobody "$work/users/file"

# What shows the id of nobody in a user namespace is maybe somebody's there, for whom no capability counts.
mkdir -m 1777 "$work/sticky" && touch "$work/sticky/file" && chown 2 "$work/sticky/file" && chown 1 "$work/sticky"
if unshare --user --map-root-user true 2>/dev/null; then
  expect 1 'its owner or group may be one without an id in this user namespace$' \
    unshare --user --map-root-user "$zolt" why --for d "$work/sticky/file"
  # There is no nobody.
  expect 0 '^ *nobody refused: .*Invalid argument' unshare --user --map-root-user "$zolt" tour "$work/sticky"
fi

# Whatever the umask is, what the tour makes it can use and remove.
mkdir -m 1777 "$work/toured"
expect 0 'blocks.bin|Where the blocks' user bash -c 'umask 0777; exec "$@"' bash env TMPDIR="$work/toured" "$zolt" tour "$work/toured"
[ -z "$(ls -A "$work/toured")" ] || fail "the tour leaves $(ls -A "$work/toured")"
# It says what refuses where it finds no room.
install -d -m 700 "$work/shut"
expect 3 "^zolt: $work/shut/zolt-tour-[0-9]*: Permission denied\$" \
  user env ZOLT_JAVA_OPTS="-Djava.io.tmpdir=$work/shut" "$zolt" tour /

# Behind "--" a command is none that it could be taken for.
expect 2 '^zolt: no such command: ls( |$)' "$zolt" -- ls
"$zolt" -- ls 2>&1 | grep 'mean ls' && fail 'a word is proposed for itself'

# Supplementary groups count: what "why" says is what the kernel does.
i=0
for mode in 070 040 010 007 750 705 020 002; do
  for group in 1 2 3 4; do
    i=$((i + 1))
    install -m "$mode" -g "$group" /dev/null "$work/own/g$i"
    chown 0 "$work/own/g$i"
    [ $((i % 3)) -ne 0 ] || setfacl -m g:2:r,g:3:w,u:1:rwx "$work/own/g$i"
  done
done
grouped() { setpriv --reuid=65534 --regid=65534 --groups=2,3 "$@"; }
for access in r w x; do
  for file in "$work"/own/g*; do
    grouped test "-$access" "$file" && echo true || echo false
  done >"$work/kernel"
  grouped "$zolt" why --json --for $access "$work"/own/g* 2>&1 |
    sed 's/.*"permitted":\([a-z]*\).*/\1/' >"$work/why"
  cmp -s "$work/kernel" "$work/why" ||
    fail "groups, $access: $(paste "$work/kernel" "$work/why" | tr '\n\t' ' /')"
done
exit $failed
