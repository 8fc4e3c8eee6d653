package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import org.apache.hadoop.fs.permission.FsAction;

/** A file that the kernel has let the caller open for writing: what the service then does to it, the caller may ask for. */
final class WritableFile implements AutoCloseable {
    private int descriptor;

    private WritableFile(int descriptor) {
        this.descriptor = descriptor;
    }

    /** Opens a file that exists, with the thread's rights; a link at the end of the path is refused. */
    static WritableFile open(Folder folder, HdfsPath path) throws IOException {
        return open(folder, path, 0);
    }

    /** @param flags more of them, as {@link NativeFiles#O_APPEND} */
    static WritableFile open(Folder folder, HdfsPath path, int flags) throws IOException {
        try (Place place = folder.place(path)) {
            return new WritableFile(SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY, place.bytes(),
                    NativeFiles.O_WRONLY | NativeFiles.O_NOFOLLOW | flags, 0), path.toString()));
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.WRITE);
        }
    }

    /** Makes a file that does not exist; the raw failure. */
    static WritableFile create(Folder folder, HdfsPath path, int mode) throws IOException {
        return new WritableFile(Group.make(folder, path, name -> NativeFiles.open(NativeFiles.NO_DIRECTORY, name,
                NativeFiles.O_WRONLY | NativeFiles.O_CREAT | NativeFiles.O_EXCL | NativeFiles.O_NOFOLLOW, mode)));
    }

    int descriptor() {
        return descriptor;
    }

    Entry entry() throws SystemCallException {
        return Entry.of(descriptor);
    }

    /** A name that stays that of this file, whatever becomes of its path. */
    String name() {
        return NativeFiles.nameOf(descriptor);
    }

    /** The bytes, to write; opened with the thread's rights. */
    FileChannel channel() throws IOException {
        return FileChannel.open(Path.of(name()), StandardOpenOption.WRITE);
    }

    /** Hands the descriptor over to those who write. */
    DataFile toData(boolean append) throws IOException {
        DataFile data = DataFile.toWrite(descriptor, entry(), append);
        descriptor = -1;
        return data;
    }

    @Override
    public void close() {
        NativeFiles.close(descriptor);
    }
}
