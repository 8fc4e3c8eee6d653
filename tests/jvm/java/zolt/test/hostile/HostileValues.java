package zolt.test.hostile;

import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.function.Consumer;
import zolt.test.hostile.Hostile.Lent;
import zolt.test.hostile.Hostile.Parameter;
import zolt.test.hostile.Hostile.Value;

/** What is given to the natives: texts, paths of a stage, bytes, buffers, numbers. */
public final class HostileValues {
    static final long SEED = 20211121;
    private static final int LARGE = 70 * 1024;
    /** U+1F600 and its first half alone. */
    static final String SURROGATES = "\ud83d\ude00";

    private final Path stage;
    private final Path mapped;

    HostileValues(Path stage, Path mapped) {
        this.stage = stage;
        this.mapped = mapped;
    }

    /** Texts that may be passed as any string. */
    static List<Value> texts(String ordinary) {
        List<Value> values = new ArrayList<>(Value.all(ordinary, null, "", "x".repeat(LARGE),
                "\u00e9".repeat(LARGE / 2), "nul\0inside", "\0", ordinary + "\0", "\ud83d", "\ude00",
                "\ude00\ud83d", SURROGATES, "\uffff\ufffe", "caf\u00e9", "new\nline", "\r\t\u007f",
                "%s%n%x%d", "../..", ".", "/", "//", ":", "-1", "0", "\u0080", "\u07ff\u0800"));
        for (int length : new int[] {254, 255, 256, 257, 1023, 1024, 4094, 4095, 4096, 4097}) {
            values.add(Value.of("n".repeat(length)));
        }
        return values;
    }

    /** Paths of everything on the stage, and of what is not there. */
    Parameter paths(String ordinary) {
        List<Value> values = new ArrayList<>();
        values.add(Value.of(at(ordinary)));
        for (String name : List.of("file", "big", "empty", "acl", "leased", "overdue", "overlong",
                "sub", "none", "locked", "locked/inside", "sub/listed", "fifo", "socket", "null",
                "zero", "full", "link", "dirlink", "dangling", "self", "loopa", "loopb", "fifolink",
                "longlink", "link/", "sub/", "file/", "file/below", "fifo/below", "dangling/below",
                "self/below", "dirlink/inner", "odd", "odd/new\nline", "odd/caf\u00e9",
                "odd/" + SURROGATES, "odd/\ud83d", "odd/\ude00", "odd/\0", "odd/%s%n", "odd/ ",
                "odd/missing\0", "missing", "missing/below", "sub/" + "n".repeat(255),
                "sub/" + "n".repeat(256), "sub/" + "n".repeat(257), "sub/../file", "./file", "..")) {
            values.add(Value.of(at(name)));
        }
        for (int length : new int[] {1023, 1024, 4094, 4095, 4096, 4097}) {
            values.add(Value.of(padded(length)));
        }
        values.addAll(texts("relative"));
        values.addAll(Value.all("/proc/self/status", "/proc/self/task", "/missing/below", "",
                "/" + "n/".repeat(LARGE / 2)));
        return new Parameter(String.class, values);
    }

    /** Those by which nothing can be changed but the stage: the machine is not to suffer. */
    Parameter ownPaths(String ordinary) {
        List<Object> outside = List.of("/", "//", ".", "..", "../..", at(".."));
        List<Value> values = new ArrayList<>(paths(ordinary).values());
        values.removeIf(each -> outside.contains(each.label()));
        return new Parameter(String.class, values);
    }

    String at(String name) {
        return stage + "/" + name;
    }

    /** A path of that many bytes to a file that is there. */
    private String padded(int length) {
        int missing = length - at("file").length();
        return stage + "/" + (missing % 2 == 0 ? "" : "/") + "./".repeat(missing / 2) + "file";
    }

    static byte[] random(int length) {
        byte[] bytes = new byte[length];
        new Random(SEED + length).nextBytes(bytes);
        return bytes;
    }

    /** Byte arrays, among them a valid one cut at every length. */
    static Parameter bytes(byte[] valid) {
        List<Value> values = new ArrayList<>();
        values.add(bytes("valid", valid));
        values.add(Value.of(null));
        for (int length : new int[] {0, 1, 8, 15, 16, 17, 255, 4096, 65535, 65536, 65537, LARGE}) {
            values.add(bytes("zeros " + length, new byte[length]));
            values.add(bytes("random " + length, random(length)));
            byte[] ones = new byte[length];
            Arrays.fill(ones, (byte) -1);
            values.add(bytes("ones " + length, ones));
        }
        for (int length = 0; length < valid.length; length++) {
            values.add(bytes("cut at " + length, Arrays.copyOf(valid, length)));
        }
        return new Parameter(byte[].class, values);
    }

