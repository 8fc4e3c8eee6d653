#!/usr/bin/env bash
# portable.sh BUILD [TARGET...]: the library, the embedded client and the command for every Linux with GLIBC 2.17 or
# later, in BUILD/portable/x86_64 and BUILD/portable/aarch64, each library read by the check of the built file; then the
# jar that carries both, BUILD/portable/zolt-hadoop.jar. TARGETs are built besides; TESTS=ON knows those of the tests in
# virtual machines.
set -eu
build=$(realpath "$1")
shift
here=$(realpath "$(dirname "$0")/..")
machines=(x86_64 aarch64)
zig=$("$here/scripts/zig.sh" "$build/toolchain")
export ZIG_GLOBAL_CACHE_DIR=$build/toolchain/cache
unset CMAKE_CXX_COMPILER_LAUNCHER  # the compiler has a cache of its own
jar=$build/portable/jar

rm -rf "$jar"
mkdir -p "$build/portable"
for machine in "${machines[@]}"; do
  out=$build/portable/$machine
  echo "Building build/portable/$machine/"
  {
    cmake -G Ninja -S "$here" -B "$out" -DCMAKE_TOOLCHAIN_FILE="$here/cmake/portable/toolchain.cmake" \
      -DZOLT_ZIG="$zig" -DZOLT_ARCH="$machine" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZOLT_TESTS="${TESTS:-OFF}"
    cmake --build "$out" --target zolthadoop zolt zolt_completion "$@"
  } >"$build/portable/$machine.log" 2>&1 || { cat "$build/portable/$machine.log"; exit 1; }
  mapfile -t objects < <(find "$out/src/CMakeFiles/zolthadoop.dir" -name '*.o')
  checked=$(MAX_GLIBC=2.17 OBJDUMP=llvm-objdump "$here/tests/artifact/check.sh" "$out/lib/libzolthadoop.so.1.0.0" \
    "$out"/java/include/*_ZOLTNative.h "${objects[@]}") || { echo "$checked"; exit 1; }
  mkdir -p "$jar/zolt/native/linux-$machine"
  cp "$out/lib/libzolthadoop.so" "$out/client/local/libzolt.so" "$jar/zolt/native/linux-$machine"
done
printf 'linux-%s and linux-%s\n' "${machines[@]}" >"$jar/zolt/native/platform"
chmod -R u=rwX,go=rX "$jar"
cp "$build/java/zolt-hadoop.jar" "$jar.jar"
jar --update --file "$jar.jar" --date "$(sed -n 's/^RELEASED:INTERNAL=//p' "$build/CMakeCache.txt")" -C "$jar" .
mv "$jar.jar" "$build/portable/zolt-hadoop.jar"
rm -rf "$jar"
ls "$build"/portable/*/lib/*.so.1.0.0 "$build/portable/zolt-hadoop.jar"
