#!/usr/bin/env bash
# chroot.sh OPTIONS COMMAND...: runs a command where "/" is no mount point, as in a plain chroot and many
# containers: the table of mounts does not have the one that holds "/". That one has these options, and an
# empty file "/plain" for everyone, and "/fifo" for root. All else is this system again, bound below it, in a mount namespace
# that ends with the command.
set -eu
if [ "$(id -u)" -ne 0 ] || ! unshare --mount true 2>/dev/null; then
  echo 'chroot.sh: this process may not mount'
  exit 77
fi
root=$(mktemp -d)
trap 'rmdir "$root"' EXIT
unshare --mount bash -c '
  set -eu
  mount -t tmpfs -o mode=755 none "$1"
  mkdir "$1/root"
  cd "$1/root"
  for each in /*; do
    if [ -L "$each" ]; then
      ln -s "$(readlink "$each")" ".$each"
    elif [ -d "$each" ]; then
      mkdir ".$each"
      mount --rbind "$each" ".$each"
    fi
  done
  install -m 777 /dev/null plain
  mkfifo -m 600 fifo
  mount -o "remount,bind,$2" "$1"
  shift 2
  exec chroot . "$@"' chroot "$root" "$@"
