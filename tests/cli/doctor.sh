#!/usr/bin/env bash
# What the doctor says by the launcher where libacl is missing, and of services that run: small programs here,
# which are given the libraries, limits, groups and capabilities that it is to find. CMAKE, BUILD.
set -u
export LC_ALL=C.UTF-8
unset JAVA_HOME LD_LIBRARY_PATH ZOLT_LIBRARY ZOLT_LOG ZOLT_JAVA_OPTS
failed=0
fail() { echo "FAILED: $1"; failed=1; }
work=$(mktemp -d)
service=
trap '[ -z "$service" ] || kill "$service" 2>/dev/null; rm -rf "$work"' EXIT
chmod 755 "$work"
umask 022
"$CMAKE" --install "$BUILD" --prefix "$work/prefix" >/dev/null || exit 1
zolt=$work/prefix/bin/zolt
user=(setpriv --reuid=65534 --regid=65534 --clear-groups)

# doctor CODE ARGUMENT...: what it says ends up in "said".
doctor() {
  local code=$1
  shift
  said=$("$@" 2>&1)
  [ $? -eq "$code" ] || fail "$* did not end with $code: $said"
}
# told LINE...: each is the begin of one.
told() {
  local line
  for line; do grep -qE "^$line" <<<"$said" || fail "no $line: $said"; done
}
# serve COMMAND...: a process that stays until the next.
serve() {
  [ -z "$service" ] || kill "$service"
  "$@" sleep 60 &
  service=$!
  for ((left = 500; left > 0; left--)); do
    [ "$(cat "/proc/$service/comm" 2>/dev/null)" != sleep ] || return
    sleep 0.01
  done
  fail "$* does not serve"
}

# Without libacl it is that which is missing, in each check that needs it.
mkdir "$work/without" && : >"$work/without/libacl.so.1"
doctor 1 env LD_LIBRARY_PATH="$work/without" "$zolt" doctor "$work"
[ "$(grep -c 'mend: install libacl1' <<<"$said")" -eq 3 ] || fail "without libacl: $said"

