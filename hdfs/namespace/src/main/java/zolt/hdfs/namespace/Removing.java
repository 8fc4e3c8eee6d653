package zolt.hdfs.namespace;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.Queue;
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
        TreeWalk.go(folder, path, new Emptying());
        try {
            removeOne(path, true);
        } catch (SystemCallException e) {
            if (e.errno() != SystemCallException.ENOENT) {
                throw refusal(path, e);
            }
        }
    }

    /** Removes what is in directories, by the bytes of the names: some of them no path can express. */
    private final class Emptying implements TreeWalk.Visitor {
        @Override
        public Queue<byte[]> enter(TreeWalk walk) throws IOException {
            NamesOfDirectory names;
            try {
                names = NamesOfDirectory.read(walk.directory(), false);
            } catch (SystemCallException e) {
                throw refusal(walk.here(), e);
            }
            Queue<byte[]> full = new ArrayDeque<>();
            for (int i = 0; i < names.size(); i++) {
                byte[] name = names.name(i);
                int result = NativeFiles.unlink(walk.directory(), name, false);
                if (result == -SystemCallException.EISDIR) {
                    result = NativeFiles.unlink(walk.directory(), name, true);
                }
                if (result == -SystemCallException.ENOTEMPTY) {
                    full.add(name);
                } else {
                    check(result, walk, name);
                }
            }
            return full;
        }

        @Override
        public void leave(TreeWalk walk, byte[] name) throws IOException {
            check(NativeFiles.unlink(walk.directory(), name, true), walk, name);
        }

        private void check(int result, TreeWalk walk, byte[] name) throws IOException {
            if (result < 0 && result != -SystemCallException.ENOENT) {
                throw refused(walk.path(name), new SystemCallException(-result, walk.path(name).toString()));
            }
        }

        @Override
        public IOException refused(HdfsPath path, SystemCallException e) {
            return refusal(path, e);
        }
    }
}
