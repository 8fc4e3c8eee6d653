package zolt.test.hostile;

import static zolt.test.hostile.Hostile.FLAG;
import static zolt.test.hostile.HostileValues.SHORTS;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Lent;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Parameter;
import zolt.test.status.StatusRecord;

/** Listings, block locations, replication and block group factor. */
final class HostileFiles {
    /** An entry but for its name. */
    private static final int ENTRY = 14;

    private HostileFiles() {}

    static List<Native> natives(HostileValues values) {
        // "sub" has names of 1, 2, 3, 5, 6, 6 and 255 bytes: every size up to the first records, and
        // around the longest and the whole.
        int[] sizes = java.util.stream.IntStream.concat(
                java.util.stream.IntStream.rangeClosed(1, 70),
                java.util.stream.IntStream.of(271, 272, 273, 274, 288, 289, 290, 369, 370, 376, 377,
                        378, 379, 380, 381, 382, 383, 4096)).toArray();
        Parameter entries = values.buffers(1000, each -> {}, sizes);
        Parameter types = Hostile.ofInts(0, 1, 2, 3, 4, -1, Integer.MIN_VALUE, Integer.MAX_VALUE);
        Parameter offsets = Hostile.ofLongs(0L, 1L, -1L, 4095L, 4096L, 4097L, 16384L, (1L << 20) + 2,
                (1L << 20) + 3, (1L << 20) + 4, Long.MIN_VALUE, Long.MAX_VALUE, Long.MAX_VALUE - 1);
        Parameter lengths = Hostile.ofLongs(65536L, 0L, 1L, -1L, 4096L, 4097L, 16384L, (1L << 20) + 3,
                Long.MIN_VALUE, Long.MAX_VALUE, Long.MAX_VALUE - 1);
        Parameter status = values.buffers(110, each -> record(values.at("big"), each), 1, 8, 28, 31,
                32, 87, 88, 89, 90, 91, 92, 97, 98, 99, 100, 101, 102, 103, 4096);
        Parameter words = values.buffers(4096, each -> {}, 1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20,
                24, 32, 64, 127, 128, 129, 252, 256, 260, 4095, 4097, 8192);
        Parameter factors = Hostile.ofInts(4, 0, 1, -1, 2, 1023, 1024, 1025, 65536,
                Integer.MIN_VALUE, Integer.MAX_VALUE);
        return List.of(
                Native.of("getDirentCountNative", HostileFiles::count, values.paths("sub")),
                Native.of("getDirentsNative", HostileFiles::list, values.paths("sub"), entries,
                        Hostile.parameter(boolean.class, Hostile.Value.all(false, true)),
                        Hostile.parameter(boolean.class, Hostile.Value.all(false, true))),
                Native.of("getBlockLocationsNative", HostileFiles::locations, values.paths("big"),
                        types, FLAG, offsets, lengths, status, words),
                Native.of("setReplication", HostileFiles::replication, values.ownPaths("file"),
                        SHORTS, FLAG),
                Native.of("setBGF", HostileFiles::factor, values.ownPaths("file"), factors));
    }

    private static Outcome count(Call call) {
        String path = call.text(0);
        Object entries = Kernel.entries(path);
        if (entries instanceof Integer errno) {
            return errno == Faults.ENOENT || errno == Faults.EACCES ? Outcome.ZERO
                    : Outcome.error(errno, Said.DIRECTORY + " " + path);
        }
        ByteBuffer all = ByteBuffer.wrap((byte[]) entries).order(ByteOrder.nativeOrder());
        int count = 0;
        for (int at = 0; at < all.capacity(); at += ENTRY + all.getInt(at + 10)) {
            count++;
        }
        return Outcome.value(count);
    }

    private static Outcome list(Call call) {
        String path = call.text(0);
        if (call.flag(3)) {
            return Outcome.ZERO;
        }
        Object entries = Kernel.entries(path);
        if (entries instanceof Integer errno) {
            return Outcome.error(errno, Said.DIRECTORY);
        }
        Lent buffer = call.buffer(1);
        int capacity = buffer != null && buffer.isUsable() ? buffer.capacity() : 0;
        if (capacity < 5) {
            return Outcome.thrown(IOException.class, "Buffer overflow: current pos 0 seek 4");
        }
        ByteBuffer all = ByteBuffer.wrap((byte[]) entries).order(ByteOrder.nativeOrder());
        ByteBuffer out = buffer.expected();
        int written = 4;
        int count = 0;
        for (int at = 0; at < all.capacity(); at += ENTRY + all.getInt(at + 10)) {
            int size = ENTRY + all.getInt(at + 10);
            if (call.flag(2) && all.getShort(at + 8) != 4) {
                continue;
            }
            if (size > capacity - written) {
                out.putInt(0, count);
                return Outcome.value(1);
            }
            out.put(written, all, at, size);
            written += size;
            count++;
        }
        out.putInt(0, count);
        return Outcome.ZERO;
    }

    /** A status record with what is read of it. */
    private static void record(String path, ByteBuffer out) {
        long[] stat = Kernel.stat(path, true);
        if (stat.length == 1 || out.capacity() < StatusRecord.BYTES) {
            return;
        }
        out.putLong(StatusRecord.INODE, stat[0]).putLong(StatusRecord.SIZE, stat[1])
                .putInt(StatusRecord.MODE, (int) stat[4]).putInt(StatusRecord.BLOCK_SIZE, 4096);
    }

