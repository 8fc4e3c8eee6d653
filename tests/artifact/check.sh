#!/usr/bin/env bash
# Reads the built library: check.sh LIBRARY HEADER [OBJECTS...]. The environment may set other bounds: MAX_GLIBC,
# MAX_GLIBCXX, MAX_CXXABI, MAX_GCC. A library that carries its C++ runtime comes with the objects that are ours: the
# runtime has an end of its own for what never happens here (an exception out of a destructor), and what our code
# must not do is then read from our code alone.
set -u
library=$1 header=$2
shift 2
failed=0
check() {  # check WHAT EXPECTED FOUND
  if [ "$2" = "$3" ]; then
    echo "ok: $1"
  else
    echo "FAILED: $1"; diff <(echo "$2") <(echo "$3"); failed=1
  fi
}
only() { sort -u | paste -sd ' '; }  # a list in one line

dynamic=$(readelf -dW "$library")
segments=$(readelf -lW "$library")
open=$(nm -D --undefined-only "$library" | awk '$1 != "w" {print $NF}')  # name@VERSION
if [ $# -eq 0 ]; then
  runtime="libc.so.6 libgcc_s.so.1 libstdc++.so.6 libzolt.so"
  names=$(sed 's/@.*//' <<<"$open")
  code=("$library")
else
  runtime="libc.so.6 libdl.so.2 libpthread.so.0 libzolt.so"  # the last but one are GLIBC's, too
  names=$(nm --undefined-only "$@" | awk 'NF == 2 {print $NF}' | sort -u)
  code=("$@")
fi

# What it gives.
declared=$( (grep -o 'Java_[A-Za-z0-9_]*' "$header"; echo JNI_OnLoad) | sort)
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort)
check "the exports are JNI_OnLoad and the natives of ZOLTNative" "$declared" "$exported"
check "the name it is known by" libzolthadoop.so.1 "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")"
folder=$(dirname "$library")
check "libzolthadoop.so.1 stands beside it" libzolthadoop.so.1.0.0 "$(readlink "$folder/libzolthadoop.so.1")"
check "libzolthadoop.so stands beside it" libzolthadoop.so.1 "$(readlink "$folder/libzolthadoop.so")"

# What it takes. libacl is not among it: it is opened at run time.
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
check "the libraries it needs, beside the loader" \
  "$runtime" "$(grep -v '^ld-linux' <<<"$needed" | only)"
check "no RPATH, no RUNPATH" "" "$(grep -E '\((RPATH|RUNPATH)\)' <<<"$dynamic")"
check "each open symbol is the C or C++ library's or one of the client's four calls" \
  "zolt_fcntl zolt_fstat_x zolt_restripe_file zolt_stat_x" \
  "$(grep -vE '@(GLIBC|GLIBCXX|CXXABI|GCC)_' <<<"$open" | only)"

# A compiler's runtime may bring its own, a tenth slower for a listing.
check "memory and text are copied by the C library's functions" "memcpy strlen" \
  "$(sed -n 's/^\(memcpy\|strlen\)@GLIBC_.*/\1/p' <<<"$open" | only)"

# The oldest system that can load it is the one that has these versions. A static libstdc++ would
# raise that: Debian's asks for GLIBC 2.36 where the library itself is content with 2.34.
bounded() {  # bounded NAME MAX
  local highest
  highest=$(sed -n "s/.*@$1_//p" <<<"$open" | sort -V | tail -n 1)
  echo "needs $1_$highest"
  check "$1 up to $2" "$2" "$(printf '%s\n' "$highest" "$2" | sort -V | tail -n 1)"
}
bounded GLIBC "${MAX_GLIBC:-2.34}"
bounded GLIBCXX "${MAX_GLIBCXX:-3.4.29}"
bounded CXXABI "${MAX_CXXABI:-1.3.9}"
bounded GCC "${MAX_GCC:-3.3.1}"

# How it is mapped.
check "the stack is not executable" "RW" "$(awk '$1 == "GNU_STACK" {print $(NF - 1)}' <<<"$segments")"
check "nothing is both writable and executable" "" "$(grep -E ' (RWE|WE) ' <<<"$segments")"
check "what the loader has relocated is read-only" GNU_RELRO "$(grep -o 'GNU_RELRO' <<<"$segments")"
check "everything is bound at load" NOW "$(grep '(FLAGS_1)' <<<"$dynamic" | grep -ow NOW)"
check "no code is relocated" "" "$(grep -w TEXTREL <<<"$dynamic")"
check "no thread storage that only a program's start can give" "" "$(grep -w STATIC_TLS <<<"$dynamic")"

# What it must never do to the process that it lives in.
without() {  # without WHAT NAMES...: none of these (regular expressions) is called
  local what=$1
  shift
  check "$what" "" "$(grep -xE "$(IFS='|'; echo "$*")" <<<"$names" | only)"
}
without "nothing ends the process" \
  exit _exit _Exit quick_exit abort raise kill tgkill killpg pthread_kill pthread_exit \
  pthread_cancel '__assert.*' '_ZSt.*assert_fail.*'
without "nothing runs when it ends, while its threads still call" \
  atexit on_exit at_quick_exit __cxa_atexit __cxa_at_quick_exit
without "no signal is touched" signal 'sig.*' '__sig.*' pthread_sigmask alarm 'setitimer' 'timer_.*'
without "nothing is printed" \
  stdout stderr '_?_?v?f?d?printf(_chk)?' f?puts f?putc putchar fwrite write writev perror \
  '_ZSt4c(out|err|log)' _ZNSt8ios_base4InitC1Ev
without "no process is made" system popen fork vfork clone 'exec.*' 'posix_spawn.*'
without "nothing that all threads share is changed" \
  setenv unsetenv putenv clearenv setlocale f?chdir umask 'set(re|res|e)?[ug]id' setgroups \
  prctl dup2 dup3 srand mallopt
without "no answer lies in storage that threads share" \
  getpwnam getpwuid getgrnam getgrgid getmntent strerror strtok rand localtime gmtime asctime ctime
check "no instruction is a trap" "" \
  "$("${OBJDUMP:-objdump}" -d --no-show-raw-insn "${code[@]}" | grep -oE '\s(ud2|hlt|int3|brk)\b' | only)"
exit $failed
