#!/usr/bin/env bash
# The tests of the HDFS service: test.sh BUILD [PATTERN]. They run as root, in a mount namespace of their own, on a
# folder in which the kernel follows no links. PATTERN, a regular expression, chooses classes.
set -u
here=$(CDPATH='' cd -- "$(dirname "$0")" && pwd)
build=$(CDPATH='' cd -- "$1" && pwd)
pattern=${2:-.*}

why=$("$here/build.sh" "$build/hdfs") || { echo "The HDFS service is left out: $why"; exit 0; }
[ "$(id -u)" -eq 0 ] || { echo 'The tests of the HDFS service are left out: they need root'; exit 0; }
unshare --mount true 2>/dev/null || { echo 'The tests of the HDFS service are left out: no mount namespace can be made here'; exit 0; }

work=$(mktemp -d "${TMPDIR:-/var/tmp}/zolt-hdfs-test.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/folder" "$work/other" "$work/commands" "$work/state"
chmod 755 "$work" "$work/folder" "$work/commands"
# A service gives up capabilities for its whole process; zolt:// is a library in any.
service=
for module in namespace datanode namenode; do
  [ ! -d "$build/hdfs/hdfs-$module/test-classes" ] || service="$service --scan-class-path=$build/hdfs/hdfs-$module/test-classes"
done
library=--scan-class-path=$build/hdfs/hdfs-filesystem/test-classes
web=--scan-class-path=$build/hdfs/hdfs-web/test-classes

# Owners and groups of Hadoop's tests of its commands, who are users of the system here: in this mount namespace alone.
cp /etc/passwd /etc/group "$work/"
id=64000
for name in supergroup newgroup hadoopgrp admin sales hadoop hdfs newowner bob charlie user1 user2 group1 foo bar glarch 123 foo@bar; do
  id=$((id + 1))
  grep -q "^$name:" "$work/group" || echo "$name:x:$id:" >>"$work/group"
  grep -q "^$name:" "$work/passwd" || echo "$name:x:$id:$id::/nonexistent:/usr/sbin/nologin" >>"$work/passwd"
done

export LC_ALL=C.UTF-8 LD_LIBRARY_PATH=${CLIENT:-$build/client/local}
export folder=${FOLDER:-$work/folder} other=${OTHER:-${FOLDER:-$work/folder}} commands=$work/commands
export work service library web pattern build launcher="$here/../bin/zolt-hdfs" document="$here/../docs/hdfs.md"
# shellcheck disable=SC2016  # for the inner shell
unshare --mount --propagation private -- bash -c '
  for name in commands other folder; do
    mount -o bind,nosymfollow "${!name}" "$work/$name" || exit 1
  done
  for file in passwd group; do
    mount -o bind "$work/$file" "/etc/$file" || exit 1
  done
  chgrp supergroup "$work/commands"
  cd "$work/state"
  result=0
  for part in service library web; do
    # The natives that the web server has are those of the library.
    classes=test-classpath
    options="-Xcheck:jni"
    [ $part != web ] || { classes=web-test-classpath; options="-XX:TieredStopAtLevel=1 --add-opens java.base/java.lang=ALL-UNNAMED -Dfs.defaultFS=zolt:///"; }
    java ${ZOLT_TEST_OPTS-} -Dfile.encoding=UTF-8 -Djava.net.preferIPv4Stack=true $options \
      -Djava.security.krb5.realm=EXAMPLE.COM -Djava.security.krb5.kdc=127.0.0.1 \
      -Dzolt.library="$build/lib/libzolthadoop.so.1.0.0" -Dzolt.hdfs.library="$build/lib/libzolthdfs.so" \
      -Dzolt.test.launcher="$launcher" -Dzolt.test.folder="$work/folder" -Dzolt.test.other="$work/other" -Dzolt.test.commands="$work/commands" \
      -Dzolt.test.document="$document" -Dtest.cache.data="$build/hdfs/hdfs-namenode/command-tests" \
      -Dzolt.test.state="$work/state" -Dtest.build.data="$work/state/data" \
      -Dtest.hadoop.hdfs=false -Dtest.dir="$work/state" \
      -cp "$(cat "$build/hdfs/$classes")" org.junit.platform.console.ConsoleLauncher execute \
      ${!part} --include-classname "$pattern" --disable-banner --details=tree --details-theme=ascii \
      --reports-dir "$build/hdfs/reports/$part" || result=1
  done
  exit $result' >"$build/hdfs/test.log" 2>&1
result=$?
sed -n '/^Test run finished\|tests \(found\|successful\|failed\|skipped\|aborted\)/p; /\[X\]/p' "$build/hdfs/test.log"
[ $result -eq 0 ] || echo "See build/hdfs/test.log"
exit $result