    private static Outcome locations(Call call) {
        String path = call.text(0);
        Lent status = call.buffer(5);
        Lent words = call.buffer(6);
        if (isRefused(status) || isRefused(words) || call.number(3) < 0) {
            return Outcome.error(Faults.EINVAL, path);
        }
        boolean regular;
        if (status != null) {
            if (status.capacity() <= StatusRecord.HEADER) {
                return Outcome.thrown(IOException.class, "Buffer overflow: current pos 0 seek 90");
            }
            regular = StatusRecord.isRegular(status.expected().getInt(StatusRecord.MODE));
        } else {
            long[] stat = Kernel.stat(path, call.flag(2));
            if (stat.length == 1) {
                return Outcome.error(HostileStatus.reported(stat), path);
            }
            regular = StatusRecord.isRegular(stat[4]);
        }
        if (!regular) {
            return putHeader(status, 0, 0);
        }
        return locationsOfAFile(call, path, status, words);
    }

    private static boolean isRefused(Lent buffer) {
        return buffer != null && !buffer.isUsable();
    }

    private static Outcome locationsOfAFile(Call call, String path, Lent status, Lent words) {
        boolean headerOnly = call.number(3) == 0 && call.number(4) == 0;
        if (!headerOnly && words != null && words.capacity() % 4 != 0) {
            return Outcome.thrown(IOException.class, "Direct ByteBuffer length error: length "
                    + words.capacity() + " buffer type size 4");
        }
        int opened = Kernel.open(path, call.flag(2));
        if (opened != 0) {
            return Outcome.error(-opened, path);
        }
        return answer(call, status, headerOnly ? null : words, headerOnly);
    }

    /** The same question with room for any answer, of which the given room holds as much as it can. */
    private static Outcome answer(Call call, Lent status, Lent words, boolean headerOnly) {
        ByteBuffer header = ByteBuffer.allocateDirect(StatusRecord.HEADER_END).order(ByteOrder.nativeOrder());
        if (status != null) {
            ByteBuffer given = status.expected();
            header.put(0, given, 0, Math.min(given.capacity(), StatusRecord.HEADER_END));
        } else {
            record(call.text(0), header);
            header.putInt(StatusRecord.BLOCK_SIZE, (int) Kernel.stat(call.text(0), true)[Kernel.BLOCK]);
        }
        ByteBuffer roomy = ByteBuffer.allocateDirect(1 << 16).order(ByteOrder.nativeOrder());
        int type = (int) call.number(1);
        try {
            ZOLTNative.getBlockLocationsNative(call.text(0), type, call.flag(2), call.number(3),
                    call.number(4), header, roomy);
        } catch (Throwable e) {
            if (type == 1 && words != null) { // the words are none, whatever the sizes are
                for (int i = 0; i < words.capacity() / 4; i++) {
                    words.expected().putInt(4 * i, -1);
                }
            }
            return Outcome.thrown(e);
        }
        int found = 0;
        while (!headerOnly && found < roomy.capacity() / 4 && roomy.getInt(4 * found) != -1) {
            found++;
        }
        int room = words != null ? words.capacity() / 4 : 0;
        int copies = header.getInt(StatusRecord.HEADER_COPIES);
        boolean fits = headerOnly || found <= room;
        // Grouped blocks are written one by one, all others by the reply.
        int written = fits ? found : type == 3 ? room / (2 * copies) * (2 * copies) : 0;
        if (words != null) {
            ByteBuffer out = words.expected();
            for (int i = 0; i < (fits ? room : written); i++) {
                out.putInt(4 * i, i < written ? roomy.getInt(4 * i) : -1);
            }
        }
        return fits ? putHeader(status, header.getLong(StatusRecord.HEADER), copies) : Outcome.overflow();
    }

    private static Outcome putHeader(Lent status, long blockSize, int copies) {
        if (status == null) {
            return Outcome.NOTHING;
        }
        if (status.capacity() >= StatusRecord.HEADER_COPIES) {
            status.expected().putLong(StatusRecord.HEADER, blockSize);
        }
        if (status.capacity() < StatusRecord.HEADER_END) {
            return Outcome.overflow();
        }
        status.expected().putInt(StatusRecord.HEADER_COPIES, copies);
        return Outcome.NOTHING;
    }

    private static Outcome replication(Call call) {
        String path = call.text(0);
        int opened = Kernel.open(path, true);
        if (opened != 0) {
            return Outcome.error(-opened, Said.OPEN + path);
        }
        int wanted = (int) call.number(1);
        byte[] before = Kernel.getxattr(path, true, "trusted.zolt.replication", 2) instanceof byte[] b
                ? b : new byte[] {3, 3};
        byte[] kept = {(byte) wanted, call.flag(2) ? (byte) wanted : before[1]};
        int errno = wanted < 1 || wanted > 255 || !StatusRecord.isRegular(Kernel.stat(path, true)[4]) ? Faults.EINVAL
                : Kernel.setxattr(path, true, "trusted.zolt.replication", kept, 0);
        return Outcome.of(errno, true, Said.REPLICATION + path);
    }

    private static Outcome factor(Call call) {
        String path = call.text(0);
        int bgf = (int) call.number(1);
        if (bgf < 1 || bgf > 1024) {
            return Outcome.error(Faults.EINVAL, Said.noFactor(bgf));
        }
        int opened = Kernel.open(path, true);
        if (opened != 0) {
            return Outcome.error(-opened, Said.OPEN + path);
        }
        byte[] value = ByteBuffer.allocate(4).putInt(bgf).array();
        int errno = Kernel.setxattr(path, true, "trusted.zolt.BGF", value, 0);
        return Outcome.of(errno, true, Said.factor(bgf, path));
    }
}
