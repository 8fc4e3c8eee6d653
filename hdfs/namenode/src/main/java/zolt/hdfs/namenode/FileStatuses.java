package zolt.hdfs.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.EnumSet;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import zolt.hdfs.namespace.Details;
import zolt.hdfs.namespace.Entry;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.Names;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.Statuses;

/** An entry in the form of HDFS. */
final class FileStatuses {
    private static final byte[] NO_NAME = {};

    private final Statuses statuses;
    private final Names names;

    FileStatuses(Statuses statuses, Names names) {
        this.statuses = statuses;
        this.names = names;
    }

    /** @param name the entry's name in a listing; empty for an entry that was asked for itself */
    HdfsFileStatus of(HdfsPath path, byte[] name, Entry entry, Details details, LocatedBlocks locations)
            throws IOException {
        return of(path, name, entry, details, details.replication(), locations);
    }

    /**
     * A file for the client that writes it, with one copy: when a DataNode dies, a client that knows of three wants
     * another in its place, to which the bytes would have to be copied. Here all see the same file.
     */
    HdfsFileStatus ofWritten(HdfsPath path, OpenFiles.Opened opened) throws IOException {
        return of(path, NO_NAME, opened.entry(), opened.details(), 1, null);
    }

    private HdfsFileStatus of(HdfsPath path, byte[] name, Entry entry, Details details, int replication,
            LocatedBlocks locations) throws IOException {
        EnumSet<HdfsFileStatus.Flags> flags = details.hasAcl()
                ? EnumSet.of(HdfsFileStatus.Flags.HAS_ACL) : EnumSet.noneOf(HdfsFileStatus.Flags.class);
        return new HdfsFileStatus.Builder()
                .length(entry.isFile() ? entry.size() : 0)
                .isdir(entry.isDirectory())
                .replication(replication)
                .blocksize(details.blockSize())
                .mtime(entry.modifyMillis())
                .atime(entry.accessMillis())
                .perm(new FsPermission((short) entry.permissions()))
                .flags(flags)
                .owner(names.user(entry.uid()))
                .group(names.group(entry.gid()))
                .symlink(entry.isLink() ? statuses.target(path).getBytes(StandardCharsets.UTF_8) : null)
                .path(name)
                .fileId(entry.inode())
                .children(0)
                .storagePolicy((byte) 0)
                .locations(locations)
                .build();
    }
}