    static Value bytes(String label, byte[] bytes) {
        return new Value(label, bytes::clone);
    }

    /** Buffers of all kinds; the ordinary one has `ordinary` bytes. `fill` writes what they hold. */
    Parameter buffers(int ordinary, Consumer<ByteBuffer> fill, int... sizes) {
        List<Value> values = new ArrayList<>();
        values.add(direct(ordinary, fill));
        values.add(Value.of(null));
        for (int size : new int[] {0, ordinary}) {
            values.add(new Value("heap " + size,
                    () -> lent(filled(ByteBuffer.allocate(size), fill), false)));
            values.add(new Value("read-only heap " + size,
                    () -> lent(filled(ByteBuffer.allocate(size), fill), true)));
            values.add(new Value("read-only direct " + size,
                    () -> lent(filled(ByteBuffer.allocateDirect(size), fill), true)));
        }
        values.add(new Value("mapped", () -> lent(map(ordinary, fill), false)));
        values.add(new Value("mapped read-only", () -> lent(map(ordinary, fill), true)));
        for (int offset : new int[] {1, 3, 8}) {
            values.add(new Value("slice at " + offset, () -> slice(offset, ordinary, fill)));
        }
        values.add(new Value("empty slice", () -> slice(5, 0, fill)));
        values.add(new Value("limit 0", () -> {
            ByteBuffer memory = filled(ByteBuffer.allocateDirect(ordinary), fill);
            ByteBuffer given = memory.duplicate().limit(0);
            return new Lent(given, memory, 0);
        }));
        for (int size : sizes) {
            values.add(direct(size, fill));
        }
        return new Parameter(ByteBuffer.class, values);
    }

    private static Value direct(int size, Consumer<ByteBuffer> fill) {
        return new Value("direct " + size,
                () -> lent(filled(ByteBuffer.allocateDirect(size), fill), false));
    }

    private static ByteBuffer filled(ByteBuffer memory, Consumer<ByteBuffer> fill) {
        for (int i = 0; i < memory.capacity(); i++) {
            memory.put(i, Hostile.FILLER);
        }
        fill.accept(memory.duplicate().order(ByteOrder.nativeOrder()));
        return memory;
    }

    private static Lent lent(ByteBuffer memory, boolean readOnly) {
        return new Lent(readOnly ? memory.asReadOnlyBuffer() : memory, memory, 0);
    }

    private static Lent slice(int offset, int size, Consumer<ByteBuffer> fill) {
        ByteBuffer memory = filled(ByteBuffer.allocateDirect(offset + size + 64), each -> {});
        ByteBuffer given = memory.slice(offset, size);
        fill.accept(given.duplicate().order(ByteOrder.nativeOrder()));
        return new Lent(given, memory, offset);
    }

    private ByteBuffer map(int size, Consumer<ByteBuffer> fill) throws Exception {
        try (RandomAccessFile file = new RandomAccessFile(mapped.toFile(), "rw")) {
            file.setLength(size);
            return filled(file.getChannel().map(FileChannel.MapMode.READ_WRITE, 0, size), fill);
        }
    }

    static final Parameter LONGS = Hostile.ofLongs(0L, 1L, -1L, 1000L, -1000L, Long.MIN_VALUE,
            Long.MAX_VALUE, Long.MIN_VALUE + 1, Long.MAX_VALUE - 1, (long) Integer.MAX_VALUE,
            1L << 31, (long) Integer.MIN_VALUE, 1L << 32, -1L << 32, 999_999_999L, 1_000_000_000L);

    static final Parameter INTS = Hostile.ofInts(0, 1, -1, 2, Integer.MIN_VALUE,
            Integer.MAX_VALUE, Integer.MIN_VALUE + 1, 255, 256, 4095, 4096, 4097, 65534, 65535, 65536);

    static final Parameter SHORTS = Hostile.ofShorts(0, 1, -1, 2, 3, 4, 7, 254, 255, 256, 511, 0777,
            01000, 01777, 02000, 02777, 04755, 07777, 32767, -32768, -32767, -1023, -1024, -1025);
}
