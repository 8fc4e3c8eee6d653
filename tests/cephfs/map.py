#!/usr/bin/python3
"""map.py LIBRARY: the location map of files of many layouts is what the monitors say of each object; what
replication is, and when it may be set; what happens while OSDs or the monitor are away. Within scripts/cephfs.sh."""
import os
import random
import signal
import subprocess
import sys
import threading
import time

import checks
from checks import MOUNT, STATE, as_user, expect, make, refusal, said, wait
from client import MIB, Client, Cluster

LIBRARY = sys.argv[1]
os.environ.update(ZOLT_CEPHFS_TIMEOUT="2", ZOLT_CEPHFS_FRESH="200", ZOLT_CEPHFS_LOG=checks.LOG)
client, cluster = Client(LIBRARY), Cluster()


def padded(osds, copies):
    return osds + [-1] * (copies - len(osds))


def compare(path, blocks=None):
    """Each block, or as many as are given, with the monitors' answer."""
    nodes = client.map(path)
    unit = client.locations(path)[1]
    expect(path + ": blocks", len(nodes), -(-os.stat(path).st_size // unit))
    for block in blocks(nodes) if blocks else range(len(nodes)):
        copies = len(nodes[block])
        expect("%s: block %d" % (path, block), nodes[block], padded(cluster.osds_of(path, block), copies))
    return len(nodes)


def layouts():
    checks.add_pool(cluster, "two", 2, 12)
    checks.add_pool(cluster, "one", 1, 7)
    compared = 0
    for pool in ("data", "two", "one"):
        for unit, count, size in ((4 * MIB, 1, 4 * MIB), (65536, 1, 65536), (65536, 3, 262144), (MIB, 2, 4 * MIB), (131072, 5, MIB)):
            path = make("f-%s-%d-%d-%d" % (pool, unit, count, size), 37 * unit + 1, pool=pool, stripe_unit=unit,
                        stripe_count=count, object_size=size)
            compared += compare(path)
            expect(path + ": block size", client.stat(path)["block"], unit)
    compared += compare(make("named", 20 * MIB, pool_namespace="tenant", stripe_unit=MIB, object_size=MIB))
    # Holes count, and what lies behind 8064 words comes with the next request.
    large = make("large", 10000 * 65536, stripe_unit=65536, object_size=65536)
    chosen = random.Random(1).sample(range(10000), 1000)
    compared += compare(large, lambda nodes: chosen) and len(chosen)
    # Steps of the caller's own: the object at the start of each.
    whole = client.map(large)
    expect("steps of 1 MiB", client.map(large, MIB), whole[::16])
    expect("steps of 100000 bytes", client.map(large, 100000), [whole[at // 65536] for at in range(0, 10000 * 65536, 100000)])
    expect("an empty file", client.locations(make("empty", 0))[2], [])
    expect("a range past the end", client.locations(large, 1 << 40)[2], [])
    print("map: %d blocks are where the monitors say" % compared)


def hosts():
    said = checks.hosts()
    expect("each OSD's host", sorted(said.split(",")), ["0=node0", "1=node1", "2=node2"])
    print("hosts: %s" % said)


def replication():
    for pool, copies in (("data", 3), ("two", 2), ("one", 1)):
        path = make("r-" + pool, 1, pool=pool)
        expect(pool, (client.stat(path)["copies"], client.copies(path)), (copies, copies))
    path = make("chosen", 0)
    for copies in (2, 1, 3):
        client.set_copies(path, copies)
        expect("%d copies" % copies, client.copies(path), copies)
    expect("no pool of 7", refusal(lambda: client.set_copies(path, 7)), "EOPNOTSUPP")
    expect("no pool of 7, again", refusal(lambda: client.set_copies(path, 7)), "EOPNOTSUPP")
    expect("the reason, once", open(checks.LOG).read().count("7 copies: no data pool"), 1)
    with open(path, "w") as out:
        out.write("data")
    expect("the same number", refusal(lambda: client.set_copies(path, 3)), None)
    expect("with data", refusal(lambda: client.set_copies(path, 2)), "EOPNOTSUPP")
    os.truncate(path, 0)
    expect("emptied", refusal(lambda: client.set_copies(path, 2)), "EOPNOTSUPP")
    expect("restripe", refusal(lambda: client.restripe(path)), None)
    expect("the reason", said("data stays in its pool, data") and said("keeps so many"), True)
    os.chmod(make("closed", 0), 0o444)
    pid = os.fork()
    if pid == 0:
        os.setgroups([])
        os.setgid(65534)
        os.setuid(65534)
        # A child of a process with threads of librados: the interface without the monitors.
        os._exit(0 if refusal(lambda: client.set_copies(MOUNT + "/closed", 3)) == "EACCES" else 1)
    expect("without the right to write", os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), 0)
    tenfold = make("tenfold", 0)
    os.chmod(tenfold, 0o666)
    expect("for a user, where no pool has 10", as_user(65534, lambda: refusal(lambda: client.set_copies(tenfold, 10))), "EOPNOTSUPP")
    expect("the reason, in the service's own file", said("10 copies: no data pool"), True)
    expect("outside CephFS", refusal(lambda: client.locations("/etc/hostname")), "EOPNOTSUPP")
    print("replication: by pool")


def an_osd_goes():
    path = make("during", 200 * 65536, stripe_unit=65536, object_size=65536)
    compare(path)
    pid = int(open(STATE + "/osd.2.pid").read())
    os.kill(pid, signal.SIGKILL)
    cluster.ask("osd down", ids=["2"])
    wait("a map without OSD 2", lambda: all(2 not in nodes for nodes in client.map(path)))
    compare(path)
    expect("a missing copy is no node", all(-1 in nodes for nodes in client.map(path)), True)
    expect("the number of copies stays", client.copies(path), 3)
    # What was in its memory is gone with it: it comes back empty.
    subprocess.run(["rm", "-rf", STATE + "/osd.2"], check=True)
    os.mkdir(STATE + "/osd.2")
    uuid = next(osd["uuid"] for osd in cluster.ask("osd dump")["osds"] if osd["osd"] == 2)
    for more in (["--mkfs", "--osd-uuid", uuid], []):
        subprocess.run(["ceph-osd", "-i", "2"] + more, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait("a map with OSD 2", lambda: all(sorted(nodes) == [0, 1, 2] for nodes in client.map(path)))
    compare(path)
    print("an OSD: gone from the map, and back")


def the_monitor_goes():
    path = os.path.join(MOUNT, "during")
    cluster.ask("osd pool create", pool="late", pg_num=8)
    cluster.ask("fs add_data_pool", fs_name="fs", pool="late")
    wait("the pool in the mount", lambda: refusal(lambda: make("fresh", 0, pool="late")) is None)
    fresh = make("fresh", 65536)
    known = client.map(path)
    pid = int(open(STATE + "/mon.a.pid").read())
    os.kill(pid, signal.SIGSTOP)
    try:
        time.sleep(0.3)  # the map is no longer fresh
        began = time.time()
        expect("what was known", client.map(path), known)
        first = time.time() - began
        expect("how long the first call waits, at most 2.5 s: %.1f s" % first, first < 2.5, True)
        began = time.time()
        for _ in range(100):
            client.map(path)
        expect("and the next 100, at most 1 s", time.time() - began < 1, True)
        expect("what was never known", refusal(lambda: client.map(fresh)), "ETIMEDOUT")
        expect("a status all the same", client.stat(path)["copies"], 3)
        expect("the log says it", said("the monitors are away"), True)
    finally:
        os.kill(pid, signal.SIGCONT)
    wait("answers again", lambda: refusal(lambda: client.map(fresh)) is None)
    compare(fresh)
    expect("the log says that too", said("the monitors answer again"), True)
    print("the monitor: the first call waited %.1f s, the others not; all is known again" % first)


def threads():
    """How long the map of 1,000 objects takes, with one thread and with two."""
    path = make("thousand", 1000 * 65536, stripe_unit=65536, object_size=65536)
    client.map(path)
    for count in (1, 2):
        rounds, best = 200, 1e9
        for _ in range(3):
            workers = [threading.Thread(target=lambda: [client.locations(path) for _ in range(rounds)]) for _ in range(count)]
            began = time.time()
            for each in workers:
                each.start()
            for each in workers:
                each.join()
            best = min(best, (time.time() - began) / rounds / count)
        print("map of 1,000 objects, %d thread%s: %.0f us each" % (count, "s" if count > 1 else "", best * 1e6))


for part in (layouts, hosts, replication, an_osd_goes, the_monitor_goes, threads):
    began = time.time()
    part()
    print("  %.1f s" % (time.time() - began), flush=True)
sys.exit(1 if checks.failed else 0)
