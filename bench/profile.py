#!/usr/bin/env python3
"""Where the CPU time of each way goes: profile.py TURNS SAMPLES RATE >TABLE.

TURNS says which way ran when; SAMPLES are what `perf script -F tid,time,ip,dso` prints of the same
time, taken RATE times in a second of CPU time. A sample counts for the way that ran then on the thread with the most samples, which is the one
that measures. The table has nanoseconds a unit: in all, in the kernel, in the virtual machine, in the
native code of the library or the floor with the C library.
"""
import bisect
import collections
import csv
import re
import sys

PARTS = ("kernel", "JVM", "Java", "native")
SAMPLE = re.compile(r"\s*(\d+)\s+(\d+)\.(\d+):\s+[0-9a-f]+\s+\((.*)\)")


def part(dso):
    if dso.startswith("[") and "kernel" in dso or dso.startswith("[guest"):
        return "kernel"
    if "libjvm" in dso:
        return "JVM"
    if dso.endswith((".so", ".6", ".0", ".1")) and "perf-" not in dso:
        return "native"
    return "Java"


def samples(file):
    """Thread, nanoseconds and part of each sample."""
    for line in file:
        found = SAMPLE.match(line)
        if found:
            thread, seconds, fraction, dso = found.groups()
            yield int(thread), int(seconds) * 10**9 + int(fraction.ljust(9, "0")), part(dso)


def main(turns_file, samples_file, rate):
    with open(turns_file, encoding="utf-8") as file:
        turns = sorted(csv.DictReader(file, delimiter="\t"), key=lambda turn: int(turn["from"]))
    starts = [int(turn["from"]) for turn in turns]
    with open(samples_file, encoding="utf-8", errors="replace") as file:
        found = list(samples(file))
    thread = collections.Counter(sample[0] for sample in found).most_common(1)[0][0]
    counts = [collections.Counter() for _ in turns]
    for sample_thread, time, where in found:
        at = bisect.bisect_right(starts, time) - 1
        if sample_thread == thread and at >= 0 and time < int(turns[at]["to"]):
            counts[at][where] += 1
    print("\t".join(("case", "where", "size", "way", "ns", *PARTS, "samples")))
    for turn, count in zip(turns, counts):
        total = sum(count.values())
        each = 1e9 / rate / int(turn["units"])
        shares = [f"{each * number:.1f}"
                  for number in (total, *(count[kind] for kind in PARTS))]
        print("\t".join((turn["case"], turn["where"], turn["size"], turn["way"], *shares,
                         str(total))))


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], int(sys.argv[3]))
