package zolt.hdfs.namespace;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** The names in a directory, in the order of their bytes, as HDFS lists them. */
final class NamesOfDirectory {
    /** struct linux_dirent64: inode (8), offset (8), length of the record (2), type (1), name, zero byte. */
    private static final int LENGTH_AT = 16;
    private static final int NAME_AT = 19;

    private static final int BUFFER_BYTES = 1 << 16;
    private static final byte[] OWN = HdfsPath.SERVICE_FOLDER.getBytes(java.nio.charset.StandardCharsets.US_ASCII);

    private static final ThreadLocal<ByteBuffer> BUFFER = ThreadLocal.withInitial(
            () -> ByteBuffer.allocateDirect(BUFFER_BYTES).order(ByteOrder.nativeOrder()));

    private final byte[][] names;

    private NamesOfDirectory(byte[][] names) {
        this.names = names;
    }

    /** Reads all names of an open directory. */
    static NamesOfDirectory read(int directory, boolean isRoot) throws SystemCallException {
        List<byte[]> names = new ArrayList<>();
        while (readSome(directory, isRoot, names)) {
            continue;
        }
        byte[][] sorted = names.toArray(new byte[0][]);
        Arrays.sort(sorted, Arrays::compareUnsigned);
        return new NamesOfDirectory(sorted);
    }

    /** Adds the next names of an open directory, as many as a buffer holds; false at the end. */
    static boolean readSome(int directory, boolean isRoot, List<byte[]> names) throws SystemCallException {
        ByteBuffer buffer = BUFFER.get();
        int filled = SystemCallException.check(NativeFiles.entries(directory, buffer), "a listing");
        for (int at = 0; at < filled; at += buffer.getShort(at + LENGTH_AT)) {
            byte[] name = nameAt(buffer, at + NAME_AT);
            if (!isDots(name) && !(isRoot && Arrays.equals(name, OWN))) {
                names.add(name);
            }
        }
        return filled > 0;
    }

    private static byte[] nameAt(ByteBuffer buffer, int start) {
        int end = start;
        while (buffer.get(end) != 0) {
            end++;
        }
        byte[] name = new byte[end - start];
        buffer.get(start, name);
        return name;
    }

    private static boolean isDots(byte[] name) {
        return name.length <= 2 && name[0] == '.' && name[name.length - 1] == '.';
    }

    int size() {
        return names.length;
    }

    byte[] name(int index) {
        return names[index];
    }

    List<byte[]> from(int start, int end) {
        return Arrays.asList(names).subList(start, end);
    }

    /** The index of the first name behind one, which need not be there any more. */
    int after(byte[] name) {
        if (name.length == 0) {
            return 0;
        }
        int found = Arrays.binarySearch(names, name, Arrays::compareUnsigned);
        return found < 0 ? -found - 1 : found + 1;
    }
}
