package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Optional;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.fs.BlockLocations;
import zolt.fs.FileOperations;

/** Files while a client writes them, from create or append to complete. */
public final class OpenFiles {
    private static final Logger LOG = LoggerFactory.getLogger(OpenFiles.class);

    private static final int MOST_GROUP_FACTOR = 1024;
    private static final int ATTEMPTS = 10;
    private static final int MOST_NAME = 255;

    private final Folder folder;
    private final Making making;
    private final Leases leases;

    public OpenFiles(Folder folder, Making making, Holders holders, Locks locks, Limits limits) {
        this.folder = folder;
        this.making = making;
        leases = new Leases(holders, locks, limits.soft(), limits.hard());
    }

    Leases leases() {
        return leases;
    }

    /** How long a writer may be silent until another one, or anybody, ends its lease. */
    public record Limits(java.time.Duration soft, java.time.Duration hard) {}

    /**
     * Who writes.
     *
     * @param client the name of the client, which it chooses itself
     * @param machine where it runs
     * @param call tells a call from all others; one that is repeated, because no answer was heard, is the same
     */
    public record Writer(String client, String machine, String call) {
        /** @throws HadoopIllegalArgumentException for a name that a file system need not keep */
        public Writer {
            int length = client.getBytes(StandardCharsets.UTF_8).length;
            if (length == 0 || length > MOST_NAME) {
                throw new HadoopIllegalArgumentException("The name of a client that writes has 1 to " + MOST_NAME
                        + " bytes, not " + length);
            }
        }
    }

    /** How a file is to be made. */
    public record Creation(FsPermission mode, boolean create, boolean overwrite, boolean parents, int replication,
            long blockSize) {}

    /** A file as the client that writes it begins with it. */
    public record Opened(Entry entry, Details details) {}

