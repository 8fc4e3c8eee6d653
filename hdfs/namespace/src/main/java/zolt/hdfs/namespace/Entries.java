package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.function.Consumer;
import org.apache.hadoop.fs.permission.FsAction;

/**
 * A directory, some entries at a time in the order in which the file system has them, so that there is never more of it in
 * memory. Every step has the thread's rights.
 */
public final class Entries implements AutoCloseable {
    private final Folder folder;
    private final HdfsPath path;
    private int directory;

    private Entries(Folder folder, HdfsPath path, int directory) {
        this.folder = folder;
        this.path = path;
        this.directory = directory;
    }

    /** An entry and its status. */
    public record Item(byte[] name, Entry entry) {
        /** The name as text; of bytes that are no UTF-8, a text that names nothing. */
        public String text() {
            return new String(name, StandardCharsets.UTF_8);
        }
    }

    /** Opens a directory. */
    public static Entries of(Folder folder, HdfsPath path) throws IOException {
        try (Place place = folder.place(path)) {
            return new Entries(folder, path, SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY,
                    place.bytes(), NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0),
                    path.toString()));
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ_EXECUTE);
        }
    }

    /** The next entries; none at the end. What is removed meanwhile is left out. */
    public List<Item> next() throws IOException {
        List<Item> items = List.of();
        try {
            List<byte[]> names = new ArrayList<>();
            while (items.isEmpty() && NamesOfDirectory.readSome(directory, path.isRoot(), names)) {
                items = statuses(directory, names);
                names.clear();
            }
            return items;
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ_EXECUTE);
        }
    }

    static List<Item> statuses(int directory, List<byte[]> names) throws SystemCallException {
        long[] records = new long[names.size() * NativeFiles.RECORD_WORDS];
        NativeFiles.statuses(directory, Listings.joined(names), records);
        List<Item> items = new ArrayList<>(names.size());
        for (int i = 0; i < names.size(); i++) {
            int at = i * NativeFiles.RECORD_WORDS;
            int result = (int) records[at + NativeFiles.RESULT];
            if (result != -SystemCallException.ENOENT) {
                SystemCallException.check(result, "an entry");
                items.add(new Item(names.get(i), new Entry(records, at)));
            }
        }
        return items;
    }

    /** Shows all entries of an open directory with their details. */
    static void visit(int directory, boolean isRoot, PlainStatuses statuses, Consumer<Listings.Item> visitor)
            throws IOException {
        List<byte[]> names = new ArrayList<>();
        while (NamesOfDirectory.readSome(directory, isRoot, names)) {
            for (Item item : statuses(directory, names)) {
                visitor.accept(new Listings.Item(item.name, item.entry, item.entry.isFile()
                        ? statuses.details(directory, item.name, item.entry.inode()) : Details.NONE));
            }
            names.clear();
        }
    }

    @Override
    public void close() {
        NativeFiles.close(directory);
        directory = -1;
    }
}
