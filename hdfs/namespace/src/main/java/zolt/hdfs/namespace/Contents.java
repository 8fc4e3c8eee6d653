package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;

/** How much is in a tree, as far as the caller may see it. */
public final class Contents {
    private static final byte[] FROM_THE_START = {};
    private static final int PAGE = 1000;

    private final Folder folder;
    private final Listings listings;
    private final Statuses statuses;

    public Contents(Folder folder, Listings listings, Statuses statuses) {
        this.folder = folder;
        this.listings = listings;
        this.statuses = statuses;
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
        add(path, entry, entry.isFile() ? statuses.details(path, entry) : Details.NONE, sum);
        return sum;
    }

    private void add(HdfsPath path, Entry entry, Details details, Sum sum) throws IOException {
        if (entry.isLink()) {
            sum.links++;
        } else if (!entry.isDirectory()) {
            sum.files++;
            if (entry.isFile()) {
                sum.length += entry.size();
                sum.copies += entry.size() * details.replication();
            }
        } else {
            sum.directories++;
            byte[] last = FROM_THE_START;
            Listings.Page page;
            do {
                page = listings.list(path, last, PAGE);
                for (Listings.Item item : page.items()) {
                    add(path.child(item.text()), item.entry(), item.details(), sum);
                    last = item.name();
                }
            } while (page.remaining() > 0);
        }
    }
}
