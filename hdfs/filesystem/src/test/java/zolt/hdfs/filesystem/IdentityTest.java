package zolt.hdfs.filesystem;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FileUtil;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Whose rights an operation has, and that the thread has its own again afterwards. */
class IdentityTest {
    private static final Path BASE = new Path("/identity");
    private static final FsPermission ALL = new FsPermission((short) 01777);
    private static final FsPermission OWNERS = new FsPermission((short) 0600);

    private FileSystem root;
    private FileSystem nobody;
    private FileSystem daemon;
    private List<String> before;

    @BeforeEach
    void connect() throws Exception {
        root = TestFolder.files();
        nobody = TestFolder.files("nobody");
        daemon = TestFolder.files("daemon");
        root.delete(BASE, true);
        root.mkdirs(BASE);
        root.setPermission(BASE, ALL);
        before = identity();
    }

    @AfterEach
    void theThreadHasItsOwnIdentityAgain() throws IOException {
        assertEquals(before, identity());
        root.delete(BASE, true);
        root.close();
        nobody.close();
        daemon.close();
    }

    /** Ids, groups and capabilities of this thread. */
    private static List<String> identity() throws IOException {
        return Files.readAllLines(java.nio.file.Path.of("/proc/thread-self/status")).stream()
                .filter(line -> line.matches("(Uid|Gid|Groups|Cap...):.*")).toList();
    }

    private static void write(FileSystem files, Path path) throws IOException {
        try (FSDataOutputStream out = files.create(path)) {
            out.write(1);
        }
    }

    @Test
    void whatIsMadeIsTheUsers() throws Exception {
        write(nobody, new Path(BASE, "file"));
        nobody.mkdirs(new Path(BASE, "a/b"));
        for (String name : new String[] {"file", "a", "a/b"}) {
            FileStatus status = root.getFileStatus(new Path(BASE, name));
            assertEquals("nobody nogroup", status.getOwner() + " " + status.getGroup(), name);
        }
    }

    @Test
    void theKernelDecidesOnEachOfManyThatAreRemoved() throws Exception {
        Path other = new Path(BASE, "of-nobody");
        Path own = new Path(BASE, "own");
        write(nobody, other);
        write(daemon, own);
        List<Map.Entry<Path, String>> staying = daemon.createBulkDelete(BASE).bulkDelete(List.of(other, own));
        assertEquals(List.of(other), staying.stream().map(Map.Entry::getKey).toList(), "the folder is sticky");
        assertTrue(staying.get(0).getValue().contains("AccessControlException: Permission denied"),
                staying.get(0)::getValue);
        assertFalse(root.exists(own));
    }

    @Test
    void theKernelDecides() throws Exception {
        Path file = new Path(BASE, "secret");
        write(nobody, file);
        nobody.setPermission(file, OWNERS);
        assertThrows(AccessControlException.class, () -> daemon.open(file));
        assertThrows(AccessControlException.class, () -> daemon.append(file));
        assertThrows(AccessControlException.class, () -> daemon.truncate(file, 0));
        assertThrows(AccessControlException.class, () -> daemon.create(file, true));
        assertThrows(AccessControlException.class, () -> daemon.setPermission(file, ALL));
        assertThrows(AccessControlException.class, () -> daemon.setOwner(file, "daemon", null));
        assertThrows(AccessControlException.class, () -> nobody.setOwner(file, "daemon", null));
        assertThrows(AccessControlException.class, () -> daemon.setTimes(file, 1, 1));
        assertThrows(AccessControlException.class, () -> daemon.setXAttr(file, "user.mine", new byte[1]));
        assertThrows(AccessControlException.class, () -> daemon.setXAttr(file, "trusted.mine", new byte[1]));
        assertThrows(AccessControlException.class, () -> daemon.access(file, FsAction.READ));
        assertThrows(AccessControlException.class, () -> daemon.delete(file, false), "the folder is sticky");
        assertThrows(AccessControlException.class, () -> daemon.rename(file, new Path(BASE, "mine")));
        assertThrows(AccessControlException.class, () -> daemon.getFileBlockLocations(file, 0, 1));
        assertThrows(AccessControlException.class, () -> daemon.getFileChecksum(file));
        assertThrows(AccessControlException.class, () -> daemon.setReplication(file, (short) 2));
        assertEquals(1, nobody.open(file).read());
        assertTrue(nobody.setReplication(file, (short) 2), "its owner's");
    }

    /** What cannot be asked with the user's rights is not asked with the process's. */
    @Test
    void aStatusTellsNoMoreThanTheUserMaySee() throws Exception {
        Path file = new Path(BASE, "secret");
        try (FSDataOutputStream out = nobody.create(file, true, 4096, (short) 1, 8 << 20)) {
            out.write(1);
        }
        root.setReplication(file, (short) 2);
        nobody.setPermission(file, OWNERS);
        assertEquals(2, root.getFileStatus(file).getReplication());
        assertEquals(daemon.getDefaultReplication(file), daemon.getFileStatus(file).getReplication());
        assertEquals(daemon.getDefaultBlockSize(file), daemon.listStatus(BASE)[0].getBlockSize());
        assertEquals("localhost", daemon.listLocatedStatus(BASE).next().getBlockLocations()[0].getHosts()[0]);
        assertEquals(1, daemon.getContentSummary(BASE).getFileCount());
    }

