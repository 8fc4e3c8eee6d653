package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.fs.permission.FsAction;

/** Removing files and trees, with the caller's rights at every step. */
public final class Removing {
    private final Folder folder;
    private final Listings listings;

    public Removing(Folder folder, Listings listings) {
        this.folder = folder;
        this.listings = listings;
    }

    /** Removes an entry; a directory that is not empty with all in it, or not at all. False for what is not there. */
    public boolean remove(HdfsPath path, boolean recursive) throws IOException {
        Entry entry = folder.find(path);
        if (entry == null) {
            return false;
        }
        if (path.isRoot()) {
            if (!recursive && listings.count(path) > 0) {
                throw new PathIsNotEmptyDirectoryException(path + " is non empty");
            }
            return false;
        }
        try {
            removeOne(path, entry.isDirectory());
            return true;
        } catch (SystemCallException e) {
            if (e.errno() == SystemCallException.ENOENT) {
                return false;
            } else if (e.errno() != SystemCallException.ENOTEMPTY) {
                throw refusal(path, e);
            } else if (!recursive) {
                throw new PathIsNotEmptyDirectoryException(path + " is non empty");
            }
        }
        removeTree(path);
        return true;
    }

    /** Removes a file, or a directory that is empty: whichever stands there, should it have changed meanwhile. */
    private void removeOne(HdfsPath path, boolean isDirectory) throws SystemCallException {
        try (Place place = folder.place(path)) {
            int result = NativeFiles.unlink(NativeFiles.NO_DIRECTORY, place.bytes(), isDirectory);
            if (result == -SystemCallException.EISDIR || result == -SystemCallException.ENOTDIR) {
                result = NativeFiles.unlink(NativeFiles.NO_DIRECTORY, place.bytes(), !isDirectory);
            }
            SystemCallException.check(result, path.toString());
        }
    }

    /** It is the parent's write permission that the kernel asks for. */
    private IOException refusal(HdfsPath path, IOException e) {
        return Errors.of(e) == SystemCallException.EACCES ? folder.refusalToCreate(path, e, FsAction.WRITE)
                : folder.refusal(path, e, FsAction.WRITE);
    }

    /** From the leaves up: there is no call that removes a tree. A failure leaves what was not reached. */
    private void removeTree(HdfsPath path) throws IOException {
        try (Place place = folder.place(path)) {
            int directory = open(NativeFiles.NO_DIRECTORY, place.bytes());
            try {
                empty(directory, path);
            } finally {
                NativeFiles.close(directory);
            }
            removeOne(path, true);
        } catch (IOException e) {
            if (Errors.of(e) != SystemCallException.ENOENT) {
                throw e instanceof SystemCallException ? refusal(path, e) : e;
            }
        }
    }

    private static int open(int directory, byte[] name) throws SystemCallException {
        return SystemCallException.check(NativeFiles.open(directory, name,
                NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0), "a directory");
    }

    /** Removes what is in an open directory, by the bytes of the names: some of them no path can express. */
    private void empty(int directory, HdfsPath path) throws IOException {
        NamesOfDirectory names = NamesOfDirectory.read(directory, false);
        for (int i = 0; i < names.size(); i++) {
            byte[] name = names.name(i);
            int result = NativeFiles.unlink(directory, name, false);
            if (result == -SystemCallException.EISDIR) {
                result = removeDirectory(directory, name, path);
            }
            if (result < 0 && result != -SystemCallException.ENOENT) {
                throw refusal(path.child(text(name)), new SystemCallException(-result, path + "/" + text(name)));
            }
        }
    }

    private int removeDirectory(int parent, byte[] name, HdfsPath path) throws IOException {
        int result = NativeFiles.unlink(parent, name, true);
        if (result != -SystemCallException.ENOTEMPTY) {
            return result;
        }
        int directory = NativeFiles.open(parent, name,
                NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0);
        if (directory < 0) {
            return directory;
        }
        try {
            empty(directory, path.child(text(name)));
        } finally {
            NativeFiles.close(directory);
        }
        return NativeFiles.unlink(parent, name, true);
    }

    private static String text(byte[] name) {
        return new String(name, StandardCharsets.UTF_8);
    }
}
