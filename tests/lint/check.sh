#!/usr/bin/env bash
# What "make lint" looks over, in a small repository with a clang-tidy and a CMake of its own: what differs
# from main, by itself or by a header, whole where that cannot be told, and again only what has changed. And
# that long commands show what they do and keep their status. SCRIPTS is their folder.
set -u
failed=0
fail() { echo "FAILED: $1"; failed=1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir -p bin repo/src/in repo/build/clang
cat >bin/clang-tidy <<'END'
#!/bin/sh
for file; do :; done
[ "$file" = --version ] || { echo "$file" >>"$OVER"; ! grep -n wrong "$file"; }
END
printf '#!/bin/sh\n[ "$*" != "--build --preset clang" ] || echo everything >>"$OVER"\n' >bin/cmake
chmod 755 bin/*
export PATH=$work/bin:$PATH OVER=$work/over

cd repo || exit 1
git() { command git -c user.name=t -c user.email=t@localhost -c commit.gpgsign=false "$@"; }
git init -q -b main .
echo build >.gitignore
: >.clang-tidy
echo '#include "in/b.h"' >src/a.cpp
echo '#include "c.h"' >src/in/b.h
touch src/in/c.h src/d.cpp
git add . && git commit -qm first
git checkout -qb work

over() {  # over SOURCES: what is looked over, by one run
  : >"$OVER"
  "$SCRIPTS/tidy.py" "${@:2}" >"$work/said" 2>&1
  status=$?
  [ "$(sort "$OVER" | paste -sd ' ')" = "$1" ] || fail "not \"$1\" but $(cat "$OVER"): $(cat "$work/said")"
}
over ''
[ $status -eq 0 ] && grep -q '^No source is changed' "$work/said" || fail "nothing is changed: $(cat "$work/said")"
echo '// more' >>src/in/c.h
over src/a.cpp
grep -qE '^\[1/1\] +[0-9.]+ s  src/a.cpp$' "$work/said" || fail "no progress: $(cat "$work/said")"
over ''
git commit -qam 'a header'
over ''
over 'everything src/d.cpp' --all
echo 'wrong' >src/e.cpp
over src/e.cpp
[ $status -eq 1 ] && grep -q '^1:wrong$' "$work/said" || fail "a finding: $status $(cat "$work/said")"
over src/e.cpp
rm src/e.cpp
echo 'Checks: new' >.clang-tidy
over 'everything src/a.cpp src/d.cpp'
git checkout -q .clang-tidy && git branch -qm main other
rm build/clang/tidy.json
over 'everything src/a.cpp src/d.cpp'
grep -q 'no main to compare with' "$work/said" || fail "without main: $(cat "$work/said")"

# A long command is watched.
PATIENCE=1 "$SCRIPTS/watched.sh" "$work/log" '/shown/p' \
  sh -c 'echo shown 1; echo kept; sleep 1.5; echo shown 2 >&2; exit 3' >"$work/said" 2>&1
[ $? -eq 3 ] || fail 'a status is lost'
# A slow machine takes its time.
printf '%s\n' 'shown 1' "... at work for N s, 2 lines in $work/log" 'shown 2' "See $work/log" |
  diff - <(sed 's/for [0-9]* s/for N s/' "$work/said" | uniq) ||
  fail 'a long command is not watched'
[ "$(wc -l <"$work/log")" -eq 3 ] || fail "kept: $(cat "$work/log")"
exit $failed
