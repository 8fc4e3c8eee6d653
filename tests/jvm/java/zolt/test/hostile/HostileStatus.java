package zolt.test.hostile;

import static zolt.test.hostile.Hostile.FLAG;
import static zolt.test.hostile.HostileValues.LONGS;
import static zolt.test.hostile.HostileValues.SHORTS;

import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.List;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Lent;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Parameter;
import zolt.test.status.StatusRecord;

/** Status, links, permissions and times, from the kernel's own answers. */
final class HostileStatus {
    private static final long DEFAULT_BLOCK = 128L << 20;
    private static final int[] FORMAT = {0, 8, 8, 8, 16, 4, 20, 4, 24, 4, 28, 4, 32, 16, 48, 16, 64, 16,
        80, 2, 82, 2, 84, 2, 88, 0};

    /** Where Kernel.stat has what. */
    private static final int INODE = 0;
    private static final int SIZE = 1;
    private static final int MODE = 4;
    private static final int ATIME = 5;
    private static final int MTIME = 7;
    private static final int CTIME = 9;

    private HostileStatus() {}

    static List<Native> natives(HostileValues values) {
        Parameter buffer = values.buffers(100, each -> {}, 1, 8, 16, 32, 80, 86, 87, 88, 89, 90, 4096);
        Parameter lengths = Hostile.ofInts(4, 0, 1, -1, 3, 5, 3999, 4000, 4001, 4095, 4096, 4097,
                65536, Integer.MIN_VALUE, Integer.MAX_VALUE);
        return List.of(
                Native.of("getFileStatusFormatNative", call -> Outcome.value(FORMAT)),
                Native.of("getFileStatusNative", HostileStatus::full, values.paths("big"), FLAG, FLAG,
                        buffer, LONGS, LONGS, LONGS, LONGS),
                Native.of("getFileStatusFastNative", HostileStatus::fast, values.paths("acl"), FLAG,
                        buffer, LONGS, LONGS),
                Native.of("isCMTimeChangedNative", HostileStatus::changed, values.paths("file"), FLAG,
                        LONGS, LONGS, LONGS, LONGS),
                Native.of("getINum", HostileStatus::inode, values.paths("file"), FLAG),
                Native.of("getFailedPathNative", call -> Outcome.NOTHING,
                        values.paths("locked/inside"), FLAG),
                Native.of("getLinkTargetNative", HostileStatus::target, values.paths("link"), lengths),
                Native.of("setPermission", HostileStatus::permission, values.ownPaths("file"), SHORTS),
                Native.of("setTimes", HostileStatus::times, values.ownPaths("file"), LONGS, LONGS));
    }

    /** A path through what is no directory is a missing one. */
    static int reported(long[] failed) {
        int errno = (int) -failed[0];
        return errno == Faults.ENOTDIR ? Faults.ENOENT : errno;
    }

    private static boolean later(long[] stat, int at, long seconds, long nanoseconds) {
        return stat[at] > seconds || stat[at] == seconds && stat[at + 1] > nanoseconds;
    }

    private static Object attribute(String path, String name) {
        return Kernel.getxattr(path, true, name, 64);
    }

    private static boolean has(String path, String name) {
        return attribute(path, name) instanceof byte[] value && value.length > 0;
    }

    private static void putCommon(String path, long[] stat, ByteBuffer out) {
        out.putLong(StatusRecord.INODE, stat[INODE]).putLong(StatusRecord.SIZE, stat[SIZE]);
        for (int i = 0; i < 3; i++) {
            out.putInt(StatusRecord.UID + 4 * i, (int) stat[2 + i]);
        }
        for (int i = 0; i < 6; i++) {
            out.putLong(StatusRecord.ATIME + 8 * i, stat[ATIME + i]);
        }
        boolean acl = has(path, "system.posix_acl_access") || has(path, "system.posix_acl_default");
        out.putShort(StatusRecord.ACL, (short) (acl ? StatusRecord.HAS_ACL : 0));
    }

