#!/usr/bin/python3
"""natives.py BUILD: the natives' suites on the mount, with the client for CephFS and with the embedded one. Every case
passes, or stands in differs.txt and fails. Within scripts/cephfs.sh."""
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ET

MOUNT, STATE = os.environ["MOUNT"], os.environ["STATE"]
HERE = os.path.dirname(os.path.abspath(__file__))
BUILD = os.path.abspath(sys.argv[1])
LIMIT_S = 600
SUITE = ["--select-package=zolt.test", "--select-package=zolt.fs", "--exclude-tag=hostile",
         "--exclude-classname=.*[.]WalkTest"]


def listed(client):
    """The cases that fail there; a line is: which clients, class, case, why."""
    with open(HERE + "/differs.txt") as lines:
        all_of_them = [line.split(None, 3) for line in lines if line.strip() and not line.startswith("#")]
    return {" ".join(line[1:3]) for line in all_of_them if line[0] in (client, "both")}


def started(client, folders):
    folder = os.path.join(MOUNT, client)
    os.mkdir(folder)
    os.chmod(folder, 0o1777)
    # The smallest blocks that there are: large files of the tests have some thousand.
    os.setxattr(folder, "ceph.dir.layout", b"stripe_unit=65536 stripe_count=1 object_size=65536 pool=data")
    with open(BUILD + "/tests/jvm/environment") as lines:
        environment = dict(os.environ, **dict(line.rstrip("\n").split("=", 1) for line in lines if line.strip()))
    environment["LD_LIBRARY_PATH"] = os.pathsep.join(folders + [environment["LD_LIBRARY_PATH"]])
    # What counts allocations leaves itself out where lines are logged: each would be thousands of requests.
    environment.update(JAVA="java", LEVEL="TRACE", FOLDER=folder, FILES="3000", ZOLT_CEPHFS_LOG="%s/%s.client" % (STATE, client))
    with open("%s/%s.suite" % (STATE, client), "w") as output:
        return subprocess.Popen([HERE + "/../jvm/run.sh", "--reports-dir=%s/%s.reports" % (STATE, client)] + SUITE,
                                env=environment, stdout=output, stderr=output)


def judged(client, run):
    """Whether the suite did what it is to do."""
    status, reports = run.wait(LIMIT_S), "%s/%s.reports/TEST-junit-jupiter.xml" % (STATE, client)
    output = open("%s/%s.suite" % (STATE, client)).read()
    if not os.path.exists(reports) or "JNI warnings:" in output or "FATAL ERROR" in output:
        print("FAILED: %s: the virtual machine\n%s" % (client, output[-4000:]))
        return False
    passed, failed = 0, {}
    for case in ET.parse(reports).getroot().iter("testcase"):
        name = case.get("name").split("(")[0]
        if re.search(r"\(\)\[\d+\]$", case.get("name")):  # one that a factory made has a name of its own
            name = re.search("^display-name: (.*)$", case.findtext("system-out"), re.M).group(1)
        trouble = case.find("failure") if case.find("failure") is not None else case.find("error")
        if trouble is None:
            passed += case.find("skipped") is None
        else:
            failed["%s %s" % (case.get("classname"), name)] = trouble.text
    differs = listed(client)
    for name in sorted(set(failed) - differs):
        print("FAILED: %s: %s\n%s" % (client, name, "\n".join(failed[name].split("\n")[:12])))
    for name in sorted(differs - set(failed)):
        print("FAILED: %s: differs.txt has %s, which passes" % (client, name))
    if not failed and status != 0:
        print("FAILED: %s: run.sh ended with %d\n%s" % (client, status, output[-4000:]))
    print("natives: with the client %s %d cases pass, %d differ" % (client, passed, len(failed)))
    return set(failed) == differs and (status == 0) == (not failed)


runs = {"cephfs": started("cephfs", [BUILD + "/client/cephfs"]), "embedded": started("embedded", [])}
sys.exit(0 if all([judged(client, run) for client, run in runs.items()]) else 1)
