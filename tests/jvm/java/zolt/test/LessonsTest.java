package zolt.test;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.test.acl.AclBytes;
import zolt.test.acl.AclFixture;

/** What has gone wrong in other libraries of this kind. */
class LessonsTest extends Cleared {
    private static final int ACCESS = AclBytes.ACCESS;
    private static final byte[] TWO_OF_A_KIND = AclFixture.ints(6, ACCESS, 1, 7, ACCESS, 4, 7, ACCESS,
            32, 7, ACCESS, 2, 1, 7, ACCESS, 2, 1, 4, ACCESS, 16, 7);

    @TempDir Path dir;
    private String file;
    private final ByteBuffer record = ByteBuffer.allocateDirect(110).order(ByteOrder.nativeOrder());
    private final ByteBuffer words = ByteBuffer.allocateDirect(4096).order(ByteOrder.nativeOrder());

    @BeforeEach
    void prepare() throws Exception {
        file = Files.writeString(dir.resolve("file"), "12345").toString();
    }

    private int status(String path) throws IOException {
        return ZOLTNative.getFileStatusNative(path, true, true, record, 0, 0, 0, 0);
    }

    /** The work of a service, apart from names: nothing of it waits for a name. */
    private List<Executable> workOfOthers() {
        byte[] spec = AclFixture.ints(1, ACCESS, 2, 1, 7);
        return List.of(() -> status(file),
                () -> ZOLTNative.getFileStatusFastNative(file, true, record, 0, 0),
                () -> ZOLTNative.isCMTimeChangedNative(file, true, 0, 0, 0, 0),
                () -> ZOLTNative.getINum(file, true),
                () -> ZOLTNative.getFailedPathNative(file, true),
                () -> ZOLTNative.getDirentCountNative(dir.toString()),
                () -> ZOLTNative.getDirentsNative(dir.toString(), words, false, false),
                () -> ZOLTNative.getBlockLocationsNative(file, 0, true, 0, 5, null, words),
                () -> ZOLTNative.setReplication(file, (short) 3, true),
                () -> ZOLTNative.setBGF(file, 2),
                () -> ZOLTNative.setPermission(file, (short) 0600),
                () -> ZOLTNative.setTimes(file, 1, 1),
                () -> ZOLTNative.setExtendedAttribute(file, "user.a", new byte[1], (short) 0),
                () -> ZOLTNative.getXAttr(file, "user.a"),
                () -> ZOLTNative.dumpXAttrs(file),
                () -> ZOLTNative.setFileLeaseNative(file, true, new byte[4]),
                () -> ZOLTNative.renewFileLeaseNative(file, true),
                () -> ZOLTNative.removeFileLeaseNative(file, true),
                () -> ZOLTNative.modifyAclEntries(file, spec),
                () -> ZOLTNative.getAclStatus(file, false),
                () -> ZOLTNative.removeAclEntries(file, spec),
                () -> ZOLTNative.removeAcl(file, false),
                () -> ZOLTNative.getUid("root"),
                () -> ZOLTNative.getGroup(0),
                () -> ZOLTNative.setFsUid(ZOLTNative.setFsUid("nobody")),
                () -> ZOLTNative.getFsName("/proc", "proc"));
    }

    @ParameterizedTest
    @ValueSource(strings = {"getUid", "getUser", "getGid", "getGroup", "setFsUid", "the text of a list"})
    void aUserDatabaseThatTakesASecondHoldsUpNobodyElse(String lookup) throws Throwable {
        String refused = Files.createFile(dir.resolve("refused")).toString();
        CountDownLatch begun = new CountDownLatch(1);
        Thread waiting = new Thread((Body) () -> {
            Faults.slowLookups(1000);
            begun.countDown();
            switch (lookup) {
                case "getUid" -> ZOLTNative.getUid("root");
                case "getUser" -> ZOLTNative.getUser(0);
                case "getGid" -> ZOLTNative.getGid("root");
                case "getGroup" -> ZOLTNative.getGroup(0);
                case "setFsUid" -> ZOLTNative.setFsUid(ZOLTNative.setFsUid("nobody"));
                default -> assertThrows(IOException.class,
                        () -> ZOLTNative.setAcl(refused, TWO_OF_A_KIND));
            }
        });
        waiting.start();
        begun.await();
        Thread.sleep(100); // it is in its lookup now
        long before = System.nanoTime();
        Identity.onThread(() -> {
            for (Executable work : workOfOthers()) {
                work.execute();
            }
        });
        long took = (System.nanoTime() - before) / 1_000_000;
        assertTrue(waiting.isAlive(), () -> "the others took " + took + " ms, until the lookup ended");
        waiting.join();
    }

