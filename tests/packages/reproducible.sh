#!/usr/bin/env bash
# reproducible.sh TOP [FOLDER]: builds every package and everything published twice, each time from the last commit and
# from nothing, and shows where the two differ: in another folder, another time zone, with another umask and language.
# In FOLDER, if named, both builds stay.
set -eu
top=$(realpath "$1")
scratch=${2-}
[ -n "$scratch" ] || { scratch=$(mktemp -d -p "${TMPDIR:-/var/tmp}"); trap 'rm -rf "$scratch"' EXIT; }
mkdir -p "$scratch"
commit=$(git -C "$top" rev-parse HEAD)  # whatever is committed meanwhile
unset CMAKE_CXX_COMPILER_LAUNCHER

built() {  # built FOLDER SETTING...: builds there, and prints the sum of each file
  local folder=$1
  shift
  mkdir -p "$folder"
  git -C "$top" archive "$commit" | tar -x -C "$folder"
  env "$@" make -C "$folder" packages packages-cephfs packages-portable publish >"$scratch/log" 2>&1 ||
    { cat "$scratch/log" >&2; return 1; }
  (cd "$folder/build" && find packages packages-cephfs portable/*/packages maven -type f \
    \( -name '*.deb' -o -name '*.rpm' -o -name '*.jar' -o -name '*.pom' -o -name '*.json' \) -exec sha256sum {} + | LC_ALL=C sort -k 2)
}

umask 022
built "$scratch/one" TZ=UTC LC_ALL=C >"$scratch/one.sums"
umask 077
built "$scratch/another/folder" TZ=Asia/Tokyo LC_ALL=C.UTF-8 >"$scratch/two.sums"
cat "$scratch/one.sums"
diff "$scratch/one.sums" "$scratch/two.sums" >/dev/null || {
  echo 'These differ from one build to the other:'
  diff "$scratch/one.sums" "$scratch/two.sums" | sed -n 's/^> [0-9a-f]*//p'
  exit 1
}
echo "$(wc -l <"$scratch/one.sums") files, the same twice"
