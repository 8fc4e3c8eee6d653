"""libzolt.so for CephFS as a caller of its interface sees it, and the cluster's own word on the same."""
import ctypes
import json
import os
import struct

import rados

ENTRIES = 8064
MIB = 1 << 20


class Client:
    def __init__(self, library):
        self.calls = ctypes.CDLL(library, use_errno=True)

    def _check(self, result):
        if result != 0:
            error = ctypes.get_errno()
            raise OSError(error, os.strerror(error))

    def stat(self, path):
        record, mask = ctypes.create_string_buffer(264), ctypes.c_uint(0)
        self._check(self.calls.zolt_stat_x(os.fsencode(path), ctypes.byref(mask), record, ctypes.c_size_t(264)))
        return {"copies": record.raw[116], "size": struct.unpack_from("q", record, 56)[0],
                "block": struct.unpack_from("i", record, 136)[0], "acl": struct.unpack_from("I", record, 184)[0]}

    def request(self, path, record, call="zolt_fcntl"):
        """Sends one record about a file opened to read; the record as it is after the call."""
        whole = ctypes.create_string_buffer(struct.pack("IIII", 16 + len(record), 1, 0, 0) + bytes(record), 16 + len(record))
        fd = os.open(path, os.O_RDONLY)
        try:
            self._check(getattr(self.calls, call)(fd, whole))
        finally:
            os.close(fd)
        return whole.raw[16:]

    def copies(self, path):
        return struct.unpack_from("I", self.request(path, struct.pack("II24x", 32, 3001)), 16)[0]

    def set_copies(self, path, copies):
        self.request(path, struct.pack("II8xi20x", 40, 2005, copies))

    def restripe(self, path):
        self.request(path, struct.pack("III36x", 48, 2008, 2), "zolt_restripe_file")

    def locations(self, path, offset=0, skip=0, length=1 << 62):
        """One reply: (copies of a block, the file's own block size, the nodes of each block)."""
        record = bytearray(64568)
        struct.pack_into("IIQQQ", record, 0, len(record), 3006, offset, skip, length)
        reply = self.request(path, record)
        copies, blocks, block = struct.unpack_from("iiq", reply, 40)
        words = struct.unpack_from("%di" % (2 * copies * blocks), reply, 56)
        return copies, block, [list(words[2 * copies * i:2 * copies * i + copies]) for i in range(blocks)]

    def map(self, path, skip=0):
        """The whole file's, by as many requests as it takes."""
        nodes, offset, size = [], 0, os.stat(path).st_size
        while offset < size:
            _, block, some = self.locations(path, offset, skip)
            nodes += some
            offset += (skip or block) * len(some)
        return nodes


class Cluster:
    """The monitors, asked as the administrator."""

    def __init__(self):
        self.rados = rados.Rados(conffile=os.environ["CEPH_CONF"])
        self.rados.connect(timeout=30)

    def ask(self, prefix, **arguments):
        status, out, error = self.rados.mon_command(json.dumps(dict(arguments, prefix=prefix, format="json")), b"", timeout=30)
        if status != 0:
            raise OSError(-status, "%s: %s" % (prefix, error))
        return json.loads(out) if out.strip() else None

    def osds_of(self, path, block):
        """The OSDs of the object with a block of the file: Ceph's own reckoning."""
        layout = dict(item.split("=") for item in os.getxattr(path, "ceph.file.layout").decode().split())
        unit, count, size = (int(layout[key]) for key in ("stripe_unit", "stripe_count", "object_size"))
        stripe, at = divmod(block, count)
        number = stripe // (size // unit) * count + at
        more = {"nspace": layout["pool_namespace"]} if "pool_namespace" in layout else {}
        answer = self.ask("osd map", pool=layout["pool"], object="%x.%08x" % (os.stat(path).st_ino, number), **more)
        return answer["acting"]
