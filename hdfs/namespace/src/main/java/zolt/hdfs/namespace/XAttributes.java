package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.Map;
import org.apache.hadoop.fs.permission.FsAction;

/** Extended attributes by the kernel's names. What the service keeps itself is not among them. */
public final class XAttributes {
    private static final String[] OWN = {"user.lease.", "user.zolt.", "trusted.zolt."};
    private static final int ATTEMPTS = 5;
    private static final byte[] ASK_SIZE = {};

    private final Folder folder;

    public XAttributes(Folder folder) {
        this.folder = folder;
    }

    /** Whether a name is one of the service's records, or of its file system's. */
    public static boolean isOwn(String name) {
        return Arrays.stream(OWN).anyMatch(name::startsWith);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    /**
     * Sets an attribute.
     *
     * @param flags 0, or one of {@link NativeFiles#XATTR_CREATE} and {@link NativeFiles#XATTR_REPLACE}
     * @return 0, or errno where the attribute itself decides: EEXIST, ENODATA
     */
    public int set(HdfsPath path, String name, byte[] value, int flags) throws IOException {
        return change(path, name, place -> NativeFiles.setAttribute(bytes(place.pinned()), bytes(name), value, flags));
    }

    /** Removes an attribute; 0, or ENODATA. */
    public int remove(HdfsPath path, String name) throws IOException {
        return change(path, name, place -> NativeFiles.removeAttribute(bytes(place.pinned()), bytes(name)));
    }

    @FunctionalInterface
    private interface Call {
        int on(Place place) throws IOException;
    }

    private int change(HdfsPath path, String name, Call call) throws IOException {
        try (Place place = folder.held(path)) {
            int result = withRights(name, () -> call.on(place));
            if (result == -SystemCallException.EEXIST || result == -SystemCallException.ENODATA) {
                return -result;
            }
            SystemCallException.check(result, path + " " + name);
            return 0;
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.WRITE);
        }
    }

    @FunctionalInterface
    private interface Action<T> {
        T run() throws IOException;
    }

    /** The kernel gives trusted attributes to an administrator alone; the caller has been found to be one. */
    private static <T> T withRights(String name, Action<T> action) throws IOException {
        if (!name.startsWith("trusted.") || !Acting.now().superuser()) {
            return action.run();
        }
        try (Acting own = Acting.service()) {
            return action.run();
        }
    }

    /** All attributes of a path that the caller may see. */
    public Map<String, byte[]> all(HdfsPath path) throws IOException {
        try (Place place = folder.held(path)) {
            Map<String, byte[]> all = new LinkedHashMap<>();
            byte[] file = bytes(place.pinned());
            byte[] names = withRights("trusted.", () -> read(size -> NativeFiles.listAttributes(file, size)));
            for (String name : new String(names, StandardCharsets.UTF_8).split("\0")) {
                if (!name.isEmpty() && !isOwn(name)) {
                    byte[] value = withRights(name,
                            () -> read(size -> NativeFiles.getAttribute(file, bytes(name), size)));
                    if (value != null) {
                        all.put(name, value);
                    }
                }
            }
            return all;
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.READ);
        }
    }

    @FunctionalInterface
    private interface Read {
        int into(byte[] room);
    }

    /** Asks how much there is and reads it; it may have grown in between. Null for an attribute that is gone. */
    private static byte[] read(Read read) throws SystemCallException {
        int result = -SystemCallException.ERANGE;
        for (int attempt = 0; attempt < ATTEMPTS && result == -SystemCallException.ERANGE; attempt++) {
            result = read.into(ASK_SIZE);
            if (result == 0) {
                return ASK_SIZE;
            }
            if (result > 0) {
                byte[] room = new byte[result];
                result = read.into(room);
                if (result >= 0) {
                    return Arrays.copyOf(room, result);
                }
            }
        }
        if (result == -SystemCallException.ENODATA) {
            return null;
        }
        throw new SystemCallException(-result, "extended attributes");
    }
}
