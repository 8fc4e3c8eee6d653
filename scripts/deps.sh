#!/usr/bin/env bash
# deps.sh SET...: installs what the sets (build, test, portable, platforms, cephfs, cluster, packages, bench, profile,
# hadoop, programs, lint, mutants, coverage) need and the machine lacks, from Debian's packages. Without root it names the packages instead and fails.
set -eu

missing=()
# need PROBE PACKAGE: a command, or a file that stands somewhere a compiler or CMake looks.
need() {
  case $1 in
    /*) compgen -G "$1" >/dev/null || missing+=("$2") ;;
    *) command -v "$1" >/dev/null || missing+=("$2") ;;
  esac
}

for set in "$@"; do
  case $set in
    build)
      need g++ g++
      need cmake cmake
      need ninja ninja-build
      need javac default-jdk-headless
      need /usr/include/sys/acl.h libacl1-dev
      need "/usr/lib/*/libacl.so.1" libacl1
      need /usr/share/java/picocli.jar libpicocli-java
      need /usr/share/java/slf4j-simple.jar libslf4j-java
      ;;
    test)
      need /usr/include/gtest/gtest.h libgtest-dev
      need "/usr/lib/*/libgtest.a" libgtest-dev
      need /usr/share/java/junit-platform-console.jar junit5
      need /usr/share/java/univocity-parsers.jar libunivocity-parsers-java
      need nm binutils
      need zsh zsh
      need fish fish
      need git git
      need python3 python3
      need getfacl acl
      need getfattr attr
      need fuse2fs fuse2fs
      need btrfs btrfs-progs
      need clang++ clang
      need "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" libclang-rt-14-dev
      ;;
    cephfs)
      need /usr/include/rados/librados.h librados-dev
      need /usr/include/nlohmann/json.hpp nlohmann-json3-dev
      ;;
    cluster)
      need ceph-mon ceph-mon
      need ceph-osd ceph-osd
      need ceph-mds ceph-mds
      need ceph-fuse ceph-fuse
      need ceph ceph-common
      need /usr/lib/python3/dist-packages/rados.cpython-*.so python3-rados
      need ip iproute2
      need unshare util-linux
      ;;
    portable)
      need pip3 python3-pip
      need llvm-objdump llvm
      need git git
      ;;
    platforms)
      need mmdebstrap mmdebstrap
      need qemu-aarch64-static qemu-user-static
      need unshare util-linux
      need mvn maven
      ;;
    packages)
      need dpkg-shlibdeps dpkg-dev
      need file file
      need rpmbuild rpm
      need lintian lintian
      ;;
    bench)
      need getfacl acl
      need strace strace
      need valgrind valgrind
      ;;
    profile)
      need perf linux-perf
      ;;
    hadoop)  # for the HDFS service and one part of the benchmark, which are left out without it
      need mvn maven
      ;;
    programs)
      need mvn maven
      need "/usr/lib/python3*/ensurepip" python3-venv
      need mmdebstrap mmdebstrap
      ;;
    lint)
      need clang-format clang-format
      need clang-tidy clang-tidy
      need checkstyle checkstyle
      need python3 python3
      need clang++ clang
      need git git
      ;;
    mutants)
      need clang++ clang
      need /usr/lib/python3/dist-packages/clang/cindex.py python3-clang
      need git git
      ;;
    coverage)
      need gcovr gcovr
      ;;
    *) echo "deps.sh: no set $set" >&2; exit 2 ;;
  esac
done

[ ${#missing[@]} -eq 0 ] && exit 0
mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)

if ! command -v apt-get >/dev/null; then
  echo "Missing here; on Debian these packages have it: ${missing[*]}" >&2
  exit 1
fi
if [ "$(id -u)" -ne 0 ]; then
  echo "Missing packages. As root: apt-get install ${missing[*]}" >&2
  exit 1
fi
echo "Installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
