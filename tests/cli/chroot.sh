#!/usr/bin/env bash
# What is said of mounts where "/" is none: the tests of that in a plain chroot, and a chroot whose own
# mount refuses. The environment says what commands.sh needs, and ZOLT, the command.
set -u
here=$(CDPATH='' cd -- "$(dirname "$0")" && pwd)
failed=0
chroot=$here/../chroot.sh
"$chroot" rw true >/dev/null
[ $? -ne 77 ] || { echo 'This process may not mount: nothing was tried.'; exit 77; }

TESTS='--select-class=zolt.cli.commands.WhyTest --select-class=zolt.cli.doctor.DoctorTest' "$chroot" rw "$here/commands.sh" ||
  failed=1

# expect CODE LINE ARGUMENTS...: in a chroot whose mount is read-only and noexec, which no table says.
expect() {
  local code=$1 line=$2 output status
  shift 2
  output=$(LC_ALL=C.UTF-8 "$chroot" ro,noexec "$ZOLT" why "$@" 2>&1)
  status=$?
  [ "$status" -eq "$code" ] && [ "$output" = "$line" ] ||
    { echo "FAILED: $status and \"$output\", not $code and \"$line\""; failed=1; }
}
for user in root nobody; do
  expect 3 'no one may write /plain: its file system is mounted read-only' --as $user --for w /plain
  expect 3 'no one may write /: its file system is mounted read-only' --as $user --for d /plain
  expect 3 'no one may execute /plain: its file system is mounted noexec' --as $user --for x /plain
  expect 0 "$user may read /plain" --as $user /plain
  expect 0 "$user may execute or search /" --as $user --for x /
  expect 0 "$user may write /tmp" --as $user --for w /tmp
done
expect 3 'nobody may not read /fifo (prw------- root root): nobody is neither the owner nor in the group, and the mode gives others ---' \
  --as nobody /fifo
exit $failed
