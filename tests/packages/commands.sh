#!/usr/bin/env bash
# Every subcommand, by the command as it is installed: as the caller and, when that is root, as an ordinary
# user by either way to be one; what each answers, and that an error is one line. "commands.sh ZOLT" tries
# an installed command, and compares what it says of TREES with what the system's tools do. Without one,
# CMAKE installs BUILD, and what the tests in one virtual machine try as well is left out.
set -u
export LC_ALL=C.UTF-8
unset JAVA_HOME LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS
umask 022
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
failed=0
fail() { printf 'FAILED: %s\n' "$1"; failed=1; }

if [ $# -gt 0 ]; then
  zolt=$1
  installed=true
  trees=${TREES-/usr /var /etc}
else
  installed=
  trees=/etc
  "$CMAKE" --install "$BUILD" --prefix "$work/prefix" >/dev/null || exit 1
  zolt=$work/prefix/bin/zolt
  ZOLT_JAVA_OPTS=-XX:ArchiveClassesAtExit=$work/prefix/share/java/zolt.jsa "$zolt" ls -l / >/dev/null
  touch -r "$work/prefix/share/java/zolt-cli.jar" "$work/prefix/share/java/zolt.jsa"
fi
for tool in getfacl getfattr setfattr setpriv; do
  command -v $tool >/dev/null || { echo "commands.sh: no $tool"; exit 2; }
done

nobody=(setpriv --reuid=65534 --regid=65534 --clear-groups)
said() { [ -z "$installed" ] || echo "$SECONDS s: $1"; }  # an installed command has long trees to be tried on
me=()  # by which the command is run
run() {
  "${me[@]}" "$zolt" "$@" >"$work/out" 2>"$work/err" </dev/null
  status=$?
}
told() { echo "${me[*]} zolt $*: $status, on standard output: $(cat "$work/out"), error: $(cat "$work/err")"; }
# gives PATTERN ARGUMENT...: success without a complaint, and a line like this; '' for silence.
gives() {
  local pattern=$1
  shift
  run "$@"
  if [ "$status" -ne 0 ] || [ -s "$work/err" ]; then fail "$(told "$@")"
  elif [ -z "$pattern" ]; then [ ! -s "$work/out" ] || fail "$(told "$@")"
  else grep -qE -- "$pattern" "$work/out" || fail "no $pattern: $(told "$@")"; fi
}
# refuses CODE LINE ARGUMENT...: this exit code, this one line as the error, and nothing else.
refuses() {
  local code=$1 line=$2
  shift 2
  run "$@"
  [ "$status" -eq "$code" ] && [ ! -s "$work/out" ] && printf 'zolt: %s\n' "$line" | cmp -s - "$work/err" ||
    fail "not $code and \"$line\": $(told "$@")"
}

# all DIR: what each command does for the owner of a directory.
all() {
  said "every command on $1, ${me[*]:-as the caller}"
  local dir=$1 file=$1/file user
  user=$("${me[@]}" id -un)
  gives "^uid=$("${me[@]}" id -u)\($user\) " whoami
  gives "^\{\"uid\":.*\"user\":\"$user\"" whoami --json --as "$user"
  gives '^file$' ls "$dir"
  gives "^-rw-r--r-- +$user .* 40960 .* file\$" ls -l "$dir"
  gives "^lrwxrwxrwx +$user .* link -> file\$" ls -l "$dir"
  gives "^$dir/sub:\$" ls -R "$dir"
  gives '^inner$' ls -R "$dir"
  gives '^sub$' ls --dirs "$dir"
  ! grep -q file "$work/out" || fail "ls --dirs shows a file"
  gives "^\{\"directory\":\"$dir\",\"name\":\"file\",\"type\":\"file\"" ls --json --as "$user" "$dir"
  gives '^  mode      -rw-r--r-- \(0644\)$' stat "$file"
  gives '"mode":"0644".*"blockSize":134217728,"replication":3' stat --json --as "$user" "$file"
  gives "^file\$" link "$dir/link"
  gives '"target":"file"' link --json --as "$user" "$dir/link"
  gives '' chmod 640 "$file"
  gives '"mode":"0600"' chmod --json --as "$user" 600 "$file"
  gives '' touch -d @86400 "$file"
  gives '"path"' touch --json --as "$user" -d @86400 "$file"
  [ "$(stat -c '%a %Y %X' "$file")" = '600 86400 86400' ] || fail "chmod, touch: $(stat "$file")"
  gives '' replication 2 "$file"
  gives '"replication":1' replication --now --json --as "$user" 1 "$file"
  gives '' bgf 4 "$file"
  gives '"factor":2|"bgf":2' bgf --json --as "$user" 2 "$file"
  gives '^  blocks    of 8192 bytes, replication 1$' stat "$file"
  gives '^ +32768 +8192 +[0-9]' blocks "$file"
  gives '^ +[0-9]+  [#.]{5}$' blocks --draw --as "$user" "$file"
  gives '"offset":32768,"length":8192' blocks --json "$file"

  gives '' acl set u::rw,g::-,o::-,u:daemon:r,m::r "$file"
  gives '^user:daemon:r--$' acl get "$file"
  gives '"acl":"[^"]*user:bin:rw-' acl modify --json --as "$user" u:bin:rw "$file"
  gives '"name":"bin","id":2,"permissions":"rw-"' acl get --json --as "$user" "$file"
  cmp -s <(getfacl -p "$file") <("$zolt" acl get "$file") || fail 'acl get is not getfacl'
  gives '' acl remove u:bin "$file"
  gives '' acl clear "$file"
  gives '' acl modify -d u:daemon:rx "$dir/sub"
  gives '^default:user:daemon:r-x$' acl get -d "$dir/sub"
  gives '' acl clear -d --as "$user" "$dir/sub"
  [ "$(getfacl -cp "$file" "$dir/sub" | grep -c daemon)" -eq 0 ] || fail 'acl clear leaves entries'

  gives '' xattr set user.a green "$file"
  gives '"name":"user.b"' xattr set --json --as "$user" user.b 0x00ff "$file"
  gives '^user.a="green"$' xattr get user.a "$file"
  gives '"value":"green"' xattr get --json --as "$user" user.a "$file"
  gives '^user.b=0sAP8=$' xattr list "$file"
  gives '"user.bBase64":"AP8="' xattr list --json --as "$user" "$file"
  gives '' xattr remove user.a "$file"
  gives '"user.b"' xattr remove --json --as "$user" user.b "$file"
  refuses 4 "$file: user.a: no such attribute" xattr get user.a "$file"

  refuses 4 "$file: no lease" lease get "$file"
  gives '' lease set writer-1 "$file"
  gives '^writer-1$' lease get --as "$user" "$file"
  refuses 6 "$file: File exists: user.lease.holder already exists" lease set writer-2 "$file"
  gives '' lease renew "$file"
  gives '"renewed":true' lease renew --json --as "$user" "$file"
  gives '"holder":"writer-1"' lease get --json --expire 1h "$file"
  gives '"removed":true' lease remove --json --as "$user" "$file"
  gives '' lease set writer-2 "$file"
  gives '' lease remove "$file"
  ! getfattr --absolute-names -d "$file" | grep '^user.lease' || fail 'lease remove leaves attributes'

  gives "^$user may read $file\$" why "$file"
  gives '"permitted":true' why --json --for w --as "$user" "$file"
  gives '^ok   leases' doctor "$dir"
  gives '^ok   blocks' doctor --as "$user" "$dir"
  ! grep -q '^fail' "$work/out" || fail "the doctor is not content: $(told doctor)"
  gives '"check":"ACLs","verdict":"ok"' doctor --json "$dir"
  gives '^  link +[0-9]+  link$' tour "$dir"
  gives '^complete -F _zolt zolt$' completion
  gives '^Usage: zolt why ' why --help
}

# What is not there, and what is not a call, by each command; CALL: arguments before the path.
wrong() {
  said 'wrong calls'
  local call
  refuses 2 'Missing command (see zolt --help)'
  for call in ls 'ls -lR' stat 'blocks --draw' 'acl get' 'acl set u::rw,g::-,o::-' 'acl modify u:1:r' \
              'acl remove u:1' 'acl clear' 'xattr get user.a' 'xattr set user.a b' 'xattr list' \
              'xattr remove user.a' 'lease set me' 'lease get' 'lease renew' 'lease remove' link \
              'chmod 644' touch 'replication 1' 'bgf 2'; do
    # shellcheck disable=SC2086
    run $call "$work/none"
    [ "$status" -eq 4 ] && [ ! -s "$work/out" ] && [ "$(wc -l <"$work/err")" -eq 1 ] &&
      grep -q "^zolt: $work/none: No such file or directory" "$work/err" || fail "$(told "$call" none)"
    [ "$installed" ] || continue
    # shellcheck disable=SC2086
    run $call --frob "$work/none"
    [ "$status" -eq 2 ] && [ ! -s "$work/out" ] && [ "$(wc -l <"$work/err")" -eq 1 ] &&
      grep -q "^zolt: Unknown option: '--frob' (see zolt ${call%% *} .*--help)\$" "$work/err" ||
      fail "$(told "$call" --frob)"
  done
}

# denied LINE ARGUMENT...: the same answer to a user's process and to one that acts as that user.
denied() {
  local line=$1
  shift
  me=("${nobody[@]}")
  refuses 3 "$line" "$@"
  me=()
  refuses 3 "$line" "$@" --as nobody
}

# What a user may not do to files of root: "secret" without a right, and what is below "closed".
rights() {
  said 'what a user may not do'
  local closed=$work/closed secret=$work/secret may_not='Permission denied' not_mine='Operation not permitted'
  mkdir "$closed" && touch "$closed/file" "$secret" && ln -s file "$closed/link"
  setfattr -n user.a -v b "$secret"
  setfacl -m u:daemon:rw "$secret"
  "$zolt" lease set me "$secret"
  chmod 700 "$closed" && chmod 600 "$secret"
  denied "$closed: $may_not: failed to open directory" ls "$closed"
  denied "$closed: $may_not: failed to open directory" ls -lR "$closed"
  denied "$closed/file: $may_not" ls -l "$closed/file"
  denied "$closed/file: $may_not" stat "$closed/file"
  denied "$closed/link: $may_not" link "$closed/link"
  denied "$secret: $may_not" blocks "$secret"
  denied "$closed/file: $may_not" acl get "$closed/file"
  denied "$secret: $not_mine" acl set u::rwx,g::rwx,o::rwx "$secret"
  denied "$secret: $not_mine" acl modify u:nobody:rwx "$secret"
  denied "$secret: $not_mine" acl remove u:daemon "$secret"
  denied "$secret: $not_mine" acl clear "$secret"
  denied "$secret: $may_not: getxattr failed for user.a" xattr get user.a "$secret"
  denied "$secret: $may_not: setxattr failed for user.a" xattr set user.a c "$secret"
  denied "$secret: $may_not: removexattr failed for user.a" xattr remove user.a "$secret"
  denied "$secret: $may_not: setxattr failed for user.lease.holder" lease set other "$secret"
  denied "$secret: $may_not: getxattr failed for user.lease.update" lease get "$secret"
  denied "$secret: $may_not: getxattr failed for user.lease.update" lease renew "$secret"
  denied "$secret: $may_not: removexattr failed for user.lease.*" lease remove "$secret"
  denied "$secret: $not_mine" chmod 777 "$secret"
  denied "$secret: $not_mine" touch "$secret"
  denied "$secret: $may_not" replication 1 "$secret"
  denied "$secret: $may_not" bgf 2 "$secret"
  denied "$closed: $may_not: failed to open directory" tour "$closed"
  [ "$(getfattr --absolute-names -d "$secret" | grep -c -e '^user.a="b"' -e '^user.lease')" -eq 3 ] &&
    [ "$(stat -c %a "$secret")" = 600 ] || fail "a user has changed a file of root: $(stat "$secret")"

  gives '^system.posix_acl_access=' xattr list --as nobody "$secret"
  ! grep '^user' "$work/out" || fail 'xattr list shows what a user may not read'

  # Who asks why, and who asks the doctor, gets an answer.
  me=("${nobody[@]}")
  run why "$closed/file"
  [ "$status" -eq 3 ] && [ ! -s "$work/err" ] && grep -q "^nobody may not search $closed " "$work/out" ||
    fail "$(told why)"
  run doctor "$closed"
  [ "$status" -eq 1 ] && [ ! -s "$work/err" ] && grep -q '^fail listing' "$work/out" || fail "$(told doctor)"
  refuses 3 'switching to root needs CAP_SETUID and CAP_SETGID (run as root)' whoami --as root
  refuses 4 'no-such-user: unknown user' whoami --as no-such-user
  me=()
}

# agree TREE: what the command says of a tree is what the system's tools say, for who runs it.
agree() {
  said "what is said of $1, ${me[*]:-as the caller}"
  "${me[@]}" find "$1" -not -type s -not -type p -print0 2>/dev/null >"$work/paths"
  "${me[@]}" find "$1" -not -type l -not -type s -not -type p -print0 2>/dev/null >"$work/real"
  "${me[@]}" find "$1" -type l -print0 2>/dev/null >"$work/links"
  each() { xargs -0 -r -n 500 -a "$1" "${me[@]}" "${@:2}" 2>&1; }
  same() { cmp -s "$work/ours" "$work/theirs" || fail "${me[*]} $*: $(diff "$work/ours" "$work/theirs" | head -n 5)"; }

  "${me[@]}" "$zolt" ls -R "$1" >"$work/ours" 2>"$work/err"
  "${me[@]}" ls -AU1R "$1" >"$work/theirs" 2>"$work/theirs.err"
  same ls "$1"
  [ "$(wc -l <"$work/err")" -eq "$(wc -l <"$work/theirs.err")" ] || fail "ls $1: $(cat "$work/err")"
  each "$work/paths" "$zolt" stat --json | sed -E \
    's/.*"inode":([0-9]+),"size":([0-9]+),"mode":"([0-7]+)".*"uid":([0-9]+),.*"gid":([0-9]+),.*/\1 \2 \3 \4 \5/' \
    >"$work/ours"
  each "$work/paths" stat -c '%i %s %04a %u %g' >"$work/theirs"
  same stat "$1"
  each "$work/links" "$zolt" link >"$work/ours"
  each "$work/links" readlink >"$work/theirs"
  same link "$1"
  each "$work/real" "$zolt" acl get >"$work/ours"
  each "$work/real" getfacl -p >"$work/theirs"
  same acl "$1"
  each "$work/real" "$zolt" xattr list | sort >"$work/ours"
  each "$work/real" getfattr --absolute-names -d -m - | sort >"$work/theirs"
  same xattr "$1"
}

owned() {  # owned DIR USER
  mkdir -p "$1/sub" && ln -s file "$1/link" && touch "$1/sub/inner" && truncate -s 40K "$1/file"
  [ "$(id -u)" -ne 0 ] || chown -hR "$2" "$1"
}

wrong
owned "$work/own" "$(id -un)"
if [ "$(id -u)" -ne 0 ] || [ "$installed" ]; then all "$work/own"; fi
for tree in $trees; do agree "$tree"; done
if [ "$(id -u)" -eq 0 ]; then
  rights
  me=("${nobody[@]}")
  owned "$work/other" nobody
  all "$work/other"
  [ -z "$installed" ] || for tree in $trees; do agree "$tree"; done
fi
exit $failed
