package zolt.fs;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Paths;

/** One component of a path: its name alone or, where it was looked at, what the kernel has of it. */
final class Component {
    /** As it was reached, from the root on. */
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
    /** Whether there is a list that cannot be read for want of libacl; the one here is the mode's then. */
    final boolean isListUnread;

    private Component(String path, String real, FileStatus status, Acl list, boolean isListUnread) {
        this.path = absolute(path);
        this.byLinkAlone = real != null && !DirectoryEntry.isReachable(real);
        this.real = byLinkAlone ? path : real;
        this.isListUnread = isListUnread;
        this.inode = status == null ? 0 : status.inode();
        this.uid = status == null ? 0 : status.uid();
        this.gid = status == null ? 0 : status.gid();
        this.mode = status == null ? 0 : status.mode();
        this.keepsLists = list != null;
        this.acl = keepsLists ? list : Acl.ofMode(mode);
    }

    /** A component that is not looked at. */
    static Component named(String path) {
        return new Component(path, null, null, Acl.of(), false);
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
        Acl list = list(usable);
        return new Component(path, real, status, list, list == null && !Acl.isAvailable() && hasList(usable));
    }

    /** A path as it is for a message: one that is relative begins at the current directory. */
    static String absolute(String path) {
        if (path.startsWith("/")) {
            return path;
        }
        String here = Paths.get("").toAbsolutePath().toString();
        return path.equals(".") ? here : (here.equals("/") ? here : here + "/") + path;
    }

    /** A descriptor's link in /proc leads to pipes and sockets by a way that has no path: the link is its own. */
    private static String real(String path) throws IOException {
        try {
            return Paths.get(path).toRealPath().toString();
        } catch (NoSuchFileException | AccessDeniedException e) {
            // One that begins at the current directory may be all that this process can express.
            boolean asGiven = e instanceof NoSuchFileException || !path.startsWith("/");
            if (asGiven && Files.exists(Paths.get(path))) {
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

    /** A list is an attribute, which shows also where nothing reads it. */
    private static boolean hasList(String path) {
        try {
            return ExtendedAttributes.of(path).get("system.posix_acl_access").isPresent();
        } catch (IOException unsupported) {
            return false;
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

    static long gid(String path, boolean follow) throws IOException {
        return Integer.toUnsignedLong(attribute(path, "gid", follow));
    }

    static int mode(String path) throws IOException {
        return attribute(path, "mode", true);
    }

    private static int attribute(String path, String name, boolean follow) throws IOException {
        LinkOption[] options = follow ? new LinkOption[0] : new LinkOption[] {LinkOption.NOFOLLOW_LINKS};
        return (Integer) Files.getAttribute(Paths.get(path), "unix:" + name, options);
    }
}
