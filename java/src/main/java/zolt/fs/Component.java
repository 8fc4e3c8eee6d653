package zolt.fs;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Paths;

/** One component of a path: its name alone or, where it was looked at, what the kernel has of it. */
final class Component {
    /** As it was reached. */
    final String path;
    /**
     * With no link in it, unless such a path cannot be expressed; null where it was not looked at: then all below are 0,
     * and the list is empty.
     */
    final String real;
    /** Whether only a link leads to it: flags and the directory that it is in cannot be asked for. */
    final boolean byLinkAlone;
    final long inode;
    final long uid;
    final long gid;
    final int mode;
    final Acl acl;
    /** Whether its file system keeps lists; else the list is the mode's. */
    final boolean keepsLists;

    private Component(String path, String real, FileStatus status, Acl list) {
        this.path = path;
        this.byLinkAlone = real != null && !DirectoryEntry.isReachable(real);
        this.real = byLinkAlone ? path : real;
        this.inode = status == null ? 0 : status.inode();
        this.uid = status == null ? 0 : status.uid();
        this.gid = status == null ? 0 : status.gid();
        this.mode = status == null ? 0 : status.mode();
        this.keepsLists = list != null;
        this.acl = keepsLists ? list : Acl.ofMode(mode);
    }

    /** A component that is not looked at. */
    static Component named(String path) {
        return new Component(path, null, null, Acl.of());
    }

    /** Looks at what is there. The superuser may not follow every link in a sticky directory: the way has none. */
    static Component look(String path) throws IOException {
        String real = real(path);
        String usable = DirectoryEntry.isReachable(real) ? real : path;
        if (!DirectoryEntry.isReachable(usable)) {
            throw new UnreachableException(path);
        }
        FileStatus status = new FileStatus();
        status.readFast(usable);
        return new Component(path, real, status, list(usable));
    }

    /** A descriptor's link in /proc leads to pipes and sockets by a way that has no path: the link is its own. */
    private static String real(String path) throws IOException {
        try {
            return Paths.get(path).toRealPath().toString();
        } catch (NoSuchFileException e) {
            if (Files.exists(Paths.get(path))) {
                return path;
            }
            throw e;
        }
    }

    /** Null where there are modes only. */
    private static Acl list(String path) throws IOException {
        try {
            return Acl.kept(path);
        } catch (AccessDeniedException | NoSuchFileException e) {
            throw e;
        } catch (IOException unsupported) {
            return null;
        }
    }

    boolean isLookedAt() {
        return real != null;
    }

    FileType type() {
        return FileType.ofMode(mode);
    }

    /** "" where it was not looked at, here and below. */
    String owner() {
        return isLookedAt() ? Accounts.userOrId(uid) : "";
    }

    String group() {
        return isLookedAt() ? Accounts.groupOrId(gid) : "";
    }

    /** The owner of what is at a path. */
    static long uid(String path, boolean follow) throws IOException {
        return Integer.toUnsignedLong(attribute(path, "uid", follow));
    }

    static int mode(String path) throws IOException {
        return attribute(path, "mode", true);
    }

    private static int attribute(String path, String name, boolean follow) throws IOException {
        LinkOption[] options = follow ? new LinkOption[0] : new LinkOption[] {LinkOption.NOFOLLOW_LINKS};
        return (Integer) Files.getAttribute(Paths.get(path), "unix:" + name, options);
    }
}