    /** Makes a file, and gives the client its lease. */
    public Opened create(HdfsPath path, Creation how, Writer writer) throws IOException {
        if (!how.create() && folder.findResolved(path) == null) {
            throw new FileNotFoundException("Can't overwrite non-existent " + path);
        }
        for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
            try (WritableFile file = WritableFile.create(folder, path, making.mode(path, how.mode()) | Entry.UNBEGUN)) {
                return beginOrUnmake(path, file, how, writer);
            } catch (SystemCallException e) {
                if (e.errno() == SystemCallException.ENOENT) {
                    making.aboveFile(path, how.parents());
                } else if (e.errno() != SystemCallException.EEXIST && e.errno() != SystemCallException.EISDIR) {
                    throw folder.refusalToCreate(path, e, FsAction.WRITE);
                }
            }
            Opened done = makeWay(path, how, writer);
            if (done != null) {
                return done;
            }
        }
        throw new FileAlreadyExistsException(path + " is made again and again by others");
    }

    private Opened beginOrUnmake(HdfsPath path, WritableFile file, Creation how, Writer writer) throws IOException {
        try {
            return begin(path, file, how, writer);
        } catch (IOException | RuntimeException e) {
            try {
                unmake(path, file);
            } catch (IOException unmaking) {
                e.addSuppressed(unmaking);
            }
            throw e;
        }
    }

    /** Gives a file that has no lease yet all that it shall have; the sticky bit goes last. */
    private Opened begin(HdfsPath path, WritableFile file, Creation how, Writer writer) throws IOException {
        try (Acting own = Acting.service()) {
            Details details = setLayout(file, how);
            leases.take(file.descriptor(), writer, false, "Failed to CREATE_FILE " + path + " for " + writer.client());
            Files.setAttribute(Path.of(file.name()), "unix:mode", file.entry().permissions() & ~Entry.UNBEGUN);
            return new Opened(file.entry(), details);
        }
    }

    /** Nothing stays of what could not be begun, unless another call has begun it meanwhile. */
    private void unmake(HdfsPath path, WritableFile file) throws IOException {
        leases.unlessLeased(file.descriptor(), () -> {
            Entry there = folder.find(path);
            if (there != null && there.isSameAs(file.entry())) {
                new Removing(folder, null).remove(path, false);
            }
        });
    }

    /** What the file system has for HDFS's copies and block size: the nearest that it can. */
    static Details setLayout(WritableFile file, Creation how) throws IOException {
        Details now = Statuses.detailsNow(file);
        boolean otherCopies = how.replication() > 0 && how.replication() != now.replication();
        boolean otherSize = how.blockSize() > 0 && how.blockSize() != now.blockSize();
        if (otherCopies) {
            try {
                FileOperations.setReplication(file.name(), how.replication(), false);
            } catch (IOException e) {
                if (Errors.of(e) != SystemCallException.EOPNOTSUPP) {
                    throw e;
                }
                LOG.debug("{} has the file system's own copies", file.name(), e);
            }
        }
        if (otherSize) {
            BlockLocations sizes = BlockLocations.of(file.name(), BlockLocations.Form.FILE_SYSTEM);
            long factor = how.blockSize() / Math.max(1, sizes.blockSize());
            FileOperations.setBlockGroupFactor(file.name(), (int) Math.max(1, Math.min(MOST_GROUP_FACTOR, factor)));
        }
        return otherCopies || otherSize ? Statuses.detailsNow(file) : now;
    }

    /** Something is there already: removes it where the client said so. What a lost answer has made is the answer. */
    private Opened makeWay(HdfsPath path, Creation how, Writer writer) throws IOException {
        Entry there = folder.findResolved(path);
        if (there == null) {
            return null;
        }
        if (there.isDirectory()) {
            throw new FileAlreadyExistsException(path + " already exists as a directory");
        }
        Opened own = there.isFile() && there.size() == 0 ? resume(path, there, how, writer) : null;
        if (own != null) {
            return own;
        }
        if (how.overwrite()) {
            WritableFile.open(folder, path).close();
            new Removing(folder, null).remove(path, false);
            return null;
        }
        if (there.isFile() && holder(path).isPresent()) {
            refuseWhileWritten(path, writer);
        }
        throw new FileAlreadyExistsException(path + " for client " + writer.machine() + " already exists");
    }

    /**
     * What this very call has made before, and what a call of the same user was broken off at before it had its lease.
     * Null for any other file.
     */
    private Opened resume(HdfsPath path, Entry there, Creation how, Writer writer) throws IOException {
        Caller caller = Acting.now();
        try (Acting own = Acting.service(); WritableFile file = WritableFile.open(folder, path)) {
            Entry now = file.entry();
            Optional<HeldLease> held = leases.of(file.descriptor());
            boolean isUnbegun = now.isUnbegun() && held.isEmpty() && (caller.superuser() || caller.uid() == now.uid());
            boolean isMine = now.isSameAs(there) && (isUnbegun || held.isPresent() && held.get().isOf(writer));
            return isMine ? begin(path, file, how, writer) : null;
        } catch (FileNotFoundException e) {
            return null;  // removed meanwhile
        }
    }

    /** A file that is being written answers with that, which tells the client to wait. */
    private void refuseWhileWritten(HdfsPath path, Writer writer) throws IOException {
        try (WritableFile file = WritableFile.open(folder, path)) {
            leases.whileUnwritten(file.descriptor(), writer, "Failed to CREATE_FILE " + path + " for " + writer.client()
                    + " on " + writer.machine(), Leases.Change.NONE);
        }
    }

    /** Opens a file to write on at its end. */
    public Opened append(HdfsPath path, Writer writer) throws IOException {
        Entry there = folder.findResolved(path);
        if (there != null && there.isDirectory()) {
            throw new FileAlreadyExistsException("Cannot append to directory " + path + "; already exists as a directory.");
        }
        folder.requireFile(path);
        try (WritableFile file = WritableFile.open(folder, path); Acting own = Acting.service()) {
            leases.take(file.descriptor(), writer, false, "Failed to APPEND_FILE " + path + " for " + writer.client()
                    + " on " + writer.machine());
            return new Opened(file.entry(), Statuses.detailsNow(file));
        }
    }

    /** Whether a file is being written: told to a reader by the file itself, with the reader's own rights. */
    public boolean isWritten(OpenedFile file) throws IOException {
        return !(file.isReadable() && leases.isFree(file.descriptor())) && leases.look(file.descriptor()).isPresent();
    }

    /** Who writes a file; one whose writer is dead for long is closed by this look. */
    public Optional<String> holder(HdfsPath path) throws IOException {
        try (Place place = folder.place(path)) {
            return leases.look(place.descriptor()).map(HeldLease::holder);
        }
    }

    /** A file that a client writes, as the file itself says. */
    public final class Written implements AutoCloseable {
        private final Place place;
        private final Entry entry;
        private Optional<HeldLease> lease = Optional.empty();

        private Written(Place place) throws IOException {
            this.place = place;
            entry = Entry.of(place.descriptor());
        }

        public Entry entry() {
            return entry;
        }

        /** A descriptor that names the file and gives no right to it. */
        public int descriptor() throws IOException {
            return place.descriptor();
        }

        /** The writer's session. */
        public Session session() throws IOException {
            return lease.orElseThrow().known();
        }

        /** Ends the writing at a size: cuts what is behind it, forces the file to the disk, gives the lease back. */
        public void complete(long size) throws IOException {
            Session session = session();
            if (size < session.start()) {
                throw new IOException("The writing of the file began at " + session.start() + " and cannot end at " + size);
            }
            if (entry.size() == session.start()) {
                try (Acting own = Acting.service()) {
                    leases.end(descriptor(), session, Leases.Change.NONE);
                }
                return;
            }
            try (Acting own = Acting.onData(); FileChannel channel = channel()) {
                channel.force(true);
                leases.end(descriptor(), session, () -> {
                    if (size < channel.size()) {
                        channel.truncate(size);
                        channel.force(true);
                    }
                });
            }
        }

        /** Forces what has been written to the disk. */
        public void force() throws IOException {
            try (Acting own = Acting.onData(); FileChannel channel = channel()) {
                channel.force(true);
            }
        }

        private FileChannel channel() throws IOException {
            return FileChannel.open(Path.of(place.pinned()), StandardOpenOption.WRITE);
        }

        @Override
        public void close() {
            place.close();
        }
    }

    /**
     * The file, when the client holds its lease, and the caller may write it or owns it: the name of a client is no
     * secret.
     *
     * @param inode of the file that the client has opened; 0 where it does not say
     */
    public Written written(HdfsPath path, String client, long inode) throws IOException {
        return writtenOrClosed(path, client, inode).orElseThrow(
                () -> ServerExceptions.leaseExpired("File is not open for writing: " + name(path, inode, client)));
    }

    /** As {@link #written}, but nothing when the file is closed: a client that heard no answer asks again. */
    public Optional<Written> writtenOrClosed(HdfsPath path, String client, long inode) throws IOException {
        Written file = find(path, client, inode);
        boolean isWriters = false;
        try {
            file.lease = leases.of(file.descriptor());
            Optional<String> holder = file.lease.map(HeldLease::holder);
            isWriters = holder.equals(Optional.of(client));
            if (holder.isPresent() && !isWriters) {
                throw ServerExceptions.leaseExpired("Client (=" + client + ") is not the lease owner (=" + holder.get()
                        + ": " + name(path, inode, client));
            }
            return isWriters ? Optional.of(file) : Optional.empty();
        } finally {
            if (!isWriters) {
                file.close();
            }
        }
    }

    private Written find(HdfsPath path, String client, long inode) throws IOException {
        Place place = folder.place(path);
        try {
            Written file = new Written(place);
            if (inode > 0 && file.entry.inode() != inode) {
                throw new FileNotFoundException("File does not exist: " + name(path, inode, client));
            }
            if (!file.entry.isFile()) {
                throw ServerExceptions.leaseExpired("INode is not a regular file: " + name(path, inode, client));
            }
            checkWriter(path, file);
            return file;
        } catch (SystemCallException e) {
            place.close();
            throw e.errno() == SystemCallException.ENOENT
                    ? new FileNotFoundException("File does not exist: " + name(path, inode, client))
                    : folder.refusal(path, e, FsAction.WRITE);
        } catch (IOException e) {
            place.close();
            throw e;
        }
    }

    private void checkWriter(HdfsPath path, Written file) throws SystemCallException {
        Caller caller = Acting.now();
        if (!caller.superuser() && caller.uid() != file.entry.uid()) {
            SystemCallException.check(NativeFiles.mayAccess(file.place.pinned().getBytes(StandardCharsets.US_ASCII),
                    FsAction.WRITE.ordinal()), path.toString());
        }
    }

    private static String name(HdfsPath path, long inode, String client) {
        return path + " (inode " + inode + ") Holder " + client;
    }

    /** Cuts a file that nobody writes. */
    public void truncate(HdfsPath path, long size, Writer writer) throws IOException {
        folder.requireFile(path);
        try (WritableFile file = WritableFile.open(folder, path); FileChannel channel = file.channel()) {
            leases.whileUnwritten(file.descriptor(), writer, "Failed to TRUNCATE_FILE " + path + " for " + writer.client()
                    + " on " + writer.machine(), () -> cut(channel, size));
            channel.force(true);
        }
    }

    static void cut(FileChannel channel, long size) throws IOException {
        if (size > channel.size()) {
            throw new HadoopIllegalArgumentException("Cannot truncate to a larger file size. Current size: "
                    + channel.size() + ", truncate size: " + size + ".");
        }
        channel.truncate(size);
    }

    /**
     * Ends the writing of a file by whomever, with what has been written, for a caller who may write the file.
     *
     * @return true: there is nothing to wait for
     */
    public boolean recover(HdfsPath path) throws IOException {
        folder.requireFile(path);
        try (WritableFile file = WritableFile.open(folder, path)) {
            if (leases.of(file.descriptor()).isPresent()) {
                try (FileChannel channel = file.channel()) {
                    channel.force(true);
                }
                leases.endAny(file.descriptor());
            }
        }
        return true;
    }
}
