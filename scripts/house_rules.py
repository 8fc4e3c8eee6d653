#!/usr/bin/env python3
"""The rules of the house that no compiler checks, for the repository in which it is called."""
import fnmatch
import pathlib
import re
import subprocess
import sys

FLOORS = "src/floors.txt"
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')
SOURCE = re.compile(r"[\w./*{}$-]+\.cpp")
ENDING = re.compile(r"\b(abort|exit|_exit|quick_exit|printf)\(")

complaints = []


def tracked(*patterns):
    files = subprocess.run(("git", "ls-files", "--cached", "--others", "--exclude-standard", *patterns),
                           capture_output=True, text=True, check=True).stdout.split("\n")
    return [pathlib.Path(file) for file in files if file and pathlib.Path(file).exists()]


def lines(file):
    return enumerate(file.read_text(encoding="utf-8").split("\n"), 1)


def read_floors():
    """Folder by folder, from the roof down, what it may include."""
    floors = {}
    for number, line in lines(pathlib.Path(FLOORS)):
        folder, *arrows = line.split("#")[0].split() or [None]
        for name in {folder, *arrows} & set(floors):
            complaints.append(f"{FLOORS}:{number}: {name} stands further up")
        if folder:
            floors[folder] = arrows
    return floors


def check_arrows():
    floors = read_floors()
    outside = {name.strip("<>") for arrows in floors.values() for name in arrows if name.startswith("<")}
    unused = {(folder, name) for folder, arrows in floors.items() for name in arrows}
    for file in tracked("src/*.h", "src/*.cpp"):
        folder = file.parts[1]
        if len(file.parts) != 3 or folder not in floors:
            complaints.append(f"{file} is in no folder of {FLOORS}")
            continue
        for number, line in lines(file):
            include = INCLUDE.match(line)
            if not include:
                continue
            name = include.group(1)
            if pathlib.Path("src", name).exists():
                target = pathlib.PurePath(name).parts[0]
            elif (file.parent / name).exists():
                target = name  # by another way than from src/
            else:
                target = next((f"<{each}>" for each in outside if fnmatch.fnmatch(name, each)), folder)
            unused.discard((folder, target))
            if target != folder and target not in floors[folder]:
                complaints.append(f"{file}:{number}: {folder} may not include {name} ({FLOORS})")
    complaints.extend(f"{FLOORS}: {folder} does not include {name}" for folder, name in sorted(unused))


def check_build_files():
    built = set()
    for file in tracked("CMakeLists.txt", "*/CMakeLists.txt"):
        for name in SOURCE.findall(file.read_text(encoding="utf-8")):
            name = name.replace("${CMAKE_CURRENT_SOURCE_DIR}/", "").replace("${PROJECT_SOURCE_DIR}/", "")
            built.update(found.resolve() for found in file.parent.glob(name))
    complaints.extend(f"{file} is in no CMakeLists.txt" for file in tracked("*.cpp") if file.resolve() not in built)


def check_endings():
    for file in tracked("src/*.h", "src/*.cpp"):
        for number, line in lines(file):
            if ENDING.search(line):
                complaints.append(f"{file}:{number}: the library may not end the process or print: {line.strip()}")


check_arrows()
check_build_files()
check_endings()
print("".join(complaint + "\n" for complaint in complaints), end="", file=sys.stderr)
sys.exit(1 if complaints else 0)
