package zolt.soak;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.HashMap;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import zolt.test.Kernel;

/**
 * What the threads work on. Each user has a directory with the same files in it, and on each file
 * goes only what keeps its possible states few enough to know them all:
 *
 * <pre>
 * private/secret  in a directory that only its owner may search
 * fixed, link     never change
 * still/          100 entries, never changes
 * churn/          20 entries that stay, among some that come and go
 * mode, times     one of a few modes, times
 * attr            attributes that each hold one of a few values, or none
 * lease0, lease1  leases of a few holders
 * aclset, acldir  one of a few whole lists, or what is left of one when the rest was removed
 * aclmix          a list whose entries come and go one by one
 * door/inner      behind an entry that lets one other user in, sometimes
 * blocks          a file with changing copies and block groups
 * </pre>
 */
final class Tree {
    static final int BLOCKS = 10;
    static final int KEPT = 20;
    static final int STILL = 100;
    static final long FIXED_TIME = 1_500_000_000_500L;
    static final String[] FILES =
            {"fixed", "mode", "times", "attr", "lease0", "lease1", "aclset", "aclmix", "blocks"};

    /** The file system's block. */
    final int block;
    private final Path root;
    private final Map<String, Long> inodes = new HashMap<>();

    Tree(Path root) throws IOException {
        this.root = root;
        Path any = Files.createFile(root.resolve("any"));
        block = (int) Kernel.stat(any.toString(), true)[Kernel.BLOCK];
        Files.delete(any);
        Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwxr-xr-x"));
        for (int user = 0; user < Users.COUNT; user++) {
            plant(user);
        }
    }

    /** Of "fixed" and "blocks". */
    int fixedSize() {
        return BLOCKS * block;
    }

    Path root() {
        return root;
    }

    String path(int user, String name) {
        return root + "/u" + user + "/" + name;
    }

    /** Of something that is always there. */
    long inode(String path) {
        return inodes.get(path);
    }

    private void plant(int user) throws IOException {
        directory(user, "", "rwxr-xr-x");
        directory(user, "private", "rwx------");
        file(user, "private/secret", user + 1);
        for (String name : FILES) {
            file(user, name, name.equals("fixed") || name.equals("blocks") ? fixedSize() : 0);
        }
        Files.createSymbolicLink(Path.of(path(user, "link")), Path.of("fixed"));
        directory(user, "acldir", "rwxr-x---");
        directory(user, "door", "rwx------");
        file(user, "door/inner", 0);
        directory(user, "still", "rwxr-xr-x");
        for (int i = 0; i < STILL; i++) {
            file(user, "still/" + kept(i), 0);
        }
        directory(user, "churn", "rwxr-xr-x");
        for (int i = 0; i < KEPT; i++) {
            file(user, "churn/" + kept(i), 0);
        }
    }

    static String kept(int number) {
        return "keep" + number;
    }

    private void directory(int user, String name, String permissions) throws IOException {
        Path path = Files.createDirectory(Path.of(path(user, name)));
        own(user, path, permissions);
    }

    private void file(int user, String name, int size) throws IOException {
        Path path = Path.of(path(user, name));
        try (RandomAccessFile out = new RandomAccessFile(path.toFile(), "rw")) {
            out.setLength(size);
        }
        own(user, path, name.startsWith("acl") ? "rwxr-x---" : "rw-r--r--");
        Files.setLastModifiedTime(path, FileTime.from(FIXED_TIME, TimeUnit.MILLISECONDS));
    }

    private void own(int user, Path path, String permissions) throws IOException {
        Files.setPosixFilePermissions(path, PosixFilePermissions.fromString(permissions));
        Files.setAttribute(path, "unix:uid", Users.id(user));
        Files.setAttribute(path, "unix:gid", Users.id(user));
        inodes.put(path.toString(), (Long) Files.getAttribute(path, "unix:ino"));
    }
}