    @Test
    void namesOfManyBytesAndBrokenOnesAreNamesInEveryString() throws Exception {
        for (String name : new String[] {"caf\u00e9", "\u4e2d\u6587", "\ud83d\ude00", "\ud83d",
            "\ude00", "nul\0"}) {
            String missing = dir + "/" + name;
            assertThrows(NoSuchFileException.class, () -> ZOLTNative.getINum(missing, true));
            expect(NoSuchFileException.class,
                    "No such file or directory: stat failed for " + missing,
                    () -> ZOLTNative.getINum(missing, true));
            ZOLTNative.getFailedPathNative(missing, false);
            ZOLTNative.setExtendedAttribute(file, "user." + name, name.getBytes("UTF-8"), (short) 0);
            assertArrayEquals(name.getBytes("UTF-8"), ZOLTNative.getXAttr(file, "user." + name));
            assertTrue(ZOLTNative.dumpXAttrs(file).containsKey("user." + name), name);
            assertTrue(ZOLTNative.removeXAttr(file, "user." + name));
            Faults.user(name, 70001, 70002, 0);
            Faults.group(name, 70002, 0);
            assertEquals(70001, ZOLTNative.getUid(name));
            assertEquals(70002, ZOLTNative.getGid(name));
            assertEquals(name, ZOLTNative.getUser(70001));
            assertEquals(name, ZOLTNative.getGroup(70002));
            Faults.clear();
            assertEquals("Invalid argument: Unknown user \"" + name + "\", create the user on all"
                    + " kolvane nodes with the same uid and try it again!",
                    assertThrows(IOException.class, () -> ZOLTNative.getUid(name)).getMessage());
        }
    }

    @Test
    void aTargetOfAnyBytesIsThoseBytes() throws Exception {
        AclFixture.run("bash", "-c", "ln -s $'\\xff\\xed\\xa0\\xbd\\xf0\\x9f\\x98\\x80\\n' '"
                + dir.resolve("link") + "'");
        assertArrayEquals(new byte[] {-1, -19, -96, -67, -16, -97, -104, -128, '\n'},
                ZOLTNative.getLinkTargetNative(dir.resolve("link").toString(), 100));
    }

    @Test
    void anotherNameOfAnInodeIsTheSameFile() throws Exception {
        String other = Files.createLink(dir.resolve("other"), Path.of(file)).toString();
        ZOLTNative.setBGF(file, 3);
        ZOLTNative.setReplication(file, (short) 2, true);
        ZOLTNative.setFileLeaseNative(file, true, "me".getBytes());
        assertEquals(ZOLTNative.getINum(file, true), ZOLTNative.getINum(other, true));
        expect(IOException.class, "File exists: user.lease.holder already exists",
                () -> ZOLTNative.setFileLeaseNative(other, true, "you".getBytes()));
        assertEquals(1, status(file));
        byte[] first = new byte[88];
        record.get(0, first);
        assertEquals(1, status(other));
        byte[] second = new byte[88];
        record.get(0, second);
        assertArrayEquals(first, second);

        // A record taken by one name answers for the other when the first is gone.
        ZOLTNative.getBlockLocationsNative(file, 3, true, 0, 5, record, words);
        int node = words.getInt(0);
        Files.delete(Path.of(file));
        ZOLTNative.getBlockLocationsNative(other, 3, true, 0, 5, record, words);
        assertEquals(node, words.getInt(0));
        assertThrows(NoSuchFileException.class,
                () -> ZOLTNative.getBlockLocationsNative(file, 3, true, 0, 5, record, words));
        assertArrayEquals("me".getBytes(), ZOLTNative.getFileLeaseNative(other, true, 10,
                Long.MAX_VALUE));
    }

    @Test
    void aNewFileOfAnOldNameHasNothingOfTheOld() throws Exception {
        ZOLTNative.setFileLeaseNative(file, true, "me".getBytes());
        ZOLTNative.setBGF(file, 3);
        Path made = Files.writeString(dir.resolve("made"), "1234567");
        final long inode = ZOLTNative.getINum(made.toString(), true);
        Files.move(made, Path.of(file), java.nio.file.StandardCopyOption.REPLACE_EXISTING);
        assertEquals(1, status(file));
        assertEquals(inode, record.getLong(0));
        assertEquals(7, record.getLong(8));
        assertEquals(0, record.getShort(84));
        assertNull(ZOLTNative.getXAttr(file, "user.lease.holder"));
        expect(IOException.class, "No data available: user.lease.update does not exist",
                () -> ZOLTNative.getFileLeaseNative(file, true, 10, 0));
    }

    @Test
    void anIdWithoutANameIsANumberEverywhere() throws Exception {
        int none = (int) 3_999_999_999L;
        Files.setAttribute(Path.of(file), "unix:uid", none);
        Files.setAttribute(Path.of(file), "unix:gid", none);
        assertEquals(1, status(file));
        assertEquals(none, record.getInt(16));
        assertEquals(none, record.getInt(20));
        byte[] entry = AclFixture.ints(1, ACCESS, 2, none, 5);
        ZOLTNative.modifyAclEntries(file, entry);
        List<Integer> ids = new ArrayList<>();
        ByteBuffer list = ByteBuffer.wrap(ZOLTNative.getAclStatus(file, false))
                .order(ByteOrder.nativeOrder());
        while (list.hasRemaining()) {
            list.getInt();
            int tag = list.getInt();
            if (tag == 2) {
                ids.add(list.getInt());
            }
            list.getInt();
        }
        assertEquals(List.of(none), ids);
        ZOLTNative.getFailedPathNative(file + "/below", true);
        if (Log.nativeThreshold() == Level.TRACE) { // the path is examined at no other level
            Log.expectMatch(Level.DEBUG, "(?s)\n.*/file ino:.* owner:3999999999 group:3999999999 .*"
                    + "user:3999999999:r-x.*");
        }
    }
}
