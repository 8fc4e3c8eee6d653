#!/usr/bin/python3
"""hdfs.py BUILD: the HDFS service on two mounts of the cluster. Hadoop's contract suites pass on one; each mount has a
NameNode and a DataNode, of which NameNodes are killed at work, and then a mount. 'hdfs.py kill' is that death. Within
scripts/cephfs.sh."""
import os
import re
import signal
import subprocess
import sys

import checks
from checks import MOUNT, STATE
from client import Cluster

HERE = os.path.dirname(os.path.abspath(__file__))
# The last one kills the second mount.
SUITES = (r".*namenode[.]suites[.]ContractSuites.*", r".*[.]MountsTest")
LAYOUT = "stripe_unit=65536 stripe_count=1 object_size=65536 pool=%s"


def kill():
    """The mount ends, and its session with it, as an operator ends it: what it held would be held for a minute."""
    os.kill(int(open(STATE + "/other.pid").read()), signal.SIGKILL)
    checks.shut_out(STATE + "/other")


def main(build):
    other, folder = checks.mount("other"), MOUNT + "/hdfs"
    checks.add_pool(Cluster(), "one", 1, 7)
    for path, pool in ((folder, "data"), (folder + "/single", "one")):
        os.mkdir(path)
        os.setxattr(path, "ceph.dir.layout", (LAYOUT % pool).encode())
    environment = dict(os.environ, FOLDER=folder, OTHER=other + "/hdfs", NODES=checks.hosts(),
                       KILL_MOUNT="%s %s/hdfs.py kill" % (sys.executable, HERE))
    status = 0
    for pattern in SUITES:
        status |= subprocess.run([HERE + "/../../hdfs/test.sh", build, pattern], env=environment).returncode
        for line in open(build + "/hdfs/test.log", errors="replace"):
            if re.match(r"(\d+ NameNodes and a mount killed|a writer was told): ", line):
                print(line, end="")
    return status


sys.exit(kill() if sys.argv[1] == "kill" else main(sys.argv[1]))
