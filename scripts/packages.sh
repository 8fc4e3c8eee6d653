#!/usr/bin/env bash
# packages.sh BUILD TRIPLE: the packages of what is built in BUILD, in BUILD/packages. TRIPLE names the folder of
# libraries on Debian. That folder is the distribution's; changing it compiles nothing again.
set -eu
build=$1
triple=$2
umask 022
rm -rf "$build/packages"
cmake -DCMAKE_INSTALL_LIBDIR=lib64 "$build" >/dev/null
(cd "$build" && cpack -G RPM >/dev/null)
cmake -DZOLT_DEBIAN=ON -DCMAKE_INSTALL_LIBDIR="lib/$triple" "$build" >/dev/null
(cd "$build" && cpack -G DEB >/dev/null)
cmake -UCMAKE_INSTALL_LIBDIR -UZOLT_DEBIAN "$build" >/dev/null
rm -rf "$build/packages/_CPack_Packages"
lintian --allow-root --fail-on error,warning "$build"/packages/*.deb
ls "$build"/packages/*.deb "$build"/packages/*.rpm
