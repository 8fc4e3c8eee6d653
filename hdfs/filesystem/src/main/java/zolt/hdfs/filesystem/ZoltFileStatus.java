package zolt.hdfs.filesystem;

import java.io.IOException;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import zolt.hdfs.namespace.Details;
import zolt.hdfs.namespace.Entry;

/**
 * The status of an entry. Block size, copies and whether there is a list take opening the file; they are asked for when
 * somebody wants to know.
 */
final class ZoltFileStatus extends FileStatus {
    private static final long serialVersionUID = 1;

    private final transient ZoltFileSystem files;
    private final transient long inode;
    private transient volatile Details details;

    ZoltFileStatus(ZoltFileSystem files, Entry entry, Path path, Path target, String owner, String group) {
        super(entry.isFile() ? entry.size() : 0, entry.isDirectory(), 0, 0, entry.modifyMillis(), entry.accessMillis(),
                new FsPermission((short) entry.permissions()), owner, group, target, path);
        this.files = files;
        inode = entry.inode();
    }

    long inode() {
        return inode;
    }

    private Details details() {
        if (details == null) {
            details = files.details(this);
        }
        return details;
    }

    @Override
    public long getBlockSize() {
        return isFile() ? details().blockSize() : 0;
    }

    @Override
    public short getReplication() {
        return (short) (isFile() ? details().replication() : 0);
    }

    @Override
    public boolean hasAcl() {
        return details().hasAcl();
    }

    /** Its bit for a list is how older programs, and Hadoop's web server, ask for {@link #hasAcl}. */
    private final class Permission extends FsPermission {
        private static final long serialVersionUID = 1;

        Permission(short mode) {
            super(mode);
        }

        @Override
        @Deprecated
        public boolean getAclBit() {
            return hasAcl();
        }

        private Object writeReplace() {
            return new FsPermission(toShort());
        }
    }

    @Override
    public FsPermission getPermission() {
        return new Permission(super.getPermission().toShort());
    }

    /** One that knows everything already. */
    private FileStatus plain() {
        try {
            return new FileStatus(getLen(), isDirectory(), getReplication(), getBlockSize(), getModificationTime(),
                    getAccessTime(), super.getPermission(), getOwner(), getGroup(),
                    isSymlink() ? getSymlink() : null, getPath(),
                    hasAcl(), isEncrypted(), isErasureCoded());
        } catch (IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
    }

    private Object writeReplace() {
        return plain();
    }

    /** Two of them are the same when they tell of the same path, as everywhere in Hadoop. */
    @Override
    public boolean equals(Object other) {
        return super.equals(other);
    }

    @Override
    public int hashCode() {
        return super.hashCode();
    }

    @Override
    public String toString() {
        return plain().toString();
    }
}
