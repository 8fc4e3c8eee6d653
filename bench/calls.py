#!/usr/bin/env python3
"""Compares the system calls of each case's floor with the library's: calls.py BUILD FOLDER

Traces the quick run of the benchmark with strace and prints each case whose ways differ. Names of calls,
their strings and their errors are compared; descriptors, addresses and binary contents are not.
"""
import os
import pathlib
import re
import subprocess
import sys

# What the virtual machine and the allocator do when they like.
NOISE = {"brk", "futex", "gettid", "madvise", "mmap", "mprotect", "munmap", "rt_sigprocmask",
         "sched_yield"}
# A full buffer puts the stream back, which its floor never does; and under a trace a listing with
# statuses lasts until the client begins to remember the files.
LEFT_OUT = re.compile(r"listing, (4|64) KiB 1000 |listing and fast status 1000 ")


def shape(line):
    """The call without what differs from one run to the next; None for noise."""
    match = re.match(r"(\w+)\((.*)\) += (-1 \w+)?", line)
    if match is None or match[1] in NOISE:
        return None
    name, arguments, error = match.groups()
    return " ".join([name, *re.findall(r'"[^"\\]*"|O_\w+|XATTR_\w+', arguments), error or ""])


def cases(trace):
    """Of each case the calls of its two ways, in the order of the trace."""
    found, calls = {}, None
    for line in trace:
        mark = re.match(r'access\("(begin (\w+) of (.*)|end)"', line)
        if mark is None:
            if calls is not None and (one := shape(line)) is not None:
                calls.append(one)
        elif mark[1] == "end":
            calls = None
        else:
            calls = found.setdefault(mark[3], {}).setdefault(mark[2], [])
    return found


def first_difference(one, other):
    at = 0
    while one[at:at + 1] == other[at:at + 1] != []:
        at += 1
    return at


def main(build, folder):
    root = pathlib.Path(__file__).resolve().parent
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.glob("trace*"):
        old.unlink()
    subprocess.run(["strace", "-ff", "-s", "256", "-o", folder / "trace", root / "run.sh", pathlib.Path(build).resolve(),
                    folder, "0", "quick"],
                   env=os.environ | {"MARKED": "true"}, stdout=subprocess.DEVNULL, check=True)
    found = {}
    for trace in folder.glob("trace.*"):
        with trace.open(errors="replace") as lines:
            found.update(cases(lines))
    both = {name: ways for name, ways in found.items()
            if len(ways) == 2 and not LEFT_OUT.match(name)}
    different = 0
    for name, ways in both.items():
        if ways["floor"] != ways["library"]:
            different += 1
            at = first_difference(*ways.values())
            print(f"{name}: from call {at} on")
            for way, calls in ways.items():
                print(f"  {way}: " + "; ".join(calls[at:at + 4] or ["no more"]))
    print(f"{len(both)} cases, {different} with other system calls than their floors")
    return different > 0 or not both


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:3]))
