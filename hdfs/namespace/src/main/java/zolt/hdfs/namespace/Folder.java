package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.fs.InvalidPathException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.hdfs.protocol.UnresolvedPathException;

/** The exported folder with what every operation on it needs. The calls act with the thread's rights. */
public final class Folder {
    /** Linux has no longer ones. */
    private static final int MOST_TARGET = 4096;
    private static final String DEFAULT_ACL = "system.posix_acl_default";

    private final Root root;
    private final Names names;
    private final Refusals refusals;

    public Folder(Root root, Names names) {
        this(root, names, RefusalListener.NONE);
    }

    public Folder(Root root, Names names, RefusalListener listener) {
        this.root = root;
        this.names = names;
        refusals = new Refusals(this, listener);
    }

    public Root root() {
        return root;
    }

    public Names names() {
        return names;
    }

    Place place(HdfsPath path) throws SystemCallException {
        return Place.of(root, path);
    }

    /** The status of an entry, of a link itself; the raw failure of the call. */
    Entry status(HdfsPath path) throws SystemCallException {
        try (Place place = place(path)) {
            return Entry.of(NativeFiles.NO_DIRECTORY, place.bytes(), path.toString());
        }
    }

    /** As {@link #status}; null for what is not there. */
    Entry find(HdfsPath path) throws IOException {
        try {
            return status(path);
        } catch (SystemCallException e) {
            if (isNothing(e)) {
                return null;
            }
            throw refusal(path, e, FsAction.READ);
        }
    }

    /** As {@link #find}, of what is about to be made. */
    Entry findToCreate(HdfsPath path) throws IOException {
        try {
            return status(path);
        } catch (SystemCallException e) {
            if (e.errno() == SystemCallException.ENOENT) {
                return null;
            }
            throw refusalToCreate(path, e, FsAction.WRITE);
        }
    }

    /** As {@link #find}, but a link at the end of the path is for the client to resolve. */
    Entry findResolved(HdfsPath path) throws IOException {
        Entry entry = find(path);
        if (entry != null && entry.isLink()) {
            throw refusals.link(path, path.depth());
        }
        return entry;
    }

    /** As {@link #findResolved}; FileNotFoundException for what is not there. */
    Entry require(HdfsPath path) throws IOException {
        Entry entry = findResolved(path);
        if (entry == null) {
            throw missing(path);
        }
        return entry;
    }

    /** As {@link #require}, and held by a descriptor: what follows needs no walk along the path any more. */
    Place held(HdfsPath path) throws IOException {
        Place place = null;
        boolean found = false;
        try {
            place = place(path);
            if (place.entry().isLink()) {
                throw refusals.link(path, path.depth());
            }
            found = true;
            return place;
        } catch (SystemCallException e) {
            throw isNothing(e) ? missing(path) : refusal(path, e, FsAction.READ);
        } finally {
            if (place != null && !found) {
                place.close();
            }
        }
    }

    /** Below a file HDFS refuses, and a file system has nothing. */
    private static boolean isNothing(SystemCallException e) {
        return e.errno() == SystemCallException.ENOENT || e.errno() == SystemCallException.ENOTDIR && Acting.isGuest();
    }

    private static FileNotFoundException missing(HdfsPath path) {
        return new FileNotFoundException("File/Directory does not exist: " + path);
    }

    /** As {@link #require}, of a file. */
    Entry requireFile(HdfsPath path) throws IOException {
        Entry entry = findResolved(path);
        if (entry == null) {
            throw new FileNotFoundException("File does not exist: " + path);
        }
        if (!entry.isFile()) {
            throw new FileNotFoundException("Path is not a file: " + path);
        }
        return entry;
    }

    /** The target of a link, as it stands there: the class library would make a path of it, and of "//" one slash. */
    String target(HdfsPath path) throws IOException {
        byte[] target = new byte[MOST_TARGET];
        try (Place place = place(path)) {
            int length = SystemCallException.check(NativeFiles.readLink(place.bytes(), target), path.toString());
            return root.targetForClient(new String(target, 0, length, StandardCharsets.UTF_8));
        }
    }

    /** The target of what should be a link. */
    public String linkTarget(HdfsPath path) throws IOException {
        Entry entry = find(path);
        if (entry == null) {
            throw new FileNotFoundException("File does not exist: " + path);
        }
        if (!entry.isLink()) {
            throw new IOException("Path " + path + " is not a symbolic link");
        }
        return target(path);
    }

    /**
     * Where a path goes on in which there is a link that was not followed. The kernel says it, where it follows links: only
     * it knows what ".." means behind one.
     */
    public HdfsPath resolved(HdfsPath path, UnresolvedPathException link) throws IOException {
        String followed = root.isExported() ? null : followed(path);
        if (followed != null) {
            return pathOf(path, root.targetForClient(followed));
        }
        org.apache.hadoop.fs.Path next = link.getResolvedPath();
        return pathOf(path, next.toUri().getScheme() == null ? next.toUri().getPath() : next.toString());
    }

    private static HdfsPath pathOf(HdfsPath path, String next) throws IOException {
        if (next.startsWith("/")) {
            try {
                return HdfsPath.of(next);
            } catch (InvalidPathException e) {
                // a path may name nothing above the root
            }
        }
        throw new IOException(path + " is a link that leads out of this file system, to " + next);
    }

    /** Null where the kernel cannot follow. */
    private String followed(HdfsPath path) throws SystemCallException {
        byte[] target = new byte[MOST_TARGET];
        try (Place place = place(path)) {
            int end = NativeFiles.open(NativeFiles.NO_DIRECTORY, place.bytes(), NativeFiles.O_PATH, 0);
            if (end < 0) {
                return null;
            }
            int length = NativeFiles.readLink(NativeFiles.nameOf(end).getBytes(StandardCharsets.US_ASCII), target);
            NativeFiles.close(end);
            return length < 0 ? null : new String(target, 0, length, StandardCharsets.UTF_8);
        }
    }

    /** Whether what is made in a directory gets an access control list from it. */
    boolean hasDefaultAcl(HdfsPath directory) throws SystemCallException {
        try (Place place = place(directory)) {
            return NativeFiles.getAttribute(place.bytes(), DEFAULT_ACL.getBytes(StandardCharsets.US_ASCII),
                    new byte[0]) > 0;
        }
    }

    /** What a client is told about a failed call on a path. */
    IOException refusal(HdfsPath path, IOException failure, FsAction wanted) {
        return refusals.of(path, failure, wanted, false);
    }

    /** As {@link #refusal}, where something was to be made. */
    IOException refusalToCreate(HdfsPath path, IOException failure, FsAction wanted) {
        return refusals.of(path, failure, wanted, true);
    }

    /** The exception by which the client resolves the link that the first components of a path name. */
    IOException link(HdfsPath path) {
        return refusals.link(path, path.depth());
    }
}
