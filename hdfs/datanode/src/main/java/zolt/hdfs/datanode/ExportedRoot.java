package zolt.hdfs.datanode;

import java.io.Closeable;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.OptionalInt;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.hdfs.block.Generations;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.ServiceFolder;
import zolt.hdfs.namespace.SystemCallException;

/** The exported folder: its files by handle or by path, each compared with what was asked for. */
final class ExportedRoot implements Closeable {
    private static final Logger LOG = LoggerFactory.getLogger(ExportedRoot.class);
    private static final byte[] ITSELF = {};

    private final Path folder;
    private final int descriptor;
    private final long device;
    private final Generations generations;

    ExportedRoot(Path folder) throws IOException {
        this.folder = folder;
        descriptor = SystemCallException.check(
                NativeFiles.open(NativeFiles.NO_DIRECTORY, bytes(folder.toString()),
                        NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY, 0), folder.toString());
        long[] status = new long[NativeFiles.STATUS_WORDS];
        SystemCallException.check(NativeFiles.status(descriptor, ITSELF, status), folder.toString());
        device = status[NativeFiles.DEVICE];
        generations = askForGenerations();
        LOG.info("Blocks of {} are found by {}", folder,
                generations.handles().map(found -> "handle (" + found + ")").orElse("path, from a NameNode"));
    }

    Path folder() {
        return folder;
    }

    /** Whether files are opened by handle; else the path of an inode is needed. */
    boolean hasHandles() {
        return generations.handles().isPresent();
    }

    /**
     * The file of an inode with a generation.
     *
     * @throws FileNotFoundException when there is none any more
     */
    BlockFile byHandle(long inode, int generation) throws IOException {
        byte[] handle = generations.handles().orElseThrow().handle(inode, generation);
        int opened = NativeFiles.openByHandle(descriptor, handle, NativeFiles.O_PATH);
        return checked(opened, inode, OptionalInt.of(generation));
    }

    /**
     * The file at a path below the folder, when it still is that inode. Links on the way do no harm: what they
     * lead to is the inode that was asked for, or refused.
     *
     * @param generation nothing when it is not known
     * @throws FileNotFoundException when it is not
     */
    BlockFile byPath(String path, long inode, OptionalInt generation) throws IOException {
        int opened = NativeFiles.open(descriptor, bytes(path.replaceFirst("^/+", "")),
                NativeFiles.O_PATH | NativeFiles.O_NOFOLLOW, 0);
        return checked(opened, inode, generation);
    }

    @Override
    public void close() {
        NativeFiles.close(descriptor);
    }

    private BlockFile checked(int opened, long inode, OptionalInt generation) throws IOException {
        if (opened == -SystemCallException.ESTALE || opened == -SystemCallException.ENOENT
                || opened == -SystemCallException.ENOTDIR || opened == -SystemCallException.ELOOP) {
            throw new FileNotFoundException("There is no inode " + inode + " any more");
        }
        SystemCallException.check(opened, "inode " + inode);
        BlockFile file = new BlockFile(opened, inode);
        boolean right = false;
        try {
            right = file.isOn(device)
                    && (generation.isEmpty() || generations.of(opened) == generation.getAsInt());
        } finally {
            if (!right) {
                file.close();
            }
        }
        if (!right) {
            throw new FileNotFoundException("Inode " + inode + " is another file by now");
        }
        return file;
    }

    /** What tells generations apart, asked for with a file made for it, where one can be made. */
    private Generations askForGenerations() throws IOException {
        try (ServiceFolder service = new ServiceFolder(folder.toString())) {
            Path sample = Files.createTempFile(service.path(), "handle", null);
            int opened = NativeFiles.open(NativeFiles.NO_DIRECTORY, bytes(sample.toString()), NativeFiles.O_PATH, 0);
            try {
                return Generations.of(descriptor, opened);
            } finally {
                NativeFiles.close(opened);
                Files.deleteIfExists(sample);
            }
        } catch (SystemCallException | FileSystemException e) {
            LOG.info("No file can be made in {} ({}): its handles are tried with the folder alone", folder, e.toString());
            return Generations.of(descriptor, descriptor);
        }
    }

    private static byte[] bytes(String path) {
        return path.getBytes(StandardCharsets.UTF_8);
    }
}
