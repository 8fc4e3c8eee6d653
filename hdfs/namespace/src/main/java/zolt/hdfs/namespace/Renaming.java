package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.Optional;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.permission.FsAction;

/** The two renames of HDFS: the old one that answers false, and the one like rename(2). */
public final class Renaming {
    private final Folder folder;

    public Renaming(Folder folder) {
        this.folder = folder;
    }

    /** What has another path now. */
    public record Renamed(Entry entry, HdfsPath to) {}

    /** Renames, into a directory where the destination is one; nothing where HDFS does not. Never replaces. */
    public Optional<Renamed> rename(HdfsPath from, HdfsPath to) throws IOException {
        Entry source = source(from);
        if (isRenamedAtOnce(from, source, to, NativeFiles.RENAME_NOREPLACE)) {
            return Optional.of(new Renamed(source, to));
        }
        Entry target = folder.findToCreate(to);
        HdfsPath into = target != null && target.isDirectory() && !from.isRoot() ? to.child(from.name()) : to;
        if (source == null || from.isRoot()) {
            return Optional.empty();
        }
        if (into.equals(from)) {
            return Optional.of(new Renamed(source, into));
        }
        if (isItsTarget(from, source, into) || into.isBelow(from)) {
            return Optional.empty();
        }
        int result = call(from, into, NativeFiles.RENAME_NOREPLACE);
        switch (-result) {
            case 0:
                return Optional.of(new Renamed(source, into));
            case SystemCallException.EEXIST:
            case SystemCallException.ENOENT:
                return Optional.empty();
            default:
                throw refusal(from, into, new SystemCallException(-result, from.toString()));
        }
    }

    /** Renames to just this path; replaces a file, or an empty directory, only where asked. */
    public Renamed rename(HdfsPath from, HdfsPath to, boolean overwrite) throws IOException {
        Entry source = source(from);
        int flags = overwrite ? 0 : NativeFiles.RENAME_NOREPLACE;
        if (isRenamedAtOnce(from, source, to, flags)) {
            return new Renamed(source, to);
        }
        if (source == null) {
            throw new FileNotFoundException("rename source " + from + " is not found.");
        }
        if (from.isRoot()) {
            throw new IOException("rename source cannot be the root");
        }
        if (to.equals(from)) {
            throw new FileAlreadyExistsException("The source " + from + " and destination " + to + " are the same");
        }
        if (isItsTarget(from, source, to)) {
            throw new FileAlreadyExistsException("Cannot rename symlink " + from + " to its target " + to);
        }
        if (to.isBelow(from)) {
            throw new IOException("Rename destination " + to + " is a directory or file under source " + from);
        }
        if (to.isRoot()) {
            throw new IOException("rename destination cannot be the root");
        }
        checkReplaced(from, source, to, overwrite);
        checkParent(to);
        int result = call(from, to, flags);
        if (result == -SystemCallException.EEXIST && !overwrite) {
            throw alreadyThere(to);
        } else if (result == -SystemCallException.ENOTEMPTY || result == -SystemCallException.EEXIST) {
            throw new IOException("rename destination directory is not empty: " + to);
        } else if (result < 0) {
            throw refusal(from, to, new SystemCallException(-result, from.toString()));
        }
        return new Renamed(source, to);
    }

    private Entry source(HdfsPath from) throws IOException {
        Entry source = null;
        try {
            source = folder.find(from);
            return source;
        } finally {
            if (source == null || !folder.root().isMountOf(source)) {
                folder.root().requireMounted();
            }
        }
    }

    /**
     * Whether that was all. The kernel refuses what HDFS does, but for a link that gets the name of its own target; where
     * it refuses, the rules are asked one after the other, for what HDFS says.
     */
    private boolean isRenamedAtOnce(HdfsPath from, Entry source, HdfsPath to, int flags) throws IOException {
        return source != null && !source.isLink() && !from.isRoot() && !to.isRoot() && !to.equals(from)
                && call(from, to, flags) == 0;
    }

    private void checkReplaced(HdfsPath from, Entry source, HdfsPath to, boolean overwrite) throws IOException {
        Entry target = folder.findToCreate(to);
        if (target == null) {
            return;
        }
        if (target.isDirectory() != source.isDirectory()) {
            throw new IOException("Source " + from + " and destination " + to + " must both be directories");
        }
        if (!overwrite) {
            throw alreadyThere(to);
        }
    }

    private static FileAlreadyExistsException alreadyThere(HdfsPath to) {
        return new FileAlreadyExistsException("rename destination " + to + " already exists");
    }

    private void checkParent(HdfsPath to) throws IOException {
        Entry parent = folder.find(to.parent());
        if (parent == null) {
            throw new FileNotFoundException("rename destination parent " + to + " not found.");
        }
        if (!parent.isDirectory() && !parent.isLink()) {
            throw new ParentNotDirectoryException("rename destination parent " + to + " is a file.");
        }
    }

    private boolean isItsTarget(HdfsPath from, Entry source, HdfsPath to) throws IOException {
        return source.isLink() && folder.target(from).equals(to.toString());
    }

    private int call(HdfsPath from, HdfsPath to, int flags) throws IOException {
        try (Place source = folder.place(from); Place target = folder.place(to)) {
            return NativeFiles.rename(source.bytes(), target.bytes(), flags);
        } catch (SystemCallException e) {
            return -e.errno();
        }
    }

    /** Says it of the side that refuses: what stands in the way of the source, or else the destination. */
    private IOException refusal(HdfsPath from, HdfsPath to, SystemCallException failure) {
        try {
            folder.status(from);
        } catch (SystemCallException e) {
            return folder.refusal(from, e, FsAction.WRITE);
        }
        boolean sourceRefuses = failure.errno() == SystemCallException.EACCES && !isWritable(from.parent());
        return folder.refusalToCreate(sourceRefuses ? from : to, failure, FsAction.WRITE);
    }

    /** Only for the words of a refusal that has been decided. */
    private boolean isWritable(HdfsPath directory) {
        try (Place place = folder.place(directory)) {
            return NativeFiles.mayAccess(place.bytes(), FsAction.WRITE.ordinal()) == 0;
        } catch (IOException e) {
            return false;
        }
    }
}