    @Test
    void streamsNeedTheRightOnlyWhenTheyAreOpened() throws Exception {
        Path file = new Path(BASE, "file");
        try (FSDataOutputStream out = nobody.create(file)) {
            root.setOwner(file, "root", null);
            root.setPermission(file, OWNERS);
            out.write(7);
            out.hsync();
        }
        assertThrows(AccessControlException.class, () -> nobody.open(file));
        root.setPermission(file, new FsPermission((short) 0644));
        try (FSDataInputStream in = nobody.open(file)) {
            root.setPermission(file, OWNERS);
            assertEquals(7, in.read());
            in.unbuffer();
            in.seek(0);
            assertEquals(7, in.read());
        }
    }

    @Test
    void aListingThatGoesOnHasTheRightsOfItsUser() throws Exception {
        Path directory = new Path(BASE, "closed");
        nobody.mkdirs(directory);
        for (int i = 0; i < 3000; i++) {
            nobody.create(new Path(directory, "a-name-of-some-length-" + i)).close();
        }
        RemoteIterator<FileStatus> all = daemon.listStatusIterator(directory);
        all.next();
        nobody.setPermission(directory, new FsPermission((short) 0700));
        assertThrows(AccessControlException.class, () -> {
            while (all.hasNext()) {
                all.next();
            }
        }, "it may not search the directory any more");
    }

    /** As with HDFS: whoever made the object is the user, wherever it is used. */
    @Test
    void aFileSystemIsItsMakers() throws Exception {
        Path mine = new Path(BASE, "mine");
        write(nobody, mine);
        nobody.setPermission(mine, OWNERS);
        UserGroupInformation.createRemoteUser("daemon").doAs((PrivilegedExceptionAction<Void>) () -> {
            assertEquals(1, nobody.open(mine).read());
            return null;
        });
        UserGroupInformation.createRemoteUser("nobody").doAs((PrivilegedExceptionAction<Void>) () -> {
            assertThrows(AccessControlException.class, () -> daemon.open(mine));
            return null;
        });
    }

    @Test
    void usersWhomTheSystemDoesNotKnowAreRefused() throws Exception {
        FileSystem unknown = TestFolder.files("no-such-user");
        assertThrows(AccessControlException.class, () -> unknown.exists(BASE));
        assertThrows(AccessControlException.class, () -> unknown.mkdirs(new Path(BASE, "directory")));
        assertFalse(root.exists(new Path(BASE, "directory")));
    }

    @Test
    void identitiesDoNotMix() throws Exception {
        Path mine = new Path(BASE, "mine");
        Path theirs = new Path(BASE, "theirs");
        FsPermission closed = new FsPermission((short) 0700);
        nobody.mkdirs(mine, closed);
        daemon.mkdirs(theirs, closed);
        ExecutorService threads = Executors.newFixedThreadPool(8);
        try {
            List<Future<?>> all = new ArrayList<>();
            for (int i = 0; i < 8; i++) {
                boolean first = i % 2 == 0;
                FileSystem files = first ? nobody : daemon;
                all.add(threads.submit(() -> {
                    List<String> own = identity();
                    for (int round = 0; round < 100; round++) {
                        assertEquals(0, files.listStatus(first ? mine : theirs).length);
                        assertThrows(AccessControlException.class, () -> files.listStatus(first ? theirs : mine));
                        assertEquals(0, root.listStatus(mine).length);
                        assertEquals(own, identity());
                    }
                    return null;
                }));
            }
            for (Future<?> each : all) {
                each.get();
            }
        } finally {
            threads.shutdownNow();
        }
    }

    /** A process that may not switch: root without the capabilities for it. */
    @Test
    void whoMayNotSwitchIsRefused() throws Exception {
        Process child = new ProcessBuilder("setpriv", "--inh-caps=-setuid,-setgid", "--bounding-set=-setuid,-setgid",
                System.getProperty("java.home") + "/bin/java", "-Dzolt.library=" + System.getProperty("zolt.library"),
                "-Dzolt.hdfs.library=" + System.getProperty("zolt.hdfs.library"),
                "-cp", System.getProperty("java.class.path"), Child.class.getName(), TestFolder.folder().toString())
                .redirectErrorStream(true).start();
        String said = new String(child.getInputStream().readAllBytes());
        assertTrue(child.waitFor(60, TimeUnit.SECONDS));
        assertTrue(said.contains("may not act for nobody"), said);
        assertTrue(said.contains("own: made"), said);
        assertFalse(root.exists(new Path(BASE, "of-nobody")));
        assertEquals("root", root.getFileStatus(new Path(BASE, "own")).getOwner());
    }

    /** What the other process does. */
    static final class Child {
        private Child() {}

        public static void main(String[] arguments) throws Exception {
            System.setProperty("zolt.test.root", arguments[0]);
            org.apache.hadoop.conf.Configuration conf = new org.apache.hadoop.conf.Configuration();
            URI name = URI.create("zolt:///");
            FileSystem nobody = UserGroupInformation.createRemoteUser("nobody").doAs(
                    (PrivilegedExceptionAction<FileSystem>) () -> FileSystem.newInstance(name, conf));
            try {
                nobody.mkdirs(new Path(BASE, "of-nobody"));
            } catch (AccessControlException e) {
                System.out.println(e.getMessage());
            }
            FileSystem own = FileSystem.newInstance(name, conf);
            System.out.println("own: " + (own.mkdirs(new Path(BASE, "own")) ? "made" : "not made"));
        }
    }

    @Test
    void copiesBetweenUsersNeedBothRights() throws Exception {
        Path secret = new Path(BASE, "secret");
        write(nobody, secret);
        nobody.setPermission(secret, OWNERS);
        assertThrows(AccessControlException.class,
                () -> FileUtil.copy(daemon, secret, daemon, new Path(BASE, "copy"), false, TestFolder.conf()));
    }
}