# Then a list that cannot be read makes unknown who has what.
touch "$work/listed" "$work/plain" && chmod 644 "$work/listed"
setfacl -m u:65534:- "$work/listed"
why() { env LD_LIBRARY_PATH="$work/without" "$zolt" why "$@" 2>&1; }
if [ "$(id -u)" -eq 0 ]; then
  [ "$(why --as nobody "$work/listed"; echo $?)" = "it is not known whether nobody may read $work/listed: it has an \
access control list, and there is no libacl to read it
1" ] || fail "a list without libacl: $(why --as nobody "$work/listed")"
  [ "$(why --as nobody "$work/plain"; echo $?)" = "nobody may read $work/plain
0" ] || fail "no list without libacl: $(why --as nobody "$work/plain")"
  why --as nobody --for w "$work/plain" | grep -q '; only chmod or chown may change that: there is no libacl$' ||
    fail "a mode without libacl: $(why --as nobody --for w "$work/plain")"
fi

# What is made in a folder that may only be added to would stay there.
mkdir "$work/added"
if chattr +a "$work/added" 2>/dev/null; then
  doctor 0 "$zolt" doctor "$work/added"
  chattr -a "$work/added"
  told "warn writing +a file that is made in $work/added could not be removed again"
  [ -z "$(ls -A "$work/added")" ] || fail "the doctor leaves $(ls -A "$work/added")"
fi

# What is made inherits the default list of its directory, and has what the umask leaves.
mkdir "$work/listing" && setfacl -d -m u::r,u:65534:rwx "$work/listing"
(umask 0777 && mkdir "$work/masked" && chmod 777 "$work/masked")
for dir in listing masked; do
  doctor 0 bash -c 'umask 0777; exec "$@"' bash "$zolt" doctor "$work/$dir"
  told 'ok   writing' 'ok   attributes' 'ok   ACLs' 'ok   default ACLs' 'ok   leases'
  [ -z "$(ls -A "$work/$dir")" ] || fail "the doctor leaves $(ls -A "$work/$dir")"
done
# A limit of the process is no fault of the file system.
mkdir "$work/limited"
for blocks in 0 1; do
  doctor 1 bash -c "ulimit -f $blocks; exec \"\$@\"" bash "$zolt" doctor "$work/limited"
  told 'fail writing .*may write no file of that size \(ulimit -f\)'
done
if [ "$(id -u)" -eq 0 ] && unshare --mount true 2>/dev/null; then
  doctor 0 unshare --mount sh -c 'cp -a /etc "$1/etc" && rm "$1/etc/group"
    mount --bind "$1/etc" /etc && exec "$0" doctor "$1/limited"' "$zolt" "$work"
  told 'ok   groups +no user of /etc/group is in a second group'
fi
# The only user of a namespace may be any.
if unshare --user true 2>/dev/null; then
  chown 65534 "$work/listing"
  doctor 0 "${user[@]}" unshare --user --map-user=7 --map-group=7 "$zolt" doctor "$work/listing"
  told 'ok   ACLs' 'ok   default ACLs'
fi

if [ "$(id -u)" -ne 0 ]; then
  echo 'Services were not examined: that is for root.'
  exit $failed
fi

# One that has more rights than it needs fails, whatever the command itself has.
serve env
doctor 1 "$zolt" doctor --pid "$service"
told 'fail capabilities .*CAP_SYS_ADMIN.* and keeps that' 'fail libzolthadoop +is not loaded'
doctor 1 "${user[@]}" "$zolt" doctor --pid "$service"
told 'warn libraries +what it has loaded may not be looked at: Permission denied'
serve setpriv --bounding-set=-all,+setuid,+setgid,+dac_override,+dac_read_search,+fowner,+chown
doctor 1 "$zolt" doctor --pid "$service"
told 'ok   capabilities +it switches users, and leaves'
serve setpriv --bounding-set=-all,+setuid,+setgid
doctor 1 "$zolt" doctor --pid "$service"
told 'warn capabilities +root without all of CAP_DAC_OVERRIDE'
if unshare --user --map-root-user true 2>/dev/null; then
  serve unshare --user --map-root-user
  doctor 1 "$zolt" doctor --pid "$service"
  told 'fail groups +.*: its user namespace denies setgroups\(2\)'
fi
serve "${user[@]}"
doctor 1 "$zolt" doctor --pid "$service"
told 'warn capabilities +no CAP_SETUID and CAP_SETGID' 'ok   groups +nogroup, and no others'

# One whose library was replaced while it ran, with few files and groups of its own.
cp -L "$(find "$work/prefix" -name libzolthadoop.so.1)" "$work/libzolthadoop.so.1"
client=$(find "$work/prefix" -name libzolt.so)
serve env LD_LIBRARY_PATH="${client%/*}" LD_PRELOAD="$work/libzolthadoop.so.1" \
  bash -c 'ulimit -n 20 && exec setpriv --groups 1,2 "$@"' bash
rm "$work/libzolthadoop.so.1"
doctor 1 "$zolt" doctor --pid "$service"
told "warn libzolthadoop +$work/libzolthadoop.so.1 has been replaced or removed" "warn libzolt +$client, the embedded one: " \
  'fail libacl +is not loaded' 'warn groups +root, and daemon, bin: users whose first group is root have them too' 'warn open files +[0-9]+ of up to 20$'

# preload FILE COMMAND...: a service that has loaded a file.
preload() {
  local file=$1
  shift
  serve env LD_LIBRARY_PATH="${client%/*}" LD_PRELOAD="$file" "$@"
}
library=$(find "$work/prefix" -name libzolthadoop.so.1.0.0)
# The developers' jar unpacks it, and takes that away at once.
mkdir "$work/zolt-4711" && cp "$library" "$work/zolt-4711/libzolthadoop.so"
preload "$work/zolt-4711/libzolthadoop.so"
rm -r "$work/zolt-4711"
doctor 1 "$zolt" doctor --pid "$service"
told "ok   libzolthadoop +$work/zolt-4711/libzolthadoop.so, of the service's own jar"
# A file may have any name, and be renamed where a new one is installed.
cp "$library" "$work/native-zolt.so" && cp "$client" "$work/site-client.so"
preload "$work/native-zolt.so $work/site-client.so" env -u LD_LIBRARY_PATH
doctor 1 "$zolt" doctor --pid "$service"
told "ok   libzolthadoop +$work/native-zolt.so\$" "warn libzolt +$work/site-client.so, the embedded one"
mkdir "$work/updated" && cp "$library" "$work/updated"
preload "$work/updated/libzolthadoop.so.1.0.0"
mv "$work/updated/libzolthadoop.so.1.0.0" "$work/updated/libzolthadoop.so.1.0.0.old" && cp "$library" "$work/updated"
doctor 1 "$zolt" doctor --pid "$service"
told "warn libzolthadoop +$work/updated/libzolthadoop.so.1.0.0.old, beside which $work/updated/libzolthadoop.so.1.0.0 is installed"

# What mends capabilities depends on whose they are.
caps=+chown,+dac_override,+dac_read_search,+fowner,+setuid,+setgid
serve setpriv --reuid=65534 --regid=0 --clear-groups --bounding-set="-all,$caps" --inh-caps="$caps" --ambient-caps="$caps"
doctor 1 "$zolt" doctor --pid "$service"
told 'fail capabilities +it has CAP_CHOWN, CAP_DAC_OVERRIDE, ' ' +mend: User=root in its unit, and no AmbientCapabilities='

# The HDFS service has its capabilities in effect in those threads alone that need them, and its DataNode acts for no one.
case $(uname -m) in
  x86_64) capset=126 ;;
  *) capset=91 ;;
esac
# shellcheck disable=SC2016  # perl's own
by_thread=(setpriv --bounding-set=-all,+chown,+setuid,+setgid,+sys_admin,+dac_override perl -Mthreads -e '
  async { syscall('$capset', my $header = pack("LL", 0x20080522, 0), my $sets = pack("L6", 1, 0x2000c3, 0, 0, 0, 0)) == 0 or die; sleep 60 };
  $0 = "sleep"; sleep 60')
cp "$client" "$work/libzolthdfs.so"
serve "${by_thread[@]}"
doctor 1 "$zolt" doctor --pid "$service"
told 'warn capabilities +it puts CAP_SYS_ADMIN into effect by thread: whether callers get that cannot be seen'
preload "$work/libzolthdfs.so $client" "${by_thread[@]}"
doctor 0 "$zolt" doctor --pid "$service"
told 'ok   capabilities +it switches users, and puts CAP_SYS_ADMIN into effect by thread, .*: a caller gets none$'
preload "$work/libzolthdfs.so $client" setpriv --bounding-set=-all,+dac_override,+dac_read_search
doctor 0 "$zolt" doctor --pid "$service"
told 'ok   capabilities +it acts for no one else'
grep libzolthadoop <<<"$said" && fail "a DataNode is to have the library: $said"
exit $failed
