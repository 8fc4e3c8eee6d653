package zolt.hdfs.namespace;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.util.concurrent.Callable;
import java.util.concurrent.FutureTask;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Whose is what is made, and trees of any depth. */
class MakingTest {
    private static final int GAMES = 60;
    private static final Caller NOBODY = new Caller("nobody", 65534, 65534, new int[] {65534}, false);
    private static final Caller DAEMON = new Caller("daemon", 1, 1, new int[] {1}, false);
    private static final Caller OPERATOR = new Caller("daemon", 1, 1, new int[] {1}, true);
    private static final FsPermission OPEN = new FsPermission((short) 0755);
    private static final String CHAIN = "/a".repeat(300);
    private static final int SMALL_STACK = 256 << 10;

    private final Path base = Path.of(System.getProperty("zolt.test.folder"), "making");
    private Folder folder;
    private Making making;

    @BeforeAll
    static void takeModesAsTheyAre() {
        NativeFiles.umask(0);
    }

    @BeforeEach
    void open() throws Exception {
        folder = new Folder(Root.open(base.getParent().toString()), new Names(Duration.ofMinutes(10)));
        making = new Making(folder);
        Files.createDirectory(base);
        Files.setAttribute(base, "unix:gid", GAMES);
        mode(base, "rwxrwxrwx");
    }

    @AfterEach
    void remove() throws Exception {
        new Removing(folder, null).remove(HdfsPath.of("/making"), true);
    }

    private static void mode(Path path, String mode) throws IOException {
        Files.setPosixFilePermissions(path, PosixFilePermissions.fromString(mode));
    }

    private static HdfsPath in(String name) throws IOException {
        return HdfsPath.of("/making/" + name);
    }

    private void mkdir(Caller caller, String name) throws IOException {
        try (Acting as = Acting.as(caller)) {
            making.directory(in(name), OPEN, false);
        }
    }

    private String ids(String name) throws IOException {
        Entry entry = folder.status(in(name));
        return entry.uid() + ":" + entry.gid();
    }

    @Test
    void whatIsMadeIsTheCallersAndOfTheGroupOfItsDirectory() throws Exception {
        for (Caller caller : new Caller[] {NOBODY, OPERATOR, Caller.SERVICE}) {
            for (boolean setGroupId : new boolean[] {false, true}) {
                Files.setAttribute(base, "unix:mode", setGroupId ? 02777 : 0777);
                String name = caller.uid() + "-" + setGroupId;
                mkdir(caller, name);
                try (Acting as = Acting.as(caller)) {
                    WritableFile.create(folder, in(name + "-file"), 0644).close();
                    making.link(in(name + "-link"), "target", false);
                }
                for (String each : new String[] {"", "-file", "-link"}) {
                    assertEquals(caller.uid() + ":" + GAMES, ids(name + each), name + each);
                }
            }
        }
    }

    /** As HDFS has it: the mode of a file, or of nothing in the case of a link, is none for a directory. */
    @Test
    void whatIsMissingAboveALinkHasTheModeOfWhatIsThere() throws Exception {
        mode(base, "rwxr-x--x");
        making.link(in("a/b/link"), "target", true);
        assertEquals("rwxr-x--x", PosixFilePermissions.toString(Files.getPosixFilePermissions(base.resolve("a"))));
        assertEquals("rwxr-x--x", PosixFilePermissions.toString(Files.getPosixFilePermissions(base.resolve("a/b"))));
        mode(base, "r--r-----");
        making.link(in("c/link"), "target", true);
        assertEquals("rwxr-----", PosixFilePermissions.toString(Files.getPosixFilePermissions(base.resolve("c"))),
                "whoever makes it goes on below");
    }

    /** The group is lent to the maker for what it makes, not for what it may do. */
    @Test
    void aStrangerToTheGroupGetsNoRightByIt() throws Exception {
        mode(base, "rwxrwxr-x");
        assertThrows(AccessControlException.class, () -> mkdir(NOBODY, "directory"));
        assertThrows(SystemCallException.class, () -> {
            try (Acting as = Acting.as(NOBODY)) {
                WritableFile.create(folder, in("file"), 0644).close();
            }
        });
        mkdir(Caller.SERVICE, "there");
        mkdir(NOBODY, "there");
        mode(base, "rwx---rwx");
        mkdir(NOBODY, "directory");
        assertEquals("65534:65534", ids("directory"), "the group itself could not have made it");
    }

