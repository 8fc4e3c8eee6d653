package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import org.apache.hadoop.fs.permission.FsAction;

/** What clients ask of one entry. */
public final class Statuses {
    private static final int ATTEMPTS = 10;

    private final Folder folder;
    private final KnownDetails known = new KnownDetails();

    public Statuses(Folder folder) {
        this.folder = folder;
    }

    /** The status of what a path names; a link at its end is for the client to resolve. Null for nothing. */
    public Entry get(HdfsPath path) throws IOException {
        return folder.findResolved(path);
    }

    /** As {@link #get}, of a link itself. */
    public Entry getLink(HdfsPath path) throws IOException {
        return folder.find(path);
    }

    /** As {@link #get}; FileNotFoundException for nothing. */
    public Entry require(HdfsPath path) throws IOException {
        return folder.require(path);
    }

    /** As {@link #require}, of a file. */
    public Entry requireFile(HdfsPath path) throws IOException {
        return folder.requireFile(path);
    }

    public String target(HdfsPath path) throws IOException {
        return folder.linkTarget(path);
    }

    /**
     * The details of what has this status. They are asked for with the service's rights: whoever may see the status may
     * see them; of a file that has taken the place of this one meanwhile, only when the caller may see that.
     */
    public Details details(HdfsPath path, Entry entry) throws IOException {
        Entry now = entry;
        for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
            Details details = knownOrNone(now);
            if (details == null) {
                details = ask(path, now);
            }
            if (details != null) {
                return details;
            }
            now = folder.require(path);
        }
        throw new IOException(path + " is replaced again and again by others");
    }

    private Details knownOrNone(Entry entry) {
        return entry.isFile() || entry.isDirectory() ? known.get(entry) : Details.NONE;
    }

    /** Null where another file stands there now. */
    private Details ask(HdfsPath path, Entry entry) throws IOException {
        long[] record = entry.asRecord();
        try (Place place = folder.place(path)) {
            askAll(NativeFiles.NO_DIRECTORY, terminated(place.bytes()), record);
        }
        if (record[NativeFiles.RESULT] == -SystemCallException.ELOOP) {
            return null;
        } else if (record[NativeFiles.RESULT] < 0) {
            throw folder.refusal(path, new SystemCallException((int) -record[NativeFiles.RESULT], path.toString()),
                    FsAction.READ);
        }
        remember(record, 0);
        return (record[NativeFiles.FLAGS] & NativeFiles.SAME_FILE) != 0 ? Details.in(record, 0) : null;
    }

    /** The details of an open file. */
    public Details details(OpenedFile file) throws IOException {
        Details details = known.get(file.entry());
        if (details != null) {
            return details;
        }
        long[] record = file.entry().asRecord();
        int result = file.isReadable() ? NativeFiles.detailsOf(file.descriptor(), record) : -SystemCallException.EACCES;
        if (isRefusal(result)) {
            askAsService(file, record);
        } else {
            SystemCallException.check(result, "the details of an open file");
        }
        remember(record, 0);
        return Details.in(record, 0);
    }

    private static boolean isRefusal(long result) {
        return result == -SystemCallException.EACCES || result == -SystemCallException.EPERM;
    }

    private static void askAsService(OpenedFile file, long[] record) throws IOException {
        try (Acting own = Acting.service()) {
            int readable = SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY,
                    NativeFiles.nameOf(file.descriptor()).getBytes(StandardCharsets.US_ASCII), NativeFiles.O_RDONLY, 0),
                    "an open file");
            try {
                readDetails(readable, record);
            } finally {
                NativeFiles.close(readable);
            }
        }
    }

    private static void readDetails(int descriptor, long[] record) throws SystemCallException {
        SystemCallException.check(NativeFiles.detailsOf(descriptor, record), "the details of an open file");
    }

    /** The details of a file that has just been opened for writing; the thread acts with the service's rights. */
    static Details detailsNow(WritableFile file) throws SystemCallException {
        long[] record = new long[NativeFiles.RECORD_WORDS];
        readDetails(file.descriptor(), record);
        return Details.in(record, 0);
    }

    /**
     * Fills in the details of many names in an open directory, which the caller may list and search: asked for at once,
     * as far as they are not known.
     */
    void fill(int directory, byte[] names, long[] records) throws IOException {
        boolean wanted = false;
        for (int at = 0; at < records.length; at += NativeFiles.RECORD_WORDS) {
            if (records[at + NativeFiles.RESULT] == 0) {
                Details details = knownOrNone(new Entry(records, at));
                records[at + NativeFiles.FLAGS] = details == null ? NativeFiles.WANTED
                        : NativeFiles.SAME_FILE | (details.hasAcl() ? NativeFiles.HAS_ACL : 0);
                if (details == null) {
                    wanted = true;
                } else {
                    records[at + NativeFiles.BLOCK_SIZE] = details.blockSize();
                    records[at + NativeFiles.REPLICATION] = details.replication();
                }
            }
        }
        if (!wanted) {
            return;
        }
        askAll(directory, names, records);
        for (int at = 0; at < records.length; at += NativeFiles.RECORD_WORDS) {
            remember(records, at);
        }
    }

    /**
     * Asks for what is wanted: for the caller, with the capabilities to look at every file; and where a file system
     * goes by ids alone, as the service.
     */
    private static void askAll(int directory, byte[] names, long[] records) throws IOException {
        NativeFiles.details(directory, names, records);
        for (int at = 0; at < records.length; at += NativeFiles.RECORD_WORDS) {
            if (records[at + NativeFiles.FLAGS] == NativeFiles.WANTED && isRefusal(records[at + NativeFiles.RESULT])) {
                try (Acting own = Acting.service()) {
                    NativeFiles.details(directory, names, records);
                }
                return;
            }
        }
    }

    private void remember(long[] records, int at) {
        if (records[at + NativeFiles.RESULT] == 0
                && (records[at + NativeFiles.FLAGS] & NativeFiles.SAME_VERSION) != 0) {
            known.put(new Entry(records, at), Details.in(records, at));
        }
    }

    private static byte[] terminated(byte[] name) {
        return Arrays.copyOf(name, name.length + 1);
    }
}
