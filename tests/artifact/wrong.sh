#!/usr/bin/env bash
# Shows that no check of check.sh is blind: it must pass over the product's objects linked as they
# should be, and name what is wrong with each of these that are not.
# wrong.sh CXX HEADER EXPORTS CLIENT OBJECTS...
set -u
cxx=$1 header=$2 exports=$3 client=$4
shift 4
objects=("$@")
check=$(dirname "$0")/check.sh
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
library=$dir/libzolthadoop.so.1.0.0
failed=0

right=(-shared -Wl,-soname,libzolthadoop.so.1 -Wl,-z,relro,-z,now,-z,noexecstack)
script=(-Wl,"--version-script=$exports")
taken=(-Wl,--no-as-needed "$client" -Wl,--as-needed)
link() {  # link ARGUMENTS...: the library from them and the product's objects
  rm -f "$dir"/*.so*
  "$cxx" -fno-lto "$@" "${objects[@]}" -o "$library" || { echo "FAILED: no library to check"; exit 1; }
  ln -s libzolthadoop.so.1.0.0 "$dir/libzolthadoop.so.1"
  ln -s libzolthadoop.so.1 "$dir/libzolthadoop.so"
}
linked() { link "${right[@]}" "${script[@]}" "${taken[@]}" "$@"; }
code() {  # code TEXT: compiles C++ that keeps what it refers to
  echo "$1" | "$cxx" -w -O1 -fPIC -x c++ -c -o "$dir/extra.o" -
}
refused() {  # refused WHAT [ENVIRONMENT...]: that check fails, and says so with this pattern
  local what=$1 output
  shift
  if output=$(env "$@" "$check" "$library" "$header" 2>&1); then
    echo "FAILED: passed although wrong: $what"; failed=1
  elif grep -zqE "FAILED: $what" <<<"$output"; then
    echo "ok: refused: ${what%%$'\n'*}"
  else
    echo "FAILED: refused, but not for: $what"; echo "$output" | grep -v '^ok'; failed=1
  fi
}

linked
if output=$("$check" "$library" "$header"); then
  echo "ok: passes as it should be"
else
  echo "$output"; failed=1
fi
for bound in GLIBC GLIBCXX CXXABI GCC; do refused "$bound up to 1.0" MAX_$bound=1.0; done
rm "$dir/libzolthadoop.so"; refused "libzolthadoop.so stands beside it"
rm "$dir/libzolthadoop.so.1"; refused "libzolthadoop.so.1 stands beside it"

link "${right[@]}" "${taken[@]}"; refused "the exports are"
linked -Wl,-soname,libzolthadoop.so; refused "the name it is known by"
linked -Wl,--no-as-needed -lacl; refused "the libraries it needs"
link "${right[@]}" "${script[@]}" -Wl,-z,undefs; refused "the libraries it needs"
linked -static-libstdc++ -static-libgcc; refused "nothing ends the process"
linked -Wl,-rpath,/nowhere -Wl,--disable-new-dtags; refused "no RPATH"
linked -Wl,-rpath,/nowhere -Wl,--enable-new-dtags; refused "no RPATH"
linked -Wl,-z,execstack; refused "the stack is not executable"
linked -Wl,-z,norelro; refused "what the loader has relocated is read-only"
linked -Wl,-z,lazy; refused "everything is bound at load"
code 'extern "C" { int mystery(); } int call() { return mystery(); }'
linked "$dir/extra.o" -Wl,-z,undefs; refused "each open symbol[^:]*mystery"
code 'extern "C" int zolt_fcntl(); asm(".text\n.quad zolt_fcntl\n");'
linked "$dir/extra.o" -Wl,-z,notext; refused "no code is relocated"
code 'asm(".section .both,\"awx\"\n.byte 0\n");'
linked "$dir/extra.o"; refused "nothing is both writable and executable"
code '__attribute__((tls_model("initial-exec"))) thread_local int late; int& where() { return late; }'
linked "$dir/extra.o"; refused "no thread storage"
code 'void stop() { __builtin_trap(); }'
linked "$dir/extra.o"; refused "no instruction is a trap"

calls() {  # calls WHAT NAMES...: exactly these are found among the product's calls
  local what=$1 found
  shift
  code "extern \"C\" { $(printf 'extern char %s[];' "$@") } void* kept[] = {$(printf '%s,' "$@")};"
  linked "$dir/extra.o" -Wl,-z,undefs
  found=$("$check" "$library" "$header" | grep -A 9 "^FAILED: $what" | sed -n '/^> /{s/^> //p;q}')
  if [ "$found" = "$(printf '%s\n' "$@" | sort -u | paste -sd ' ')" ]; then
    echo "ok: refused: $what: $found"
  else
    echo "FAILED: $what: of $*"; echo "only: $found"; failed=1
  fi
}
calls "nothing ends the process" \
  exit _exit _Exit quick_exit abort raise kill pthread_kill pthread_exit pthread_cancel __assert_fail
calls "nothing runs when it ends, while its threads still call" on_exit __cxa_atexit
calls "no signal is touched" signal sigaction sigprocmask pthread_sigmask alarm setitimer
calls "nothing is printed" printf fprintf vprintf dprintf __printf_chk puts fputs putchar putc \
  fwrite write perror stdout stderr _ZSt4cout _ZSt4cerr
calls "no process is made" system popen fork vfork execve posix_spawn
calls "nothing that all threads share is changed" \
  setenv putenv setlocale chdir umask setuid seteuid setresgid setgroups dup2
calls "no answer lies in storage that threads share" getpwnam getgrgid getmntent strerror strtok
exit $failed
