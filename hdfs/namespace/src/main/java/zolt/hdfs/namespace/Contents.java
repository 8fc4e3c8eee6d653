package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.ArrayDeque;
import java.util.Queue;
import java.util.function.Consumer;
import org.apache.hadoop.fs.permission.FsAction;

/** How much is in a tree, as far as the caller may see it. */
public final class Contents {
    private final Folder folder;
    private final Lister lister;
    private final Asker details;

    public Contents(Folder folder, Listings listings, Statuses statuses) {
        this(folder, listings::visit, statuses::details);
    }

    Contents(Folder folder, Lister lister, Asker details) {
        this.folder = folder;
        this.lister = lister;
        this.details = details;
    }

    /** Shows all entries of an open directory. */
    @FunctionalInterface
    interface Lister {
        void visit(int directory, boolean isRoot, Consumer<Listings.Item> visitor) throws IOException;
    }

    /** Tells the details of an entry. */
    @FunctionalInterface
    interface Asker {
        Details of(HdfsPath path, Entry entry) throws IOException;
    }

    /** Sums over a tree. */
    public static final class Sum {
        private long length;
        private long copies;
        private long files;
        private long directories;
        private long links;

        public long length() {
            return length;
        }

        /** The bytes with all copies. */
        public long copies() {
            return copies;
        }

        public long files() {
            return files;
        }

        public long directories() {
            return directories;
        }

        public long links() {
            return links;
        }
    }

    /** The sums for a path; links count and are not followed. */
    public Sum of(HdfsPath path) throws IOException {
        Entry entry = folder.find(path);
        if (entry == null) {
            throw new FileNotFoundException("File does not exist: " + path);
        }
        Sum sum = new Sum();
        if (entry.isDirectory()) {
            TreeWalk.go(folder, path, new Adding(sum, path.isRoot()));
        } else {
            add(entry, entry.isFile() ? details.of(path, entry) : Details.NONE, sum);
        }
        return sum;
    }

    private static void add(Entry entry, Details details, Sum sum) {
        if (entry.isLink()) {
            sum.links++;
        } else {
            sum.files++;
        }
        if (entry.isFile()) {
            sum.length += entry.size();
            sum.copies += entry.size() * details.replication();
        }
    }

    private final class Adding implements TreeWalk.Visitor {
        private final Sum sum;
        private final boolean isWhole;

        Adding(Sum sum, boolean isWhole) {
            this.sum = sum;
            this.isWhole = isWhole;
        }

        @Override
        public Queue<byte[]> enter(TreeWalk walk) throws IOException {
            sum.directories++;
            Queue<byte[]> directories = new ArrayDeque<>();
            try {
                lister.visit(walk.directory(), isWhole && walk.isAtTop(), item -> {
                    if (item.entry().isDirectory()) {
                        directories.add(item.name());
                    } else {
                        add(item.entry(), item.details(), sum);
                    }
                });
            } catch (SystemCallException e) {
                throw refused(walk.here(), e);
            }
            return directories;
        }

        @Override
        public void leave(TreeWalk walk, byte[] name) {
            // Was added when it was entered.
        }

        @Override
        public IOException refused(HdfsPath path, SystemCallException e) {
            return folder.refusal(path, e, FsAction.READ_EXECUTE);
        }
    }
}
