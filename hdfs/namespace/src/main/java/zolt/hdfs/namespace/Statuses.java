package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import zolt.fs.FileStatus;

/** What clients ask of one entry. */
public final class Statuses {
    private static final byte[] ACCESS_ACL = "system.posix_acl_access".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] DEFAULT_ACL = "system.posix_acl_default".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] ASK_SIZE = {};

    private static final ThreadLocal<FileStatus> RECORD =
            ThreadLocal.withInitial(() -> new FileStatus().withLease(false));

    private final Folder folder;

    public Statuses(Folder folder) {
        this.folder = folder;
    }

    /** How HDFS stores a file: in blocks of a size, and in copies. */
    public record Layout(long blockSize, int replication) {}

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
        Entry entry = folder.find(path);
        if (entry == null) {
            throw new FileNotFoundException("File does not exist: " + path);
        }
        if (!entry.isLink()) {
            throw new IOException("Path " + path + " is not a symbolic link");
        }
        return folder.target(path);
    }

    /** The layout of a file. Asked with the service's rights: whoever may see the status may see it. */
    public Layout layout(HdfsPath path) throws IOException {
        try (Acting own = Acting.service(); Place place = folder.place(path)) {
            return layout(place.text());
        }
    }

    static Layout layout(String file) throws IOException {
        FileStatus status = RECORD.get();
        status.read(file);
        return new Layout(status.blockSize(), status.replication());
    }

    /** Whether an entry has more of an access control list than its mode says. */
    public boolean hasAcl(HdfsPath path, Entry entry) throws IOException {
        try (Place place = folder.place(path)) {
            return !entry.isLink() && (NativeFiles.getAttribute(place.bytes(), ACCESS_ACL, ASK_SIZE) > 0
                    || entry.isDirectory() && NativeFiles.getAttribute(place.bytes(), DEFAULT_ACL, ASK_SIZE) > 0);
        }
    }
}