    @Test
    void theStickyBitIsThereFromTheStartOn() throws Exception {
        making.directory(in("sticky"), new FsPermission((short) 01777), false);
        assertEquals(01777, folder.status(in("sticky")).permissions());
    }

    /** Somebody who may rename in the directory has another entry of the maker's stand where one has just been made. */
    @Test
    void nothingIsGivenToWhatTookItsPlace() throws Exception {
        Path thiefs = Files.createDirectory(base.resolve("thiefs"));
        Files.setAttribute(thiefs, "unix:uid", NOBODY.uid());
        Files.setAttribute(thiefs, "unix:gid", NOBODY.gid());
        mode(thiefs, "rwxrwxrwx");
        AtomicInteger swaps = new AtomicInteger();
        FutureTask<Void> thief = new FutureTask<>(() -> {
            byte[] made = (thiefs + "/made").getBytes();
            byte[] secret = (thiefs + "/private").getBytes();
            try (Acting as = Acting.as(NOBODY)) {
                while (!Thread.interrupted()) {
                    swaps.addAndGet(NativeFiles.rename(made, secret, 2) == 0 ? 1 : 0);  // RENAME_EXCHANGE
                }
            }
            return null;
        });
        Thread thread = new Thread(thief);
        thread.start();
        try {
            for (int round = 0; round < 300; round++) {
                removeWhileExchanged("thiefs/made");
                removeWhileExchanged("thiefs/private");
                Path own = Files.write(thiefs.resolve("private"), new byte[1]);
                Files.setAttribute(own, "unix:gid", DAEMON.gid());
                Files.setAttribute(own, "unix:uid", DAEMON.uid());
                try {
                    mkdir(DAEMON, "thiefs/made");
                } catch (IOException e) {
                    // It was exchanged before it was made.
                }
                for (String name : new String[] {"made", "private"}) {
                    Entry entry = folder.find(in("thiefs/" + name));
                    assertFalse(entry != null && entry.isFile() && entry.gid() != DAEMON.gid(), "in round " + round);
                }
            }
        } finally {
            thread.interrupt();
            thief.get();
        }
        assertTrue(swaps.get() > 0);
    }

    /** What stands there may be another kind of entry at each look. */
    private void removeWhileExchanged(String name) throws IOException {
        while (folder.find(in(name)) != null) {
            try {
                new Removing(folder, null).remove(in(name), true);
            } catch (IOException e) {
                Thread.onSpinWait();
            }
        }
    }

    /** Trees are renamed into each other: no path is as deep as they may be. */
    @Test
    void treesMayBeDeeperThanPaths() throws Exception {
        HdfsPath top = in("t0");
        making.directory(HdfsPath.of(top + CHAIN), OPEN, true);
        for (int i = 1; i < 10; i++) {
            HdfsPath next = in("t" + i);
            making.directory(HdfsPath.of(next + CHAIN), OPEN, true);
            byte[] before = (base + "/t" + (i - 1)).getBytes();
            assertEquals(0, NativeFiles.rename(before, (base + "/t" + i + CHAIN + "/b").getBytes(), 0));
            top = next;
        }
        HdfsPath all = top;
        Statuses statuses = new Statuses(folder);
        Contents contents = new Contents(folder, new Listings(folder, statuses), statuses);
        assertEquals(10 * 301, onASmallStack(() -> contents.of(all)).directories());
        assertTrue(onASmallStack(() -> new Removing(folder, null).remove(all, true)));
        assertNull(folder.find(all));
    }

    @Test
    void allLevelsOfAPathAreMade() throws Exception {
        HdfsPath path = in("deep" + "/a".repeat(990));
        onASmallStack(() -> {
            making.directory(path, OPEN, true);
            return null;
        });
        assertTrue(folder.status(path).isDirectory());
    }

    private static <T> T onASmallStack(Callable<T> action) throws Exception {
        FutureTask<T> task = new FutureTask<>(action);
        new Thread(null, task, "small", SMALL_STACK).start();
        return task.get();
    }
}