    private static Outcome full(Call call) {
        String path = call.text(0);
        Lent buffer = call.buffer(3);
        if (buffer == null || !buffer.isUsable()) {
            return Outcome.error(Faults.EINVAL, path);
        }
        long[] stat = Kernel.stat(path, call.flag(1));
        if (stat.length == 1) {
            return Outcome.error(reported(stat), path);
        }
        int opened = Kernel.open(path, call.flag(1));
        if (opened != 0) {
            return Outcome.error(-opened, path);
        }
        if (!later(stat, MTIME, call.number(6), call.number(7))
                || !later(stat, CTIME, call.number(4), call.number(5))) {
            return Outcome.ZERO;
        }
        if (buffer.capacity() < StatusRecord.BYTES) {
            return Outcome.error(Faults.EINVAL, path);
        }
        ByteBuffer out = buffer.expected();
        putCommon(path, stat, out);
        out.putInt(StatusRecord.BLOCK_SIZE, 0).putInt(StatusRecord.REPLICATION, 0);
        return StatusRecord.isRegular(stat[MODE]) ? putRegular(path, stat, call.flag(2), out) : Outcome.value(1);
    }

    private static Outcome putRegular(String path, long[] stat, boolean lease, ByteBuffer out) {
        int copies = attribute(path, "trusted.zolt.replication") instanceof byte[] kept
                && kept.length == 2 ? kept[0] : 3;
        out.putShort(StatusRecord.REPLICATION, (short) copies);
        boolean grouped = attribute(path, "trusted.zolt.BGF") instanceof byte[] bgf && bgf.length == 4;
        long unit = stat[Kernel.BLOCK];
        out.putInt(StatusRecord.BLOCK_SIZE, (int) (grouped ? 4 * unit : (DEFAULT_BLOCK + unit - 1) / unit * unit));
        if (!lease) {
            return Outcome.value(1);
        }
        Object holder = attribute(path, Said.HOLDER);
        if (holder instanceof byte[] bytes) {
            out.putShort(StatusRecord.LEASE, (short) bytes.length);
        } else if ((Integer) holder != Faults.ENODATA) {
            return Outcome.error((Integer) holder, path);
        }
        return Outcome.value(1);
    }

    private static Outcome fast(Call call) {
        String path = call.text(0);
        Lent buffer = call.buffer(2);
        if (buffer == null || !buffer.isUsable()) {
            return Outcome.error(Faults.EINVAL, path);
        }
        long[] stat = Kernel.stat(path, true); // the client's call always follows
        if (stat.length == 1) {
            return Outcome.error((int) -stat[0], path);
        }
        if (!later(stat, CTIME, call.number(3), call.number(4))) {
            return Outcome.ZERO;
        }
        if (buffer.capacity() < StatusRecord.BYTES) {
            return Outcome.error(Faults.EINVAL, path);
        }
        putCommon(path, stat, buffer.expected());
        return Outcome.value(1);
    }

    private static Outcome changed(Call call) {
        String path = call.text(0);
        long[] stat = Kernel.stat(path, call.flag(1));
        if (stat.length == 1) {
            return Outcome.error(reported(stat), path);
        }
        return Outcome.value(later(stat, CTIME, call.number(2), call.number(3))
                || later(stat, MTIME, call.number(4), call.number(5)));
    }

    private static Outcome inode(Call call) {
        long[] stat = Kernel.stat(call.text(0), call.flag(1));
        return stat.length > 1 ? Outcome.value(stat[INODE])
                : Outcome.error(reported(stat), Said.INODE + call.text(0));
    }

    private static Outcome target(Call call) {
        int length = (int) call.number(1);
        if (length < 0) {
            return Outcome.error(Faults.EINVAL, "");
        }
        Object read = Kernel.readlink(call.text(0), Math.max(1, Math.min(length, 4096)));
        return read instanceof byte[] bytes
                ? Outcome.value(Arrays.copyOf(bytes, Math.min(length, bytes.length)))
                : Outcome.error((Integer) read, "");
    }

    private static Outcome permission(Call call) {
        int errno = Kernel.chmod(call.text(0), (short) (call.number(1) % 1024));
        return Outcome.of(errno, true, call.text(0));
    }

    private static Outcome times(Call call) {
        int errno = Kernel.setTimes(call.text(0), call.number(1), call.number(2));
        return Outcome.of(errno, true, call.text(0));
    }
}
