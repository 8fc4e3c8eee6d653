#!/usr/bin/env bash
# packages.sh BUILD TRIPLE [cephfs]: the packages of what is built in BUILD, in BUILD/packages, or that of the client for
# CephFS, in BUILD/packages-cephfs. TRIPLE names the folder of libraries on Debian. That folder is the distribution's;
# changing it compiles nothing again.
set -eu
build=$1
triple=$2
out=$build/packages${3:+-$3}
umask 022
rm -rf "$out"
if [ -z "${3-}" ]; then
  cmake -DCMAKE_INSTALL_LIBDIR=lib64 "$build" >/dev/null
  (cd "$build" && cpack -G RPM >/dev/null)
fi
cmake -DZOLT_DEBIAN=ON -DCMAKE_INSTALL_LIBDIR="lib/$triple" "$build" >/dev/null
(cd "$build" && cpack -G DEB >/dev/null)
cmake -UCMAKE_INSTALL_LIBDIR -UZOLT_DEBIAN "$build" >/dev/null
rm -rf "$out/_CPack_Packages"
lintian --allow-root --fail-on error,warning "$out"/*.deb
find "$out" -type f | sort
