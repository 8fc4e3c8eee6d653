"""What the tests on a cluster have in common: what was expected, what is waited for, files to ask about. Within
scripts/cephfs.sh."""
import ctypes
import errno
import os
import sys
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
