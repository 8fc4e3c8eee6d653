#!/usr/bin/env python3
"""Reads what gcov counted in a build folder and judges it.

  report.py SOURCE_FOLDER BUILD_FOLDER

Prints line and branch coverage of each file of src/, and every line that never ran. Fails where such
a line is not explained in unreached.txt, and where unreached.txt explains a line that is not there or
did run.

unreached.txt has paragraphs: a reason, in lines that begin with "# ", then the lines that it is the
reason for, as "file: code".
"""
import collections
import json
import pathlib
import subprocess
import sys

source, build = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
explanations = pathlib.Path(__file__).with_name("unreached.txt")


def counted():
    # Branches that only an exception out of a call takes are the compiler's, not ours.
    report = subprocess.run(
        ["gcovr", "--root", source, "--filter", f"{source}/src/", "--exclude-throw-branches",
         "--exclude-unreachable-branches", "--json", "-", build],
        check=True, stdout=subprocess.PIPE).stdout
    return json.loads(report)["files"]


def explained():
    found = collections.Counter()
    reason = ""
    for line in explanations.read_text().splitlines():
        if line.startswith("# "):
            reason = line
        elif not line:
            reason = ""
        elif not reason:
            sys.exit(f"unreached.txt gives no reason for: {line}")
        else:
            file, code = line.split(": ", 1)
            found[file, code] += 1
    return found


def share(part, whole):
    return f"{part:5d} of {whole:5d} {100 * part / whole if whole else 100:6.1f} %"


lines, lines_run, branches, branches_taken = 0, 0, 0, 0
unreached = collections.Counter()
shown = []
print(f"{'':34}{'lines':>22}{'branches':>26}")
for file in counted():
    text = (source / file["file"]).read_text().splitlines()
    rows = [row for row in file["lines"] if not row.get("gcovr/noncode")]
    ways = [way for row in rows for way in row["branches"] if not way.get("gcovr/noncode")]
    run = sum(row["count"] > 0 for row in rows)
    taken = sum(way["count"] > 0 for way in ways)
    print(f"{file['file']:34}{share(run, len(rows))}    {share(taken, len(ways))}")
    lines, lines_run = lines + len(rows), lines_run + run
    branches, branches_taken = branches + len(ways), branches_taken + taken
    for row in rows:
        if row["count"] == 0:
            code = text[row["line_number"] - 1].strip()
            unreached[file["file"], code] += 1
            shown.append((file["file"], row["line_number"], code))
print(f"{'all of src/':34}{share(lines_run, lines)}    {share(branches_taken, branches)}\n")

known = explained()
print(f"{len(shown)} lines never ran:")
left = known.copy()
for file, number, code in shown:
    mark = "explained" if left[file, code] > 0 else "NOT EXPLAINED"
    left[file, code] -= 1
    print(f"  {file}:{number}: {code}  [{mark}]")
stale = known - unreached
for (file, code), _ in stale.items():
    print(f"  unreached.txt explains what runs, or is not there: {file}: {code}")
sys.exit(1 if stale or unreached - known else 0)
