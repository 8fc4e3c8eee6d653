#!/usr/bin/env python3
"""`zolt ls` beside `ls -U1` on a directory of many entries: ls.py ZOLT FOLDER ENTRIES ROUNDS.

Wall time, from start to end of the process, in turns; and the memory of the process, which is to be
the same for a thousand entries. Prints a line for each goal and fails when one is missed.
"""
import os
import statistics
import subprocess
import sys
import tempfile
import time


def run(command):
    """Seconds, and the largest resident set in KiB."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(command)} ended with {process.returncode}")
    return time.monotonic() - start, usage.ru_maxrss


def same_names(ours, theirs):
    """In processes of their own: what this one has held counts as memory of those it starts."""
    script = 'cmp <("$1" ls "$2" | sort) <(ls -U1 "$2" | sort)'
    return subprocess.run(["bash", "-c", script, "-", ours[0], theirs[2]], check=False).returncode == 0


def fill(folder, entries):
    os.mkdir(folder)
    for number in range(entries):
        os.close(os.open(f"{folder}/part-{number}", os.O_CREAT | os.O_WRONLY | os.O_CLOEXEC))


def judged(what, ratio, most):
    held = ratio <= most
    print(f"  {what}: {ratio:.3f}, at most {most:.2f}: {'held' if held else 'MISSED'}")
    return held


def main(zolt, parent, entries, rounds):
    with tempfile.TemporaryDirectory(prefix="zolt-ls-", dir=parent) as folder:
        few, many = f"{folder}/few", f"{folder}/many"
        fill(few, 1000)
        fill(many, entries)
        time.sleep(3.1)  # what has just changed is read with more care
        ours, theirs = [zolt, "ls", many], ["ls", "-U1", many]
        if not same_names(ours, theirs):
            sys.exit("zolt ls and ls -U1 list different names")
        small = run([zolt, "ls", few])[1]
        times = [(run(ours), run(theirs)) for _ in range(rounds)]
    large = max(ours[1] for ours, _ in times)
    seconds = [statistics.median(way[0] for way in ways) for ways in zip(*times)]
    print(f"zolt ls of {entries} entries: {seconds[0]:.3f} s and {large} KiB; ls -U1: "
          f"{seconds[1]:.3f} s; of 1000 entries: {small} KiB")
    ratio = statistics.median(ours[0] / theirs[0] for ours, theirs in times)
    good = judged("wall time x ls -U1", ratio, 1.0)
    return judged("memory x that of 1000 entries", large / small, 1.1) and good


if __name__ == "__main__":
    sys.exit(0 if main(sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])) else 1)
