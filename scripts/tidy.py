#!/usr/bin/env python3
"""tidy.py [--all] [--list] [-j N]: compiles with clang and looks over with clang-tidy what has changed since
the branch left main, or all of it; --list only names it. A source that was found clean is not looked over
again until it, a header of it, its command or the checks change."""
import argparse
import concurrent.futures
import hashlib
import json
import os
import re
import subprocess
import sys
import time

BUILD = "build/clang"
CLEAN = BUILD + "/tidy.json"
# The client for CephFS is built where these are, and looked over there.
CEPHFS = ("/usr/include/rados/librados.h", "/usr/include/nlohmann/json.hpp")
# A change of one of these may change what is found in every source.
GENERAL = re.compile(r"^((src/(.*/)?|client/(.*/)?)?CMakeLists\.txt|CMakePresets\.json|\.clang-tidy|scripts/tidy\.py)$"
                     r"|/ZOLTNative\.java$")
INCLUDE = re.compile(rb'^\s*#\s*include\s*"([^"]+)"', re.M)


def git(*words):
    return subprocess.run(("git",) + words, capture_output=True, text=True, check=True).stdout.split("\n")[:-1]


class Sources:
    """Every C++ file with what it includes: a name in quotes is each file whose path ends with it."""

    def __init__(self):
        files = git("ls-files", "--cached", "--others", "--exclude-standard", "*.h", "*.cpp")
        self.files = [file for file in files if os.path.exists(file)]
        by_name = {}
        for file in self.files:
            by_name.setdefault(os.path.basename(file), []).append(file)
        self.includes = {}
        for file in self.files:
            with open(file, "rb") as text:
                names = [name.decode() for name in INCLUDE.findall(text.read())]
            self.includes[file] = [found for name in names for found in by_name.get(os.path.basename(name), [])
                                   if ("/" + found).endswith("/" + os.path.normpath(name).lstrip("./"))]

    def closure(self, file):
        seen, waiting = {file}, [file]
        while waiting:
            for each in self.includes[waiting.pop()]:
                if each not in seen:
                    seen.add(each)
                    waiting.append(each)
        return sorted(seen)


def changed():
    """The files that are not as on main, or None where that cannot be told or everything is."""
    for main in ("main", "origin/main"):
        try:
            base = git("merge-base", "HEAD", main)[0]
            break
        except subprocess.CalledProcessError:
            base = None
    if base is None:
        print("There is no main to compare with: everything is looked over.")
        return None
    files = git("diff", "--name-only", base) + git("ls-files", "--others", "--exclude-standard")
    return None if any(GENERAL.search(file) for file in files) else set(files)


def compile_with_clang(sources, commands, everything):
    build = ["cmake", "--build", "--preset", "clang"]
    if not everything:
        outputs = [re.search(r" -o (\S+)", commands[file]["command"]).group(1) for file in sources if file in commands]
        if not outputs:
            return
        build += ["--target"] + outputs
    if subprocess.run(build, check=False).returncode != 0:
        sys.exit(1)


def load(path, otherwise):
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file)
    except (OSError, ValueError):
        return otherwise


def compile_commands():
    cephfs = "ON" if all(map(os.path.exists, CEPHFS)) else "OFF"
    subprocess.run(["cmake", "--preset", "clang", "-DZOLT_CEPHFS=" + cephfs], stdout=subprocess.DEVNULL, check=True)
    here = os.getcwd()
    return {os.path.relpath(each["file"], here): each for each in load(BUILD + "/compile_commands.json", [])}


def digest(file, tree, command, checks):
    state = hashlib.sha256(checks + json.dumps(command, sort_keys=True).encode())
    for each in tree.closure(file):
        with open(each, "rb") as text:
            state.update(each.encode() + b"\0" + text.read())
    return state.hexdigest()


def tidy(file):
    begun = time.monotonic()
    run = subprocess.run(["clang-tidy", "--quiet", "-p", BUILD, file], capture_output=True, text=True, check=False)
    return file, run.returncode, run.stdout, run.stderr, time.monotonic() - begun


def look_over(files, tree, commands, jobs):
    clean = load(CLEAN, {})
    with open(".clang-tidy", "rb") as text:
        checks = text.read() + subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
    digests = {file: digest(file, tree, commands.get(file), checks) for file in files}
    waiting = [file for file in files if clean.get(file, {}).get("digest") != digests[file]]
    print(f"clang-tidy: {len(waiting)} sources; {len(files) - len(waiting)} are as they were when found clean",
          flush=True)
    waiting.sort(key=lambda file: -clean.get(file, {}).get("seconds", 1e9))  # the longest first
    bad = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        runs = [pool.submit(tidy, file) for file in waiting]
        for done, result in enumerate(concurrent.futures.as_completed(runs), 1):
            file, status, found, complaint, seconds = result.result()
            print(f"[{done}/{len(waiting)}] {seconds:5.1f} s  {file}", flush=True)
            if status != 0:
                bad += 1
                print(found or complaint, flush=True)
                clean.pop(file, None)
            else:
                clean[file] = {"digest": digests[file], "seconds": round(seconds, 1)}
                with open(CLEAN + ".new", "w", encoding="utf-8") as kept:
                    json.dump(clean, kept, indent=1)
                os.replace(CLEAN + ".new", CLEAN)
    return bad


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("-j", type=int, default=os.cpu_count())
    options = parser.parse_args()
    tree = Sources()
    news = None if options.all else changed()
    sources = [file for file in tree.files if file.endswith(".cpp")
               and (news is None or not news.isdisjoint(tree.closure(file)))]
    shipped = [file for file in sources if file.startswith(("src/", "client/"))]
    if options.list:
        print("\n".join(shipped))
        return
    if not sources:
        print("No source is changed (make lint ALL=1 looks over everything).")
        return
    begun = time.monotonic()
    commands = compile_commands()
    left = [file for file in shipped if file.startswith("client/cephfs/") and file not in commands]
    if left:
        print(f"{len(left)} sources are left out, which this machine does not build: {' '.join(left)}")
        shipped = [file for file in shipped if file not in left]
    compile_with_clang(sources, commands, news is None)
    bad = look_over(shipped, tree, commands, options.j)
    print(f"Looked over in {time.monotonic() - begun:.0f} s: {bad} with findings")
    sys.exit(1 if bad else 0)


main()
