"""What the tests on a cluster have in common: what was expected, what is waited for, files to ask about. Within
scripts/cephfs.sh."""
import ctypes
import errno
import json
import os
import re
import subprocess
import sys
import textwrap
import time

MOUNT, STATE = os.environ["MOUNT"], os.environ["STATE"]
LOG = STATE + "/client.log"  # the client's, which a test names to it
WAIT_S = 60
failed = 0


def expect(what, found, wanted):
    global failed
    if found != wanted:
        failed += 1
        print("FAILED: %s: %r, not %r" % (what, found, wanted))


def refusal(of):
    try:
        of()
    except OSError as e:
        return "EOPNOTSUPP" if e.errno == errno.EOPNOTSUPP else errno.errorcode[e.errno]
    return None


def as_user(uid, act):
    """With the rights that a thread of the service has while it acts for a user."""
    libc = ctypes.CDLL(None)
    libc.setfsgid(uid)
    libc.setfsuid(uid)
    try:
        return act()
    finally:
        expect("whose rights the thread has", libc.setfsuid(0), uid)
        libc.setfsgid(0)


def wait(what, holds):
    end = time.time() + WAIT_S
    while not holds():
        if time.time() > end:
            sys.exit("FAILED: not within %d s: %s" % (WAIT_S, what))
        time.sleep(0.1)


def said(words):
    try:
        return words in open(LOG).read()
    except FileNotFoundError:
        return False


def make(name, size, **layout):
    path = os.path.join(MOUNT, name)
    open(path, "w").close()
    for key, value in layout.items():
        os.setxattr(path, "ceph.file.layout." + key, str(value).encode())
    os.truncate(path, size)
    return path


def mount(name):
    """Another mount of the same file system, which ends with the cluster."""
    folder = os.path.join(STATE, name)
    os.mkdir(folder)
    subprocess.run(["ceph-fuse", "-n", "client.admin", "--pid-file", folder + ".pid", folder], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return folder


def shut_out(folder):
    """The cluster ends the sessions of a mount."""
    tell = ["ceph", "tell", "mds.0", "session"]
    sessions = json.loads(subprocess.run(tell + ["ls"], check=True, capture_output=True).stdout)
    for each in sessions:
        if each["client_metadata"].get("mount_point") == folder:
            subprocess.run(tell + ["evict", "id=%d" % each["id"]], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def add_pool(cluster, name, copies, groups):
    cluster.ask("osd pool create", pool=name, pg_num=groups)
    sure = {"yes_i_really_mean_it": True} if copies == 1 else {}
    cluster.ask("osd pool set", pool=name, var="size", val=str(copies), **sure)
    cluster.ask("fs add_data_pool", fs_name="fs", pool=name)
    wait("the pool in the mount", lambda: refusal(lambda: make("probe-" + name, 0, pool=name)) is None)


def hosts():
    """The table of nodes and their hosts, by the command that the document gives."""
    document = open(os.path.join(os.path.dirname(__file__), "../../docs/cephfs.md")).read()
    command = re.search(r"^    ceph osd tree.*?(?=\n\n)", document, re.M | re.S).group(0)
    return subprocess.run(["bash", "-c", textwrap.dedent(command)], check=True, capture_output=True, text=True).stdout.strip()
