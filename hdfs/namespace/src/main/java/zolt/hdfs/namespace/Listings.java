package zolt.hdfs.namespace;

import java.io.IOException;
import java.lang.ref.SoftReference;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Consumer;
import org.apache.hadoop.fs.permission.FsAction;

/** Directories, a page at a time in the order of the names. */
public final class Listings {
    /** The names of large directories are kept between the pages of a listing, as long as there is memory. */
    private static final int MOST_DIRECTORIES = 16;
    private static final int FEWEST_NAMES = 1000;
    private static final Duration TIME = Duration.ofSeconds(60);

    private static final byte[] ITSELF = {};

    private static final int MOST_AT_ONCE = 1000;
    private static final int ATTEMPTS = 10;

    /** A directory as it was: any change of its names gives it another time. */
    private record Version(long device, long inode, long modified, long changed) {}

    private final Folder folder;
    private final Statuses statuses;
    private final Remembered<Version, SoftReference<NamesOfDirectory>> known = new Remembered<>(MOST_DIRECTORIES, TIME);

    public Listings(Folder folder, Statuses statuses) {
        this.folder = folder;
        this.statuses = statuses;
    }

    /** One entry of a page. */
    public record Item(byte[] name, Entry entry, Details details) {
        /** The name as text; of bytes that are no UTF-8, a text that names nothing. */
        public String text() {
            return new String(name, StandardCharsets.UTF_8);
        }

        /** Whether the text names the entry. */
        public boolean isText() {
            return Arrays.equals(text().getBytes(StandardCharsets.UTF_8), name);
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

    private Page page(NamesOfDirectory names, int directory, byte[] startAfter, int most) throws IOException {
        List<Item> items = new ArrayList<>(Math.min(most, names.size()));
        int at = names.after(startAfter);
        while (at < names.size() && items.size() < most) {
            int end = Math.min(names.size(), at + Math.min(most - items.size(), MOST_AT_ONCE));
            add(names.from(at, end), directory, items, ATTEMPTS);
            at = end;
        }
        return new Page(items, names.size() - at);
    }

    /** All entries of an open directory. */
    void visit(int directory, boolean isRoot, Consumer<Item> visitor) throws IOException {
        NamesOfDirectory names = NamesOfDirectory.read(directory, isRoot);
        for (int at = 0; at < names.size(); at += MOST_AT_ONCE) {
            List<Item> items = new ArrayList<>();
            add(names.from(at, Math.min(names.size(), at + MOST_AT_ONCE)), directory, items, ATTEMPTS);
            items.forEach(visitor);
        }
    }

    /** Adds what some names stand for. A name that stands for something else than a moment ago is tried again. */
    private void add(List<byte[]> names, int directory, List<Item> items, int attempts) throws IOException {
        byte[] joined = joined(names);
        long[] records = new long[names.size() * NativeFiles.RECORD_WORDS];
        NativeFiles.statuses(directory, joined, records);
        for (int at = 0; at < records.length; at += NativeFiles.RECORD_WORDS) {
            int result = (int) records[at + NativeFiles.RESULT];
            if (result != -SystemCallException.ENOENT) {
                SystemCallException.check(result, "an entry");
            }
        }
        statuses.fill(directory, joined, records);
        for (int i = 0; i < names.size(); i++) {
            int at = i * NativeFiles.RECORD_WORDS;
            int result = (int) records[at + NativeFiles.RESULT];
            boolean asked = records[at + NativeFiles.FLAGS] != 0;
            if (result == 0 && (records[at + NativeFiles.FLAGS] & NativeFiles.SAME_FILE) != 0) {
                items.add(new Item(names.get(i), new Entry(records, at), Details.in(records, at)));
            } else if (asked && attempts > 0) {
                add(List.of(names.get(i)), directory, items, attempts - 1);
            } else if (result != -SystemCallException.ENOENT) {
                throw new SystemCallException(result == 0 ? SystemCallException.ESTALE : -result, "an entry");
            }
        }
    }

    static byte[] joined(List<byte[]> names) {
        int length = names.stream().mapToInt(name -> name.length + 1).sum();
        byte[] joined = new byte[length];
        int at = 0;
        for (byte[] name : names) {
            System.arraycopy(name, 0, joined, at, name.length);
            at += name.length + 1;
        }
        return joined;
    }

    /** How many entries a directory has: the number that HDFS shows; 0 where the caller may not read it. */
    public int count(HdfsPath path) throws IOException {
        return list(path, ITSELF, 0).remaining();
    }
}
