package zolt.test.dirents;

import static java.nio.charset.StandardCharsets.UTF_8;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.Charset;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Listings through direct buffers, and what these then hold. */
public final class Dirents {
    private Dirents() {}

    public record Entry(long inode, int type, String name) {}

    static ByteBuffer direct(int size) {
        return ByteBuffer.allocateDirect(size).order(ByteOrder.nativeOrder());
    }

    public static List<Entry> parse(ByteBuffer filled) {
        return parse(filled, UTF_8);
    }

    public static List<Entry> parse(ByteBuffer filled, Charset charset) {
        ByteBuffer buffer = filled.duplicate().order(ByteOrder.nativeOrder());
        buffer.clear();
        List<Entry> entries = new ArrayList<>();
        for (int count = buffer.getInt(); count > 0; count--) {
            long inode = buffer.getLong();
            int type = buffer.getShort();
            byte[] name = new byte[buffer.getInt()];
            buffer.get(name);
            entries.add(new Entry(inode, type, new String(name, charset)));
        }
        return entries;
    }

    static List<Entry> listAll(Path path, ByteBuffer buffer, boolean dirOnly) throws IOException {
        List<Entry> all = new ArrayList<>();
        int more;
        do {
            more = ZOLTNative.getDirentsNative(path.toString(), buffer, dirOnly, false);
            all.addAll(parse(buffer));
        } while (more == 1);
        return all;
    }

    /** Ends this thread's listing. */
    public static void end() throws IOException {
        ZOLTNative.getDirentsNative("", null, false, true);
    }
}
