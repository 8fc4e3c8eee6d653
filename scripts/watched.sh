#!/usr/bin/env bash
# watched.sh LOG SED COMMAND...: runs a long command, keeps what it says in LOG, and shows as they come the
# lines that SED selects; after a while without one, that it is still at work.
set -u
log=$1
select=$2
shift 2
"$@" 2>&1 | tee "$log" | sed -un "$select" | while :; do
  IFS= read -r -t "${PATIENCE:-20}" line
  case $? in
    0) printf '%s\n' "$line" ;;
    1) break ;;
    *) echo "... at work for $SECONDS s, $(wc -l <"$log") lines in $log" ;;
  esac
done
status=${PIPESTATUS[0]}
[ "$status" -eq 0 ] || echo "See $log" >&2
exit "$status"
