package zolt.hdfs.namespace;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;

/**
 * Where a path of HDFS lies in the process's own file system: by a name that every system call takes.
 *
 * <p>That is the folder's path and the client's behind it, except where that would be too long for the kernel
 * (which takes 4,095 bytes at once): then it is the name of a descriptor below /proc, opened on the way, and what
 * remains. And the natives take names in modified UTF-8, in which a character beyond U+FFFF is another name: they
 * are given the name of a descriptor on the file itself. The links below /proc are the kernel's own and lie on
 * another mount; any other link in the path is refused.
 */
final class Place implements AutoCloseable {
    private static final int MOST_BYTES = 4095;
    private static final int CHUNK_BYTES = 2000;

    private final String what;
    private final String name;
    private final byte[] bytes;
    private int way = -1;
    private int itself = -1;
    private Entry entry;
    private int directory = -1;

    private Place(Root root, HdfsPath path) throws SystemCallException {
        what = path.toString();
        if (path.isHidden()) {
            throw new SystemCallException(SystemCallException.ENOENT, what);
        }
        String whole = path.isRoot() ? root.name() : root.path() + path;
        byte[] all = utf8(whole);
        boolean isShort = all.length <= MOST_BYTES;
        name = isShort ? whole : along(root, path);
        bytes = isShort ? all : utf8(name);
    }

    /**
     * Finds the way to a path with the thread's rights.
     *
     * @throws SystemCallException when a long way cannot be gone, and ENOENT for what is the service's own
     */
    static Place of(Root root, HdfsPath path) throws SystemCallException {
        return new Place(root, path);
    }

    /** Goes as many components at a time as the kernel takes, and answers the rest below the last descriptor. */
    private String along(Root root, HdfsPath path) throws SystemCallException {
        way = open(NativeFiles.NO_DIRECTORY, root.name());
        StringBuilder chunk = new StringBuilder();
        try {
            for (String component : path.parent().components()) {
                chunk.append(component).append('/');
                if (chunk.length() > CHUNK_BYTES / 2) {
                    step(chunk.toString());
                    chunk.setLength(0);
                }
            }
        } catch (SystemCallException e) {
            close();
            throw e;
        }
        return NativeFiles.nameOf(way) + "/" + chunk + path.name();
    }

    private void step(String chunk) throws SystemCallException {
        int next = open(way, chunk);
        NativeFiles.close(way);
        way = next;
    }

    private int open(int directory, String path) throws SystemCallException {
        return SystemCallException.check(NativeFiles.open(directory, utf8(path),
                NativeFiles.O_PATH | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0), what);
    }

    /** The name of the entry itself, for the class library. */
    Path path() {
        return Path.of(name);
    }

    /** The name of the entry itself, for the natives by bytes. */
    byte[] bytes() {
        return bytes;
    }

    /** A descriptor on the entry itself, with no rights but to name it; it is closed with this place. */
    int descriptor() throws SystemCallException {
        if (itself < 0) {
            itself = SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY, bytes(),
                    NativeFiles.O_PATH | NativeFiles.O_NOFOLLOW, 0), what);
        }
        return itself;
    }

    /** What the entry is, by that descriptor. */
    Entry entry() throws SystemCallException {
        if (entry == null) {
            entry = Entry.of(descriptor());
        }
        return entry;
    }

    /** A descriptor on the directory in which the entry stands, or shall; it is closed with this place. */
    int directory() throws SystemCallException {
        if (directory < 0) {
            directory = open(NativeFiles.NO_DIRECTORY, name.substring(0, lastSlash() + 1) + ".");
        }
        return directory;
    }

    /** The name of that directory, which stays that whatever becomes of its path. */
    byte[] directoryName() throws SystemCallException {
        return utf8(NativeFiles.nameOf(directory()));
    }

    /** The name of the entry in that directory. */
    byte[] inDirectory() throws SystemCallException {
        return utf8(NativeFiles.nameOf(directory()) + name.substring(lastSlash()));
    }

    private int lastSlash() {
        return name.lastIndexOf('/');
    }

    /** A name for what the path holds now, which stays that whatever becomes of the path. */
    String pinned() throws SystemCallException {
        return NativeFiles.nameOf(descriptor());
    }

    /** A name for the natives that take text. */
    String text() throws SystemCallException {
        return name.chars().anyMatch(c -> Character.isSurrogate((char) c)) ? pinned() : name;
    }

    private static byte[] utf8(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    @Override
    public void close() {
        way = closed(way);
        itself = closed(itself);
        directory = closed(directory);
    }

    /** Most places have opened nothing, and a call of the library has its price. */
    private static int closed(int descriptor) {
        if (descriptor >= 0) {
            NativeFiles.close(descriptor);
        }
        return -1;
    }
}
