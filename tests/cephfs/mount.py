#!/usr/bin/python3
"""mount.py LIBRARY: calls go on while a second metadata server takes over from one that was killed; a mount that the
cluster has shut out fails at once and plainly, and the same process works with the next. Within scripts/cephfs.sh."""
import json
import os
import signal
import subprocess
import sys
import threading
import time

import checks
from checks import MOUNT, STATE, expect, make, refusal, wait
from client import Client, Cluster

os.environ.update(ZOLT_CEPHFS_TIMEOUT="2", ZOLT_CEPHFS_FRESH="200", ZOLT_CEPHFS_LOG=checks.LOG)
client, cluster = Client(sys.argv[1]), Cluster()
QUIET = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
LIMIT_S = 30


def states():
    return json.dumps(cluster.ask("mds stat"))


def timed(of):
    began = time.time()
    return of(), time.time() - began


def the_metadata_server_fails_over():
    path = make("kept", 40 * 65536, stripe_unit=65536, object_size=65536)
    known = client.map(path)
    subprocess.run(["ceph-mds", "-i", "b"], check=True, **QUIET)
    wait("a second metadata server", lambda: "up:standby" in states())
    answers, over = [], threading.Event()

    def ask():
        while not over.is_set():
            answers.append((refusal(lambda: client.stat(path)), client.map(path) == known))

    asking = threading.Thread(target=ask)
    asking.start()
    os.kill(int(open(STATE + "/mds.a.pid").read()), signal.SIGKILL)
    cluster.ask("mds fail", role_or_gid="a")
    wait("the second metadata server at work", lambda: "up:active" in states())
    path_of_after, seconds = timed(lambda: make("after", 65536))
    over.set()
    asking.join()
    expect("answers meanwhile", set(answers), {(None, True)})
    expect("the map of a file from before", client.map(path), known)
    expect("and of one from after", len(client.map(path_of_after)), 1)
    print("the metadata server: another took over; %d answers, all right; the next change took %.1f s" % (len(answers), seconds))


def the_mount_is_shut_out():
    path = os.path.join(MOUNT, "kept")
    known = client.map(path)
    checks.shut_out(MOUNT)
    outcome = []
    asking = threading.Thread(target=lambda: outcome.append(timed(lambda: refusal(lambda: client.stat(path + "-other")))), daemon=True)
    asking.start()
    asking.join(LIMIT_S)
    expect("an answer within %d s" % LIMIT_S, len(outcome), 1)
    error, seconds = outcome[0]
    expect("an error that is the mount's own, not %r" % error, error in ("ESHUTDOWN", "ENOTCONN", "EIO", "EPERM", "EROFS"), True)
    subprocess.run(["umount", "-l", MOUNT], check=True, **QUIET)
    subprocess.run(["ceph-fuse", "-n", "client.admin", "--pid-file", STATE + "/again.pid", MOUNT], check=True, **QUIET)
    expect("the map by the next mount", client.map(path), known)
    print("the mount: shut out, %s after %.1f s; the next one works in the same process" % (error, seconds))


for part in (the_metadata_server_fails_over, the_mount_is_shut_out):
    part()
    sys.stdout.flush()
sys.exit(1 if checks.failed else 0)
