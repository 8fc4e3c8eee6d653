package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Optional;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.server.namenode.LeaseExpiredException;
import zolt.fs.BlockLocations;
import zolt.fs.FileOperations;

/** Files while a client writes them, from create or append to complete. */
public final class OpenFiles {
    private static final int MOST_GROUP_FACTOR = 1024;
    private static final int ATTEMPTS = 10;

    private final Folder folder;
    private final Making making;
    private final Leases leases;

    public OpenFiles(Folder folder, Making making, Holders holders, Limits limits) {
        this.folder = folder;
        this.making = making;
        leases = new Leases(holders, limits.soft(), limits.hard());
    }

    /** How long a writer may be silent until another one, or anybody, ends its lease. */
    public record Limits(java.time.Duration soft, java.time.Duration hard) {}

    /**
     * Who writes: the name of the client, where it runs, and whether it has asked before and heard no answer.
     */
    public record Writer(String client, String machine, boolean isRetry) {}

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
            try (WritableFile file = WritableFile.create(folder, path, making.mode(path, how.mode()))) {
                return begin(path, file, how, writer);
            } catch (SystemCallException e) {
                if (e.errno() == SystemCallException.ENOENT) {
                    making.above(path, how.mode(), how.parents());
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

    private Opened begin(HdfsPath path, WritableFile file, Creation how, Writer writer) throws IOException {
        try (Acting own = Acting.service()) {
            leases.take(file, writer.client(), "Failed to CREATE_FILE " + path + " for " + writer.client());
            Details details = setLayout(file, how);
            return new Opened(file.entry(), details);
        }
    }

    /** What the file system has for HDFS's copies and block size: the nearest that it can. */
    private static Details setLayout(WritableFile file, Creation how) throws IOException {
        Details now = Statuses.detailsNow(file);
        boolean otherCopies = how.replication() > 0 && how.replication() != now.replication();
        boolean otherSize = how.blockSize() > 0 && how.blockSize() != now.blockSize();
        if (otherCopies) {
            FileOperations.setReplication(file.name(), how.replication(), false);
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
        if (writer.isRetry() && there.size() == 0 && holder(path).equals(Optional.of(writer.client()))) {
            return reopened(path);
        }
        if (how.overwrite()) {
            WritableFile.open(folder, path).close();
            new Removing(folder, null).remove(path, false);
            return null;
        }
        if (there.isFile()) {
            refuseWhileWritten(path, writer);
        }
        throw new FileAlreadyExistsException(path + " for client " + writer.machine() + " already exists");
    }

    private Opened reopened(HdfsPath path) throws IOException {
        try (WritableFile file = WritableFile.open(folder, path); Acting own = Acting.service()) {
            return new Opened(file.entry(), Statuses.detailsNow(file));
        }
    }

    /** A file that is being written answers with that, which tells the client to wait. */
    private void refuseWhileWritten(HdfsPath path, Writer writer) throws IOException {
        if (holder(path).isEmpty()) {
            return;
        }
        try (WritableFile file = WritableFile.open(folder, path)) {
            String what = "Failed to CREATE_FILE " + path + " for " + writer.client() + " on " + writer.machine();
            leases.take(file, writer.client(), what);
            leases.end(file.name());
        }
    }

    /** Opens a file to write on at its end. */
    public Opened append(HdfsPath path, Writer writer) throws IOException {
        folder.requireFile(path);
        try (WritableFile file = WritableFile.open(folder, path); Acting own = Acting.service()) {
            Entry entry = file.entry();
            boolean mine = writer.isRetry() && leases.holder(file.name()).equals(Optional.of(writer.client()));
            if (!mine) {
                leases.take(file, writer.client(), "Failed to APPEND_FILE " + path + " for " + writer.client() + " on "
                        + writer.machine());
                entry = file.entry();
                leases.setStart(file.name(), entry.size());
            }
            return new Opened(entry, Statuses.detailsNow(file));
        }
    }

    /** Whether a file is being written: told to a reader by the file itself, with the reader's own rights. */
    public boolean isWritten(HdfsPath path, OpenedFile file) throws IOException {
        return !(file.isReadable() && leases.isFree(Place.nameOf(file.descriptor()))) && holder(path).isPresent();
    }

    /** Who writes a file; one whose writer is dead for long is closed by this look. */
    public Optional<String> holder(HdfsPath path) throws IOException {
        try (Acting own = Acting.service(); Place place = folder.place(path)) {
            String file = place.pinned();
            Optional<String> holder = leases.holder(file);
            if (holder.isPresent() && leases.isDead(Entry.of(place.descriptor()), holder.get())) {
                leases.end(file);
                return Optional.empty();
            }
            return holder;
        }
    }

    /** A file that a client writes, as the file itself says. */
    public final class Written implements AutoCloseable {
        private final Place place;
        private final Entry entry;
        private final String name;

        private Written(Place place) throws IOException {
            this.place = place;
            name = place.pinned();
            entry = Entry.of(place.descriptor());
        }

        public Entry entry() {
            return entry;
        }

        /** A descriptor that names the file and gives no right to it. */
        public int descriptor() throws IOException {
            return place.descriptor();
        }

        /** Where the writer's first block starts. */
        public long start() throws IOException {
            return leases.start(name);
        }

        /** Ends the writing at a size: cuts what is behind it, forces the file to the disk, gives the lease back. */
        public void complete(long size) throws IOException {
            try (Acting own = Acting.service()) {
                try (FileChannel channel = FileChannel.open(Path.of(name), StandardOpenOption.WRITE)) {
                    if (size < channel.size()) {
                        channel.truncate(size);
                    }
                    channel.force(true);
                }
                leases.end(name);
            }
        }

        /** Ends the writing of a client that has not been given any block, and so has written nothing. */
        public void completeUnwritten() throws IOException {
            try (Acting own = Acting.service()) {
                long size = start();
                if (entry.size() > size) {
                    complete(size);
                } else {
                    leases.end(name);
                }
            }
        }

        /** Forces what has been written to the disk. */
        public void force() throws IOException {
            try (Acting own = Acting.service();
                    FileChannel channel = FileChannel.open(Path.of(name), StandardOpenOption.WRITE)) {
                channel.force(true);
            }
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
                () -> new LeaseExpiredException("File is not open for writing: " + name(path, inode, client)));
    }

    /** As {@link #written}, but nothing when the file is closed: a client that heard no answer asks again. */
    public Optional<Written> writtenOrClosed(HdfsPath path, String client, long inode) throws IOException {
        Written file = find(path, client, inode);
        boolean isWriters = false;
        try {
            Optional<String> holder = leases.holder(file.name);
            isWriters = holder.equals(Optional.of(client));
            if (holder.isPresent() && !isWriters) {
                throw new LeaseExpiredException("Client (=" + client + ") is not the lease owner (=" + holder.get() + ": "
                        + name(path, inode, client));
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
                throw new LeaseExpiredException("INode is not a regular file: " + name(path, inode, client));
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
            SystemCallException.check(NativeFiles.mayAccess(file.name.getBytes(), FsAction.WRITE.ordinal()),
                    path.toString());
        }
    }

    private static String name(HdfsPath path, long inode, String client) {
        return path + " (inode " + inode + ") Holder " + client;
    }

    /** Cuts a file that nobody writes. */
    public void truncate(HdfsPath path, long size, Writer writer) throws IOException {
        folder.requireFile(path);
        try (WritableFile file = WritableFile.open(folder, path)) {
            whileLeased(path, file, writer, () -> cut(file, size));
        }
    }

    private static void cut(WritableFile file, long size) throws IOException {
        try (Acting own = Acting.service();
                FileChannel channel = FileChannel.open(Path.of(file.name()), StandardOpenOption.WRITE)) {
            if (size > channel.size()) {
                throw new HadoopIllegalArgumentException("Cannot truncate to a larger file size. Current size: "
                        + channel.size() + ", truncate size: " + size + ".");
            }
            channel.truncate(size);
            channel.force(true);
        }
    }

    /** A change of a file that nobody else may write meanwhile. */
    @FunctionalInterface
    interface Change {
        void run() throws IOException;
    }

    void whileLeased(HdfsPath path, WritableFile file, Writer writer, Change change) throws IOException {
        leases.take(file, writer.client(), "Failed to change " + path + " for " + writer.client() + " on "
                + writer.machine());
        try {
            change.run();
        } finally {
            leases.end(file.name());
        }
    }

    /**
     * Ends the writing of a file by whomever, with what has been written, for a caller who may write the file.
     *
     * @return true: there is nothing to wait for
     */
    public boolean recover(HdfsPath path) throws IOException {
        folder.requireFile(path);
        try (WritableFile file = WritableFile.open(folder, path)) {
            if (leases.holder(file.name()).isPresent()) {
                try (Acting own = Acting.service();
                        FileChannel channel = FileChannel.open(Path.of(file.name()), StandardOpenOption.WRITE)) {
                    channel.force(true);
                    leases.end(file.name());
                }
            }
        }
        return true;
    }
}
