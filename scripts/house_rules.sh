#!/usr/bin/env bash
# The rules of the house that no compiler checks.
set -u
failed=0
complain() { echo "$1" >&2; failed=1; }

# Only src/jni and src/natives know JNI.
while read -r file; do
  complain "$file includes JNI: only src/jni/ and src/natives/ may"
done < <(git ls-files -z src | grep -zvE '^src/(jni|natives)/' |
         xargs -0 grep -lE '#include ([<"]jni\.h|"jni/(native|marshal|errors|jni_util|pending)\.h)')

# Every source and every test is in a build file.
for source in $(git ls-files 'src/*.cpp' 'client/*.cpp' 'tests/*.cpp'); do
  grep -rqF "$(basename "$source")" --include=CMakeLists.txt . ||
    complain "$source is in no CMakeLists.txt"
done

# The core is not linked against libacl, so no source calls it by name; nothing ends the process.
if git ls-files -z 'src/*.cpp' 'src/*.h' | xargs -0 grep -nE '\b(abort|exit|_exit|quick_exit|printf)\(' >&2; then
  complain "the library may not end the process or print"
fi
exit $failed
