package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import org.apache.hadoop.fs.FsConstants;
import org.apache.hadoop.hdfs.protocol.UnresolvedPathException;

/**
 * What a program asks of one entry itself. Details are asked for with the caller's rights too: of a file that it may not
 * open, they are those of most files.
 */
public final class PlainStatuses {
    private static final byte[] ACL = "system.posix_acl_access".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] ASK_SIZE = {};

    private final Folder folder;
    private final Details usual;

    public PlainStatuses(Folder folder, Details usual) {
        this.folder = folder;
        this.usual = usual;
    }

    /** The status of what a path names; FileNotFoundException for nothing. */
    public Entry require(HdfsPath path) throws IOException {
        Entry entry = folder.findResolved(path);
        if (entry == null) {
            throw new FileNotFoundException("File does not exist: " + path);
        }
        return entry;
    }

    /** As {@link #require}, of a link itself. */
    public Entry requireLink(HdfsPath path) throws IOException {
        Entry entry = folder.find(path);
        if (entry == null) {
            throw new FileNotFoundException("File does not exist: " + path);
        }
        return entry;
    }

    /** The path at the end of all links of a path that names something. */
    public HdfsPath resolved(HdfsPath path) throws IOException {
        HdfsPath at = path;
        for (int links = 0; links <= FsConstants.MAX_PATH_LINKS; links++) {
            try {
                require(at);
                return at;
            } catch (UnresolvedPathException e) {
                at = folder.resolved(at, e);
            }
        }
        throw new IOException("Possible cyclic loop while following symbolic link " + path);
    }

    /** The details of a file at a path; those of most files, where another one stands there now. */
    public Details details(HdfsPath path, long inode) throws IOException {
        try (Place place = folder.place(resolved(path))) {
            return details(NativeFiles.NO_DIRECTORY, place.bytes(), inode);
        }
    }

    /** The details of a file in an open directory. */
    Details details(int directory, byte[] name, long inode) {
        long[] record = new long[NativeFiles.RECORD_WORDS];
        record[NativeFiles.INODE] = inode;
        record[NativeFiles.FLAGS] = NativeFiles.WANTED;
        NativeFiles.ownDetails(directory, Arrays.copyOf(name, name.length + 1), record);
        return record[NativeFiles.RESULT] == 0 && (record[NativeFiles.FLAGS] & NativeFiles.SAME_FILE) != 0
                ? Details.in(record, 0) : usual;
    }

    /** Whether an entry has more of an access control list than its mode says, or hands one down. */
    public boolean hasAcl(HdfsPath path) throws IOException {
        try (Place place = folder.place(path)) {
            byte[] name = NativeFiles.nameOf(place.descriptor()).getBytes(StandardCharsets.US_ASCII);
            return NativeFiles.getAttribute(name, ACL, ASK_SIZE) > 0 || folder.hasDefaultAcl(path);
        }
    }

    /** How much is in a tree, as {@link Contents}. */
    public Contents contents() {
        return new Contents(folder, (directory, isRoot, visitor) -> Entries.visit(directory, isRoot, this, visitor),
                (path, entry) -> details(path, entry.inode()));
    }
}
