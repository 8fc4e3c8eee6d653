#!/usr/bin/env bash
# run.sh BUILD [NAME...]: the portable libraries of BUILD/portable on the systems of systems.tsv, or on those of the
# NAMEs. Each is unpacked from Debian's packages into BUILD/platforms/NAME, once, and entered by chroot(2) in a mount
# namespace that ends with the run. inside.sh says what runs there. One for another machine is run by qemu-user, of
# which the kernel knows as long as that namespace lasts. What came of it stands in BUILD/platforms/NAME.tsv.
set -eu
build=$(realpath "$1")
shift
here=$(realpath "$(dirname "$0")")
top=$(realpath "$here/../..")
all=$build/platforms
mkdir -p "$all"
[ "$(id -u)" -eq 0 ] || { echo 'platforms: only root may enter another system' >&2; exit 1; }

machine() {
  case $1 in
    amd64) echo x86_64 ;;
    arm64) echo aarch64 ;;
  esac
}

# What the tests need beside Java and the C library: tools that they compare with, and the accounts that they name.
unpack() {  # unpack ROOT SUITE ARCH JAVA
  local kind=jre
  [ "$4" -ge 9 ] || kind=jdk  # tests compile, which the runtime alone can do only since Java 9
  rm -rf "$1"
  # An old release is no longer renewed, and its lists say so.
  mmdebstrap --quiet --variant=extract --architectures="$3" --aptopt='Acquire::Check-Valid-Until "false"' \
    --include="openjdk-$4-$kind-headless,acl,attr,bash,binutils,coreutils,dash,findutils,gawk,grep,libacl1,libc-bin,passwd,procps,sed,util-linux" \
    "$2" "$1" "$(sed -n 's/^URIs: *//p' /etc/apt/sources.list.d/*.sources | head -n 1)" >"$1.log" 2>&1 || { cat "$1.log"; return 1; }
  # What the packages' scripts would do: one tree below /usr, and "awk".
  for folder in bin sbin lib lib64; do
    [ -L "$1/$folder" ] || {
      mkdir -p "$1/usr/$folder"
      [ ! -d "$1/$folder" ] || cp -a "$1/$folder/." "$1/usr/$folder/"
      rm -rf "${1:?}/$folder"
      ln -s "usr/$folder" "$1/$folder"
    }
  done
  ln -sf gawk "$1/usr/bin/awk"
  ln -sf /proc/self/mounts "$1/etc/mtab"
  cp /etc/passwd /etc/group /etc/nsswitch.conf "$1/etc/"
  mkdir -p "$1/usr/share/java" "$1/proc" "$1/sys" "$1/dev" "$1$top" "$1$build"
  chmod 1777 "$1/tmp" "$1/var/tmp"
  touch "$1/complete"
}

# The tests are written for Java 17. For those before it their classes are made older, with what their library lacks.
older_classes() {  # older_classes CLASSES
  local tool=$all/downgrader older=$all/classes-8
  [ -e "$older.stamp" ] && [ "$older.stamp" -nt "$1.stamp" ] || {
    for artifact in jvmdowngrader:1.3.3:jar:all jvmdowngrader-java-api:1.3.3:jar:downgraded-8; do
      mvn -q -B dependency:copy -Dartifact="xyz.wagyourtail.jvmdowngrader:$artifact" -DoutputDirectory="$tool" >&2
    done
    rm -rf "$older"
    (cd "$all" && java -jar "$tool"/jvmdowngrader-*-all.jar -c 52 downgrade -t "$1" "$older" \
      --classpath "$(sed -n 's/^CLASSPATH=//p' "$1/../environment")" >"$all/downgrade.log" 2>&1) || { cat "$all/downgrade.log" >&2; return 1; }
    touch "$older.stamp"
  }
  echo "$older:$(ls "$tool"/jvmdowngrader-java-api-*.jar)"
}

