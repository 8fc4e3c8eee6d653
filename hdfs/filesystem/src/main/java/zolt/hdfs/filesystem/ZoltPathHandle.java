package zolt.hdfs.filesystem;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.InvalidPathHandleException;
import org.apache.hadoop.fs.Options.HandleOpt;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.PathHandle;
import zolt.hdfs.namespace.Entry;

/**
 * A file by its path, and by what it was: one that was moved is not found again, since only the superuser may open a file
 * by its inode.
 */
final class ZoltPathHandle implements PathHandle {
    private static final long serialVersionUID = 1;
    private static final int NUMBERS = 3;
    /** In the place of an inode number: whatever stands at the path. */
    private static final long ANY = 0;

    private final String path;
    private final long inode;
    private final long size;
    private final long modified;

    private ZoltPathHandle(String path, long inode, long size, long modified) {
        this.path = path;
        this.inode = inode;
        this.size = size;
        this.modified = modified;
    }

    static ZoltPathHandle of(FileStatus status, HandleOpt... options) {
        if (!status.isFile() || !(status instanceof ZoltFileStatus)) {
            throw new IllegalArgumentException("PathHandle only available for files of this file system: "
                    + status.getPath());
        }
        if (HandleOpt.getOpt(HandleOpt.Location.class, options).orElse(HandleOpt.moved(false)).allowChange()) {
            throw new UnsupportedOperationException("files that were moved are not found again");
        }
        String path = status.getPath().toUri().getPath();
        return HandleOpt.getOpt(HandleOpt.Data.class, options).orElse(HandleOpt.changed(false)).allowChange()
                ? new ZoltPathHandle(path, ANY, 0, 0) : new ZoltPathHandle(path, ((ZoltFileStatus) status).inode(),
                        status.getLen(), status.getModificationTime());
    }

    /** One that came as bytes. */
    static ZoltPathHandle of(PathHandle handle) throws InvalidPathHandleException {
        if (handle instanceof ZoltPathHandle) {
            return (ZoltPathHandle) handle;
        }
        ByteBuffer bytes = handle.bytes();
        if (bytes.remaining() <= NUMBERS * Long.BYTES || bytes.get(bytes.position() + NUMBERS * Long.BYTES) != '/') {
            throw new InvalidPathHandleException("not a handle of this file system");
        }
        long inode = bytes.getLong();
        long size = bytes.getLong();
        long modified = bytes.getLong();
        return new ZoltPathHandle(StandardCharsets.UTF_8.decode(bytes).toString(), inode, size, modified);
    }

    Path path() {
        return new Path(ZoltFileSystem.SCHEME, null, path);
    }

    boolean isOf(Entry entry) {
        return inode == ANY || entry.inode() == inode && entry.size() == size && entry.modifyMillis() == modified;
    }

    @Override
    public ByteBuffer bytes() {
        byte[] name = path.getBytes(StandardCharsets.UTF_8);
        return ByteBuffer.allocate(NUMBERS * Long.BYTES + name.length).putLong(inode).putLong(size).putLong(modified)
                .put(name).flip().asReadOnlyBuffer();
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof PathHandle && bytes().equals(((PathHandle) other).bytes());
    }

    @Override
    public int hashCode() {
        return Arrays.hashCode(new Object[] {path, inode, size, modified});
    }

    @Override
    public String toString() {
        return path + " (inode " + inode + ", " + size + " bytes, modified " + modified + ")";
    }
}
