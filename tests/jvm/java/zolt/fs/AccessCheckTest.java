package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** What the check says of owners, modes and lists at random is what the kernel does with a thread of that user. */
class AccessCheckTest {
    private static final int CASES = 400;
    private static final long SEED = 16;
    private static final List<String> USERS = List.of("root", "nobody", "daemon");
    private static final List<String> GROUPS = List.of("root", "nogroup", "daemon");

    @TempDir Path dir;
    private final Random random = new Random(SEED);

    /** Something that the kernel refuses with EACCES, or does. */
    private interface Attempt {
        void make() throws IOException;
    }

    private static boolean succeeds(Attempt attempt) throws IOException {
        try {
            attempt.make();
            return true;
        } catch (AccessDeniedException e) {
            return false;
        }
    }

    private int rights() {
        return random.nextInt(8);
    }

    private <T> T any(List<T> all) {
        return all.get(random.nextInt(all.size()));
    }

    private void give(Path path) throws IOException {
        Files.setAttribute(path, "unix:uid", (int) Accounts.uid(any(USERS)));
        Files.setAttribute(path, "unix:gid", (int) Accounts.gid(any(GROUPS)));
        List<AclEntry> entries = new ArrayList<>(List.of(AclEntry.base(AclEntry.Type.OWNER, rights()),
                AclEntry.base(AclEntry.Type.OWNING_GROUP, rights()), AclEntry.base(AclEntry.Type.OTHER, rights())));
        for (String user : USERS) {
            if (random.nextBoolean()) {
                entries.add(AclEntry.user(user, rights()));
            }
        }
        for (String group : GROUPS) {
            if (random.nextBoolean()) {
                entries.add(AclEntry.group(group, rights()));
            }
        }
        entries.add(AclEntry.base(AclEntry.Type.MASK, rights()));
        Acl.clear(path.toString());
        if (random.nextInt(4) == 0) {
            FileOperations.setPermissions(path, random.nextInt(01000));
        } else {
            Acl.of(entries).set(path.toString());
        }
    }

    private static void expect(Path path, int right, Attempt attempt) throws IOException {
        FileStatus status = FileStatus.of(path);
        Acl acl;
        try (Identity root = Identity.superuser()) {
            acl = Acl.get(path);
        }
        ThreadIdentity who = ThreadIdentity.now();
        AccessCheck check = new AccessCheck(who, status.uid(), status.gid(), status.mode(), acl);
        assertEquals(succeeds(attempt), check.permits(right),
                () -> who + " " + AclEntry.letters(right) + " " + status + " " + acl);
    }

    @Test
    void whatItPermitsIsWhatTheKernelPermits() throws Exception {
        Fixture.permit(dir, "rwxr-xr-x");
        Path file = Files.createFile(dir.resolve("file"));
        Path directory = Files.createDirectory(dir.resolve("directory"));
        Files.createFile(directory.resolve("inner"));
        for (int each = 0; each < CASES; each++) {
            give(file);
            give(directory);
            for (String user : USERS) {
                Fixture.onThread("check", () -> {
                    try (Identity as = Identity.of(user)) {
                        expect(file, AclEntry.READ, () -> Files.newByteChannel(file).close());
                        expect(file, AclEntry.WRITE,
                                () -> Files.newByteChannel(file, StandardOpenOption.WRITE).close());
                        expect(directory, AclEntry.READ, () -> Files.newDirectoryStream(directory).close());
                        expect(directory, AclEntry.EXECUTE,
                                () -> FileOperations.inode(directory.resolve("inner"), true));
                        expect(directory, AclEntry.WRITE | AclEntry.EXECUTE,
                                () -> Files.delete(Files.createFile(directory.resolve("made"))));
                    }
                    return null;
                });
            }
        }
    }

    /** One entry of a group must give all that is asked for at once. */
    @Test
    void rightsOfTwoGroupsDoNotAddUp() throws Exception {
        Fixture.permit(dir, "rwxr-xr-x");
        Path directory = Files.createDirectory(dir.resolve("directory"));
        Files.setAttribute(directory, "unix:gid", (int) Accounts.gid("nogroup"));
        for (String list : List.of("u::-,g::x,g:nogroup:rw,m::rwx,o::-", "u::-,g::x,g:nogroup:wx,m::rwx,o::-")) {
            Acl.parse(list).set(directory.toString());
            Fixture.onThread("check", () -> {
                try (Identity as = Identity.of("nobody")) {
                    expect(directory, AclEntry.WRITE | AclEntry.EXECUTE,
                            () -> Files.delete(Files.createFile(directory.resolve("made"))));
                }
                return null;
            });
        }
    }

    @Test
    void noOneExecutesAFileThatNoOneMay() throws Exception {
        Acl none = Acl.parse("u::rw,g::-,o::-");
        ThreadIdentity root = ThreadIdentity.now();
        assertTrue(new AccessCheck(root, 1, 1, 0100600, none).overrides(AclEntry.WRITE));
        assertEquals(false, new AccessCheck(root, 1, 1, 0100600, none).permits(AclEntry.EXECUTE));
        assertTrue(new AccessCheck(root, 1, 1, 0100601, none).permits(AclEntry.EXECUTE));
        assertTrue(new AccessCheck(root, 1, 1, 0040600, none).permits(AclEntry.EXECUTE));
    }
}
