package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/** The lists with the rights of a user who is not the superuser. */
class AclIdentityTest extends AclFixture {
    private static final String USER = "daemon";
    private static final String ACL = "u::rwx,u:7:r,g::rx,m::rx,o::rx";

    @BeforeEach
    void letOthersIn() throws Exception {
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
    }

    /** On a thread of its own, with which the user's groups go. */
    private static void asUser(Executable body) throws Exception {
        List<Throwable> failures = new ArrayList<>();
        Thread thread = new Thread(() -> {
            try {
                long handle = ZOLTNative.setFsUid(USER);
                try {
                    body.execute();
                } finally {
                    ZOLTNative.setFsUid(handle);
                }
            } catch (Throwable e) {
                failures.add(e);
            }
        });
        thread.start();
        thread.join();
        if (!failures.isEmpty()) {
            throw new AssertionError(failures.get(0));
        }
    }

    @Test
    void whatIsAnothersIsReadAndNotChanged() throws Exception {
        for (String path : List.of(directory(ACL, ACL), file(ACL))) {
            boolean isDirectory = Files.isDirectory(Path.of(path));
            String before = getfacl(path);
            Map<String, Executable> calls = natives(path);
            calls.remove("getAclStatus");
            if (!isDirectory) {
                calls.remove("removeDefaultAcl");
                calls.put("removeAcl", () -> ZOLTNative.removeAcl(path, false));
            }
            asUser(() -> {
                assertTrue(ZOLTNative.getAclStatus(path, isDirectory).length > 0);
                calls.values().forEach(call -> expect(AccessDeniedException.class,
                        "Operation not permitted: " + path, call));
            });
            assertEquals(before, getfacl(path));
        }
    }

    @Test
    void whatIsOnesOwnIsChanged() throws Exception {
        String path = directory(ACL, ACL);
        run("chown", USER, path);
        asUser(() -> ZOLTNative.setAcl(path, ints(2, ACCESS, 2, 9, 6, DEFAULT, 2, 8, 4)));
        assertEquals("user::rwx\nuser:9:rw-\ngroup::r-x\nmask::rwx\nother::r-x\n"
                + "default:user::rwx\ndefault:user:8:r--\ndefault:group::r-x\n"
                + "default:mask::r-x\ndefault:other::r-x\n\n", getfacl(path));
        asUser(() -> ZOLTNative.modifyAclEntries(path, ints(1, ACCESS, 2, 10, 1)));
        asUser(() -> ZOLTNative.removeAclEntries(path, ints(1, ACCESS, 2, 9, 0)));
        asUser(() -> ZOLTNative.removeDefaultAcl(path, true));
        assertEquals("user::rwx\nuser:10:--x\ngroup::r-x\nmask::rwx\nother::r-x\n\n",
                getfacl(path));
        asUser(() -> ZOLTNative.removeAcl(path, true));
        assertEquals("user::rwx\ngroup::r-x\nother::r-x\n\n", getfacl(path));
        asUser(() -> assertArrayEquals(ints(ACCESS, 1, 7, ACCESS, 4, 5, ACCESS, 32, 5),
                ZOLTNative.getAclStatus(path, true)));
    }

    @Test
    void belowADirectoryThatRefusesSearchEverythingIsRefused() throws Exception {
        Path closed = Files.createDirectory(dir.resolve("closed"));
        String path = Files.createDirectory(closed.resolve("within")).toString();
        run("setfacl", "-m", "u:7:r", "-d", path);
        run("chown", USER, path);
        Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("rw-------"));
        String before = getfacl(path);
        // One thread each: the diagnosis of a failed status ends as the superuser.
        for (Executable call : natives(path).values()) {
            asUser(() ->
                    expect(AccessDeniedException.class, "Permission denied: " + path, call));
        }
        assertEquals(before, getfacl(path));
    }
}