# Debian's JUnit does not start in Java 8. The one that its makers publish does, and stands before it.
older_junit() {
  local tool=$all/junit
  [ -e "$tool" ] || mvn -q -B dependency:copy -Dartifact=org.junit.platform:junit-platform-console-standalone:1.9.3 \
    -DoutputDirectory="$tool" >&2
  ls "$tool"/*.jar
}

# A program in a jar of its own, as a user of the jar with both libraries has it. Java 24 and later ask its manifest
# whether it may call natives.
loaded=$all/loaded
mkdir -p "$loaded"
javac --release 8 -Xlint:-options -cp "$build/portable/zolt-hadoop.jar" -d "$loaded" "$top/tests/packages/Loaded.java"
printf '%s\n' 'Main-Class: Loaded' 'Enable-Native-Access: ALL-UNNAMED' \
  'Class-Path: ../portable/zolt-hadoop.jar /usr/share/java/slf4j-api.jar' >"$loaded.manifest"
jar --create --file "$loaded.jar" --manifest "$loaded.manifest" -C "$loaded" Loaded.class

# A system ends with this script, however that is ended: unshare(1) itself waits for what it runs, whatever it is sent.
trap 'exit 130' INT

failed=0
while IFS=$'\t' read -r name suite arch java; do
  case $name in '' | '#'*) continue ;; esac
  [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
  root=$all/$name
  portable=$build/portable/$(machine "$arch")
  [ -e "$root/complete" ] || { echo "Unpacking build/platforms/$name/"; unpack "$root" "$suite" "$arch" "$java"; }
  classes=$portable/tests/jvm/classes
  [ "$java" -ge 17 ] || classes=$(older_classes "$classes")
  [ "$java" -ge 11 ] || classes=$classes:$(older_junit)
  emulated=
  [ "$(machine "$arch")" = "$(uname -m)" ] || emulated=yes
  mapfile -t environment < <(sed "s#^CLASSPATH=[^:]*#CLASSPATH=$classes#" "$portable/tests/jvm/environment")
  for jar in $(printf '%s\n' "${environment[@]}" | sed -n 's/^CLASSPATH=//p' | tr : ' ') /usr/share/java/slf4j-simple.jar; do
    case $jar in
      /usr/share/java/*) cp -L "$jar" "$root/usr/share/java/" ;;
    esac
  done
  echo "Running the tests in build/platforms/$name/, with build/platforms/$name.log"
  status=0
  # What runs in the background ignores INT, of which Java 8's checks would tell.
  env --default-signal=INT setpriv --pdeathsig KILL unshare --mount --fork --pid --kill-child bash -c '
    set -eu
    root=$1 top=$2 build=$3 emulated=$4
    shift 4
    [ -z "$emulated" ] || {  # programs for aarch64, in every root: the emulator is opened here
      mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
      magic="\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00"
      mask="\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff"
      printf %s ":zolt-aarch64:M::$magic:$mask:$(command -v qemu-aarch64-static):FOC" \
        >/proc/sys/fs/binfmt_misc/register
    }
    mount --bind "$root" "$root"
    mount --bind "$top" "$root$top"
    [ "${build#"$top"/}" != "$build" ] || mount --rbind "$build" "$root$build"
    mount -t proc proc "$root/proc"
    mount --rbind /sys "$root/sys"
    mount --rbind /dev "$root/dev"
    exec chroot "$root" "$@"' enter "$root" "$top" "$build" "$emulated" \
    env -i PATH=/usr/sbin:/usr/bin HOME=/root EMULATED=$emulated LOADED="$loaded.jar" "${environment[@]}" "JAVA=/usr/lib/jvm/java-$java-openjdk-$arch/bin/java" \
    "$here/inside.sh" "$top" "$portable" "$all/$name.tsv.new" >"$all/$name.log" 2>&1 </dev/null &
  wait $! || status=$?
  tail -n 3 "$all/$name.log"
  [ $status -eq 0 ] || { echo "platforms: $name failed, see build/platforms/$name.log" >&2; failed=1; }
  [ ! -e "$all/$name.tsv.new" ] || { mv "$all/$name.tsv.new" "$all/$name.tsv"; mv "$all/$name.tsv.new.left" "$all/$name.left"; }
done <"$here/systems.tsv"
exit $failed
