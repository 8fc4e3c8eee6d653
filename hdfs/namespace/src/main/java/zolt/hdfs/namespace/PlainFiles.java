package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileStore;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.fs.BlockLocation;

/**
 * Files for a program that reads and writes them itself. Who writes one holds its lock (flock(2)), which the kernel gives
 * back when the program ends, so that there is one such writer at a time; and nobody writes what a client of the service
 * has a lease of. The locks bind those alone who come this way.
 */
public final class PlainFiles {
    private static final Logger LOG = LoggerFactory.getLogger(PlainFiles.class);
    private static final int ATTEMPTS = 10;
    private static final byte[] ASK_SIZE = {};
    private static final String CONCAT = "CONCAT_FILE";

    private final Folder folder;
    private final Making making;
    private final Removing removing;

    public PlainFiles(Folder folder, Making making, Removing removing) {
        this.folder = folder;
        this.making = making;
        this.removing = removing;
    }

    /** Opens a file that the kernel lets the caller read. */
    public DataFile toRead(HdfsPath path) throws IOException {
        return toRead(path, null);
    }

    /** @param call for which the file is locked too; null for none */
    private DataFile toRead(HdfsPath path, String call) throws IOException {
        int descriptor;
        try (Place place = folder.place(path)) {
            descriptor = SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY, place.bytes(),
                    NativeFiles.O_RDONLY | NativeFiles.O_NOFOLLOW, 0), path.toString());
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ);
        }
        boolean taken = false;
        try {
            Entry entry = requireFile(path, descriptor);
            if (call != null) {
                lock(path, descriptor, call);
            }
            DataFile data = DataFile.toRead(descriptor, entry);
            taken = true;
            return data;
        } finally {
            if (!taken) {
                NativeFiles.close(descriptor);
            }
        }
    }

    private static Entry requireFile(HdfsPath path, int descriptor) throws IOException {
        Entry entry = Entry.of(descriptor);
        if (!entry.isFile()) {
            throw new FileNotFoundException("Path is not a file: " + path);
        }
        return entry;
    }

    /** The blocks of a range of a file that the caller may read, each with the nodes that hold most of it. */
    public List<BlockLocation> blocks(HdfsPath path, long offset, long length) throws IOException {
        try (OpenedFile file = OpenedFile.toRead(folder, path)) {
            return file.blocks(offset, length);
        }
    }

    /** The size of a file that the caller may read. */
    public long size(HdfsPath path) throws IOException {
        try (OpenedFile file = OpenedFile.toRead(folder, path)) {
            return file.entry().size();
        }
    }

    /** How many bytes the file system of a path has, and how many a user may still write. */
    public long[] space(HdfsPath path) throws IOException {
        folder.require(path);
        try (Place place = folder.place(path)) {
            FileStore store = Files.getFileStore(Path.of(place.pinned()));
            return new long[] {store.getTotalSpace(), store.getUsableSpace()};
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ);
        }
    }

    /** Whether the file system of a path knows a kind of attributes. */
    public boolean knows(HdfsPath path, String attribute) throws IOException {
        folder.require(path);
        try (Place place = folder.place(path)) {
            return NativeFiles.getAttribute(place.pinned().getBytes(StandardCharsets.US_ASCII),
                    attribute.getBytes(StandardCharsets.US_ASCII), ASK_SIZE) != -SystemCallException.EOPNOTSUPP;
        }
    }

    /** Makes a file, in the place of another one where that is asked for. */
    public DataFile create(HdfsPath path, OpenFiles.Creation how) throws IOException {
        if (!how.create() && folder.findResolved(path) == null) {
            throw new FileNotFoundException("Can't overwrite non-existent " + path);
        }
        for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
            int mode = making.mode(path, how.mode());
            try (WritableFile file = WritableFile.create(folder, path, mode)) {
                return begin(path, file, mode, how);
            } catch (SystemCallException e) {
                if (e.errno() == SystemCallException.ENOENT) {
                    making.aboveFile(path, how.parents());
                } else if (e.errno() != SystemCallException.EEXIST && e.errno() != SystemCallException.EISDIR) {
                    throw folder.refusalToCreate(path, e, FsAction.WRITE);
                }
            }
            makeWay(path, how);
        }
        throw new FileAlreadyExistsException(path + " is made again and again by others");
    }

    private DataFile begin(HdfsPath path, WritableFile file, int mode, OpenFiles.Creation how) throws IOException {
        try {
            lock(path, file.descriptor(), "CREATE_FILE");
            if (making.isMasked(path, mode)) {
                Files.setAttribute(Path.of(file.name()), "unix:mode", mode);
            }
            if (how.replication() > 0 || how.blockSize() > 0) {
                layOut(path, file, how);
            }
            return file.toData(false);
        } catch (AlreadyBeingCreatedException e) {
            throw e;  // another program has opened it already, and writes it
        } catch (IOException e) {
            unmake(path, file);
            throw e instanceof SystemCallException ? folder.refusalToCreate(path, e, FsAction.WRITE) : e;
        }
    }

    /** Nothing stays of what could not be begun. */
    private void unmake(HdfsPath path, WritableFile file) {
        try {
            Entry there = folder.find(path);
            if (there != null && there.isSameAs(file.entry())) {
                removing.remove(path, false);
            }
        } catch (IOException e) {
            LOG.debug("{} is left, empty", path, e);
        }
    }

    /** Copies and block size are wishes: a file is made also where the file system has its own, or lets others set them. */
    private static void layOut(HdfsPath path, WritableFile file, OpenFiles.Creation how) {
        try {
            OpenFiles.setLayout(file, how);
        } catch (IOException e) {
            LOG.debug("{} has the file system's own copies and block size", path, e);
        }
    }

    private void makeWay(HdfsPath path, OpenFiles.Creation how) throws IOException {
        Entry there = folder.findResolved(path);
        if (there == null) {
            return;
        }
        if (there.isDirectory()) {
            throw new FileAlreadyExistsException(path + " already exists as a directory");
        }
        if (!how.overwrite()) {
            throw new FileAlreadyExistsException(path + " already exists");
        }
        WritableFile.open(folder, path).close();
        removing.remove(path, false);
    }

    /** Opens a file to write on at its end, wherever that is by then. */
    public DataFile toAppend(HdfsPath path) throws IOException {
        Entry there = folder.findResolved(path);
        if (there != null && there.isDirectory()) {
            throw new FileAlreadyExistsException("Cannot append to directory " + path + "; already exists as a directory.");
        }
        try (WritableFile file = open(path, NativeFiles.O_APPEND, "APPEND_FILE")) {
            return file.toData(true);
        }
    }

    private WritableFile open(HdfsPath path, int flags, String call) throws IOException {
        WritableFile file = WritableFile.open(folder, path, flags);
        boolean opened = false;
        try {
            requireFile(path, file.descriptor());
            if (lock(path, file.descriptor(), call)) {
                HalfJoined.mend(folder, path, file.descriptor());
            }
            opened = true;
            return file;
        } finally {
            if (!opened) {
                file.close();
            }
        }
    }

    /** Whether there is a lock now: not every file system has them. */
    private static boolean lock(HdfsPath path, int descriptor, String call) throws IOException {
        int result = NativeFiles.tryLock(descriptor);
        if (result == -SystemCallException.EAGAIN) {
            throw new AlreadyBeingCreatedException("Failed to " + call + " " + path
                    + " because another program is writing it");
        } else if (result < 0) {
            LOG.debug("{} is written without a lock: {}", path, NativeFiles.errorText(-result));
        }
        // Who may write and not read a file is not told of its lease.
        byte[] name = NativeFiles.nameOf(descriptor).getBytes(StandardCharsets.US_ASCII);
        if (NativeFiles.getAttribute(name, HeldLease.HOLDER, ASK_SIZE) > 0) {
            String holder = HeldLease.of(descriptor).map(HeldLease::holder).orElse("a client that has just ended");
            throw new AlreadyBeingCreatedException("Failed to " + call + " " + path + " because this file lease is currently"
                    + " owned by " + holder + ", a client of the HDFS service, where the lease can be recovered");
        }
        return result == 0;
    }

    /** Cuts a file. */
    public void truncate(HdfsPath path, long size) throws IOException {
        folder.requireFile(path);
        try (WritableFile file = open(path, 0, "TRUNCATE_FILE"); DataFile data = file.toData(false)) {
            OpenFiles.cut(data.channel(), size);
        }
    }

    /**
     * Copies the bytes of files behind those of another, and removes the files. When that fails, the target has what it had,
     * and behind it the sources that are gone. A program that is ended in the midst may leave a part of one more there,
     * which the next writer cuts off, or one source that the target has and that is there too.
     */
    public void join(HdfsPath target, List<HdfsPath> paths) throws IOException {
        Joining.check(folder, target, folder.requireFile(target), paths, source -> false);
        try (WritableFile file = open(target, NativeFiles.O_APPEND, CONCAT)) {
            int descriptor = file.descriptor();
            try (DataFile into = file.toData(true)) {
                for (HdfsPath path : paths) {
                    try (DataFile source = toRead(path, CONCAT)) {
                        HalfJoined.mark(descriptor, into.channel().size(), path);
                        try {
                            append(path, source, into.channel());
                        } finally {
                            HalfJoined.unmark(descriptor);
                        }
                        Entry there = folder.find(path);
                        if (there == null || !there.isSameAs(source.entry())) {
                            throw new IOException(path + " was replaced while it was joined");
                        }
                        removing.remove(path, false);
                    }
                }
            }
        }
    }

    private static void append(HdfsPath path, DataFile source, FileChannel to) throws IOException {
        long before = to.size();
        try {
            long size = source.entry().size();
            for (long at = 0; at < size;) {
                long now = source.channel().transferTo(at, size - at, to);
                if (now <= 0) {
                    throw new IOException(path + " has become shorter");
                }
                at += now;
            }
            to.force(true);
        } catch (IOException | RuntimeException e) {
            try {
                to.truncate(before);
            } catch (IOException cutting) {
                e.addSuppressed(cutting);
            }
            throw e;
        }
    }
}
