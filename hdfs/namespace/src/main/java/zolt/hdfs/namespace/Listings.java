package zolt.hdfs.namespace;

import java.io.IOException;
import java.lang.ref.SoftReference;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.permission.FsAction;

/** Directories, a page at a time in the order of the names. */
public final class Listings {
    /** The names of large directories are kept between the pages of a listing, as long as there is memory. */
    private static final int MOST_DIRECTORIES = 16;
    private static final int FEWEST_NAMES = 1000;
    private static final Duration TIME = Duration.ofSeconds(60);

    private static final byte[] ITSELF = {};

    /** A directory as it was: any change of its names gives it another time. */
    private record Version(long device, long inode, long modified, long changed) {}

    private final Folder folder;
    private final Remembered<Version, SoftReference<NamesOfDirectory>> known = new Remembered<>(MOST_DIRECTORIES, TIME);

    public Listings(Folder folder) {
        this.folder = folder;
    }

    /** One entry of a page. */
    public record Item(byte[] name, Entry entry) {
        /** The name as text; of bytes that are no UTF-8, a text that names nothing. */
        public String text() {
            return new String(name, StandardCharsets.UTF_8);
        }
    }

    /** Some entries, and how many come after them. */
    public record Page(List<Item> items, int remaining) {}

    /**
     * The entries behind a name, at most so many. What is removed meanwhile is left out.
     *
     * @param startAfter a name, which need not exist; empty for the first page
     */
    public Page list(HdfsPath path, byte[] startAfter, int most) throws IOException {
        try (Place place = folder.place(path)) {
            int directory = SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY, place.bytes(),
                    NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0), path.toString());
            try {
                return page(names(directory, path.isRoot()), directory, startAfter, most);
            } finally {
                NativeFiles.close(directory);
            }
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ_EXECUTE);
        }
    }

    private NamesOfDirectory names(int directory, boolean isRoot) throws SystemCallException {
        Entry entry = Entry.of(directory, ITSELF, "a directory");
        Version version = new Version(entry.device(), entry.inode(), entry.modifyNanos(), entry.changeNanos());
        SoftReference<NamesOfDirectory> kept = known.get(version);
        NamesOfDirectory names = kept == null ? null : kept.get();
        if (names == null) {
            names = NamesOfDirectory.read(directory, isRoot);
            if (names.size() >= FEWEST_NAMES && isSettled(entry)) {
                known.put(version, new SoftReference<>(names));
            }
        }
        return names;
    }

    /** A directory that changed just now may change again within the same tick of the file system's clock. */
    private static boolean isSettled(Entry entry) {
        long age = System.currentTimeMillis() - entry.changeNanos() / 1_000_000;
        return age > 1000 || age < 0;
    }

    private static Page page(NamesOfDirectory names, int directory, byte[] startAfter, int most)
            throws SystemCallException {
        List<Item> items = new ArrayList<>(Math.min(most, names.size()));
        int at = names.after(startAfter);
        for (; at < names.size() && items.size() < most; at++) {
            byte[] name = names.name(at);
            try {
                items.add(new Item(name, Entry.of(directory, name, "an entry")));
            } catch (SystemCallException e) {
                if (e.errno() != SystemCallException.ENOENT) {
                    throw e;
                }
            }
        }
        return new Page(items, names.size() - at);
    }

    /** How many entries a directory has: the number that HDFS shows; 0 where the caller may not read it. */
    public int count(HdfsPath path) throws IOException {
        return list(path, ITSELF, 0).remaining();
    }
}
