package zolt.tour;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileStore;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** The first stop: what a directory holds, and which file system serves it. */
final class ListingStop {
    /** Small on purpose, so that a listing continues from buffer to buffer. */
    private static final int BUFFER_BYTES = 300;

    private static final int ROWS_SHOWN = 40;

    private ListingStop() {}

    static void visit(Page page, Path directory) {
        page.title("What is in " + Page.printable(directory.toString()));
        page.line("served by " + fileSystem(directory));
        page.line("");

        List<String[]> rows = new ArrayList<>();
        Map<String, Integer> kinds = new TreeMap<>();
        int buffers = readAll(directory.toString(), rows, kinds);
        rows.sort((a, b) -> a[2].compareTo(b[2]));

        page.table(new String[] {"TYPE", " INODE", "NAME"},
                rows.subList(0, Math.min(rows.size(), ROWS_SHOWN)));
        if (rows.size() > ROWS_SHOWN) {
            page.line("... and " + (rows.size() - ROWS_SHOWN) + " more");
        }
        page.line("");
        StringBuilder totals = new StringBuilder();
        kinds.forEach((kind, count) -> totals.append(totals.length() == 0 ? " (" : ", ")
                .append(kind).append(' ').append(count));
        totals.append(totals.length() == 0 ? "" : ")");
        page.line("entries: " + rows.size() + totals);
        page.line("read through a buffer of " + BUFFER_BYTES + " bytes, filled " + buffers
                + " times; counted by itself: "
                + ZOLTNative.getDirentCountNative(directory.toString()));
    }

    private static int readAll(String path, List<String[]> rows, Map<String, Integer> kinds) {
        ByteBuffer buffer =
                ByteBuffer.allocateDirect(BUFFER_BYTES).order(ByteOrder.nativeOrder());
        int buffers = 0;
        int more;
        do {
            more = ZOLTNative.getDirentsNative(path, buffer, false, false);
            buffers++;
            buffer.clear();
            for (int left = buffer.getInt(); left > 0; left--) {
                String inode = Long.toUnsignedString(buffer.getLong());
                String kind = kind(buffer.getShort());
                byte[] name = new byte[buffer.getInt()];
                buffer.get(name);
                rows.add(new String[] {
                    kind, inode, Page.printable(new String(name, StandardCharsets.UTF_8))});
                kinds.merge(kind, 1, Integer::sum);
            }
        } while (more == 1);
        return buffers;
    }

    private static String kind(int type) {
        switch (type) {
            case 1:
                return "fifo";
            case 2:
                return "character device";
            case 4:
                return "directory";
            case 6:
                return "block device";
            case 8:
                return "file";
            case 10:
                return "link";
            case 12:
                return "socket";
            default:
                return "unknown";
        }
    }

    private static String fileSystem(Path directory) {
        try {
            FileStore store = Files.getFileStore(directory);
            // A store of this platform prints itself as "/mount/point (device)".
            String text = store.toString();
            String mountPoint =
                    text.substring(0, text.length() - store.name().length() - " ()".length());
            return ZOLTNative.getFsName(mountPoint, store.type()) + " on " + mountPoint + " type "
                    + store.type();
        } catch (IOException e) {
            return "a file system that the mount table does not show (" + e.getMessage() + ")";
        }
    }
}
