#!/usr/bin/python3
"""listing.py ZOLT MOUNT [NAMES ROUNDS]: a second mount creates, renames and deletes while the first lists: no name that was there
all the time is missing, none is there twice. Within scripts/cephfs.sh."""
import collections
import os
import random
import subprocess
import sys
import threading
import time

from checks import mount

ZOLT, MOUNT = sys.argv[1:3]
STAY, ROUNDS = map(int, sys.argv[3:] or (5000, 20))
SEED = 1
other = mount("other")
folder = os.path.join(MOUNT, "changing")
os.mkdir(folder)
stay = {"stay-%06d" % i for i in range(STAY)}
for name in stay:
    open(os.path.join(folder, name), "w").close()
over, changes = threading.Event(), 0


def change():
    global changes
    there, choice = os.path.join(other, "changing"), random.Random(SEED)
    names, count = [], 0
    while not over.is_set():
        count += 1
        what = choice.random()
        if what < 0.4 or not names:
            names.append("come-%06d" % count)
            open(os.path.join(there, names[-1]), "w").close()
        else:
            at = choice.randrange(len(names))
            if what < 0.7:
                new = "went-%06d" % count
                os.rename(os.path.join(there, names[at]), os.path.join(there, new))
                names[at] = new
            else:
                os.unlink(os.path.join(there, names.pop(at)))
        changes += 1


failed, seconds = False, []
thread = threading.Thread(target=change)
thread.start()
try:
    for _ in range(ROUNDS):
        began = time.time()
        shown = subprocess.run([ZOLT, "ls", folder], check=True, capture_output=True, text=True).stdout.split("\n")[:-1]
        seconds.append(time.time() - began)
        names = collections.Counter(line.split()[-1] for line in shown)
        lost, doubled = stay - set(names), [name for name, count in names.items() if count > 1]
        if lost or doubled:
            failed = True
            print("FAILED: lost %r, twice %r" % (sorted(lost)[:5], doubled[:5]))
finally:
    over.set()
    thread.join()
    subprocess.run(["umount", other], check=False)
print("listing: %d times %d names that stay, each %.1f to %.1f s, while a second mount made %d changes"
      % (ROUNDS, STAY, min(seconds), max(seconds), changes))
sys.exit(1 if failed or changes < ROUNDS else 0)
