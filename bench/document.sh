#!/usr/bin/env bash
# Writes docs/performance.md from the tables of the last run: document.sh FOLDER >docs/performance.md
set -eu
folder=$1
goals=$folder/goals.tsv times=$folder/times.tsv

rows() { tail -n +2 "$1"; }
count() { rows "$goals" | awk -F '\t' -v verdict="$1" '$9 == verdict' | wc -l; }

cat <<END
# Performance

What each native costs beside the least that it could cost, and beside what a Java program would use
instead. \`make bench\` measures and prints; \`make bench DOCUMENT=1\` also writes this page, from its
tables in \`build/bench/\`.

## What to do with it

1. Ask for the fast status (1.3 µs here) unless block size, replication or lease are needed: the full one
   (8 to 11 µs) opens the file and reads its attributes.
2. Keep one \`FileStatus\` and one listing buffer a thread: 64 KiB costs a listing some 5 %, 256 KiB and more
   nothing that counts, 4 KiB three to six times as much.
3. Reckon with 0.3 µs for an entry of a listing, 1.7 µs with its status: a million entries are about 0.3 s or 1.7 s.
4. Put a caching daemon (sssd, nscd) before a network directory of users: each switch of identity asks it twice.
5. Ask for many blocks of a file at once (0.06 µs each among a hundred, 4.4 µs alone), a huge file in ranges of some
   ten thousand.
6. Log at WARN: a site that is off costs a compare, and TRACE costs system calls on each refusal.
7. \`zolt ls DIR\` streams; sorting (-t, -S, -r) reads the whole directory first, -l asks for each entry's status.
8. Expect nothing of more threads than processors, and much of the file system: nearly all of a call is the kernel's.
9. Compare with your own machine: \`make bench ONLY='full status'\` takes half a minute, \`make bench\` some minutes.
10. On a ZOLT file system the times are its client's; what stays is what the library adds: the column "x" below.

## How it is measured

- **One virtual machine, in turns.** The ways of doing one thing take turns on the same files, A B C A B
  C ..., each for about a millisecond. What is judged is the median over all rounds of the ratio of two
  ways in the same round, so that what slows the machine down slows both.
- **CPU time of the calling thread**, with the wall clock beside it.
- **The floor** is a native of the benchmark that makes the same system calls and the same JNI calls as
  the library's, in the same order, and nothing else: it checks nothing, logs nothing, guards nothing.
  \`make bench-calls\` compares the system calls of both by strace. Its second form, in C++ alone, shows
  what the JNI calls cost. The calls of the file system's client are in the floor too. The floor of a
  listing goes on where it stopped and never reads twice.
- **Every native has a case** on what is there and one on its error path; a test compares the list with
  the methods that Java declares. Those without a goal stand among the times only, with what they are of
  the floor. What takes something away is measured with what puts it there.
- **Java's way** is what the class library offers for the same answer. Names of a listing are compared
  in the form that each way has them: bytes here, strings there. What is judged is the native, as
  everywhere; "library, records read" shows it together with a loop over its records in Java. Hadoop's RawLocalFileSystem stands
  beside the library where Maven can get it; owner and mode of a file, and a change of the mode, cost it
  a process.
- **No round counts before all is compiled**: the virtual machine compiles in the foreground, and rounds
  go uncounted until ten in a row have compiled nothing.
- **The memory of a listing** is what the C library's allocator has given out between two pages of it,
  and the most that the process has resident while it lasts.
- The answers of all ways are compared before anything is timed; a test of the suite does that too.
- Files are a few seconds old, as most of a NameNode's are: of a file that has just changed the embedded
  client lists the attributes again (see \`client/local/marks.h\`), which about doubles a status.
- **Listing buffers**: a full buffer puts the stream back to the entry that did not fit, always, and what
  the C library had read ahead (32 KiB) is read again. The floor does not do that. Processor time of
  100,000 entries beside a plain loop of readdir, medians of nine: 4 KiB 5.5 (ext4) and 3.0 (tmpfs) times,
  32 KiB 1.41 and 1.17, 64 KiB 1.06 and 1.05, 256 KiB 1.06 and 1.01, 1 MiB 1.03 and 1.01. So goals
  begin at 256 KiB.

Instruction counts are the guard that does not depend on the machine: \`make bench-count\` runs the hot
paths of the core under callgrind and compares with [\`bench/counts.tsv\`](../bench/counts.tsv). There,
ten more log sites that are off cost what ten more compares cost.

## This run

$(nproc) processors ($(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -1)), Linux $(uname -r | cut -d- -f1),
$(java -version 2>&1 | sed -n '1s/"//gp'); load average $(cut -d' ' -f1 /proc/loadavg) at its end.
**$(count held) goals held, $(count MISSED) missed.**

Where a goal against Java is missed and the one against the floor is held, the floor itself is above
it: the column of the quartiles shows how far.

$(sed 's/^/- Left out: /' "$folder/left-out.txt")

## Goals

| Case | On | Size | Way | x | of | Quartiles, and the floor's own | At most | |
|---|---|--:|---|--:|---|---|--:|---|
$(rows "$goals" | grep -v '^threads' | awk -F '\t' '{
  size = $3 == 0 ? "" : $3
  printf "| %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", $1, $2, size, $4, $6, $5, $7, $8,
    $9 == "held" ? "held" : "**missed**"}')

$(if [ -f "$folder/ls.txt" ]; then
  printf '\n## The command\n\n'
  printf '`make bench-ls`: the whole process, from its start to its end, the virtual machine included.\n\n'
  sed 's/^/    /' "$folder/ls.txt"
fi)

$(if [ -f "$folder/profile/profile.tsv" ]; then
  cat <<TEXT

## Where the time goes

What is missed above, way by way: nanoseconds of CPU time a unit, in all and in the kernel, the virtual
machine's own code, Java code, and native code with the C library (\`make bench-profile\`, which
samples; a run of its own). A native cannot cost less than the kernel's part of its floor.

| Case | On | Size | Way | CPU | Kernel | JVM | Java | Native |
|---|---|--:|---|--:|--:|--:|--:|--:|
TEXT
  awk -F '\t' 'NR == FNR { if ($9 == "MISSED") missed[$1, $2, $3] = 1; next }
    ($1, $2, $3) in missed {
      printf "| %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", $1, $2, $3 == 0 ? "" : $3, $4, $5,
        $6, $7, $8, $9 }' "$goals" "$folder/profile/profile.tsv"
fi)

## Threads

How many times the work of one thread several do, each on files of its own.

| Case | On | Threads | Floor | Library | At least | |
|---|---|--:|--:|--:|--:|---|
$(rows "$goals" | grep '^threads' | awk -F '\t' '{
  sub("threads: ", "", $1); sub("floor ", "", $7)
  printf "| %s | %s | %s | %s | %s | %s | %s |\n", $1, $2, $3, $7, $6, $8, $9}')

What is judged on two threads is what nine of ten rounds do not pass: a processor that was busy with
something else, or lent to another virtual machine, can only lower what two threads do, while a lock or
memory that is shared would lower every round. In brackets, the floor's lower quartile and median.
Where the floor does 1.9 times the work of one thread, the library is held to 1.9, or to 0.98 of the
floor where that is less. Where the floor does not, nothing is judged: there the kernel, or the machine,
does no more.

$(sed -n '/^## The portable library$/,/^## Times$/{/^## Times$/!p}' "$(dirname "$0")/../docs/performance.md")

## Times

Nanoseconds a call; for listings, counts, blocks and attributes nanoseconds an entry.

| Case | On | Size | Way | CPU | Wall | x floor | Rounds |
|---|---|--:|---|--:|--:|--:|--:|
$(rows "$times" | awk -F '\t' '{
  size = $3 == 0 ? "" : $3
  printf "| %s | %s | %s | %s | %s | %s | %s | %s |\n", $1, $2, size, $4, $5, $6, $7, $8}')
END
