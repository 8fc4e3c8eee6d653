package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.util.TreeSet;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.RemoteException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.SystemCallException;

/** Names of every kind, and the way out of the folder that there is not. */
class NamesTest {
    private static final Path BASE = new Path("/names");

    private FileSystem client;

    @BeforeEach
    void connect() throws Exception {
        client = Service.shared().client();
        client.mkdirs(BASE);
    }

    @AfterEach
    void close() throws IOException {
        client.delete(BASE, true);
        client.close();
    }

    /** A character beyond U+FFFF is other bytes to the natives than to the kernel. */
    @Test
    void everyCharacterMayStandInAName() throws Exception {
        for (String name : new String[] {"\ud83d\ude00", "\u00e4\u20ac", "a b\n'\"", "-rf", "*"}) {
            Path folder = new Path(new Path(BASE, "in"), name);
            Path file = new Path(folder, name);
            client.mkdirs(folder);
            try (FSDataOutputStream out = client.create(file)) {
                out.write(5);
            }
            assertEquals(1, client.getFileStatus(file).getLen());
            assertTrue(Files.exists(java.nio.file.Path.of(Service.FOLDER + file.toUri().getPath())));
            client.setReplication(file, (short) 2);
            assertEquals(2, client.getFileStatus(file).getReplication());
            client.setXAttr(file, "user.a", new byte[] {1});
            assertArrayEquals(new byte[] {1}, client.getXAttr(file, "user.a"));
            client.modifyAclEntries(file, java.util.List.of(new AclEntry.Builder().setType(AclEntryType.USER)
                    .setScope(AclEntryScope.ACCESS).setName("nobody").setPermission(FsAction.READ).build()));
            assertTrue(client.getFileStatus(file).hasAcl());
            client.setTimes(file, 5000, 6000);
            assertEquals(5000, client.getFileStatus(file).getModificationTime());
            assertEquals(name, client.listStatus(folder)[0].getPath().getName());
            assertTrue(client.rename(file, new Path(BASE, "moved")));
            assertTrue(client.delete(new Path(BASE, "moved"), false));
        }
    }

    /** The kernel takes 4,095 bytes at once; HDFS has paths of 8,000 characters. */
    @Test
    void pathsMayBeLong() throws Exception {
        Path deep = BASE;
        while (deep.toUri().getPath().length() < 7_600) {
            deep = new Path(deep, "n".repeat(200));
        }
        client.mkdirs(deep);
        Path file = new Path(deep, "file");
        client.create(file).close();
        assertTrue(client.exists(file));
        assertEquals(1, client.listStatus(deep).length);
        client.setReplication(file, (short) 2);
        assertEquals(2, client.getFileStatus(file).getReplication());
        assertTrue(client.rename(file, new Path(BASE, "up")));
        assertTrue(client.delete(BASE, true));
    }

    @Test
    void listingsAreWholeAndInOrder() throws Exception {
        TreeSet<String> names = new TreeSet<>();
        for (int i = 0; i < 137; i++) {
            names.add("n" + i);
            client.create(new Path(BASE, "n" + i)).close();
        }
        java.util.List<String> listed = new java.util.ArrayList<>();
        for (FileStatus each : client.listStatus(BASE)) {
            listed.add(each.getPath().getName());
        }
        assertEquals(new java.util.ArrayList<>(names), listed);
    }

    /** Another program may give such a name: nobody can open it here, but everybody is told of it. */
    @Test
    void aNameThatIsNoTextIsListedWithAndWithoutLocations() throws Exception {
        client.mkdirs(BASE);
        try (FSDataOutputStream out = client.create(new Path(BASE, "text"))) {
            out.write(new byte[3]);
        }
        byte[] name = (Service.FOLDER + BASE + "/z?").getBytes(java.nio.charset.StandardCharsets.US_ASCII);
        name[name.length - 1] = (byte) 0xff;
        NativeFiles.close(SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY, name,
                NativeFiles.O_CREAT | NativeFiles.O_RDWR, 0644), "a name that is no text"));
        assertEquals(2, client.listStatus(BASE).length);
        java.util.List<LocatedFileStatus> located = new java.util.ArrayList<>();
        for (RemoteIterator<LocatedFileStatus> all = client.listLocatedStatus(BASE); all.hasNext();) {
            located.add(all.next());
        }
        assertEquals(2, located.size());
        assertEquals(1, located.get(0).getBlockLocations().length);
        assertEquals(0, located.get(1).getBlockLocations().length);
    }

    /** A client resolves a link itself; no call of the service follows one. */
    @Test
    void noLinkLeadsOutOfTheFolder() throws Exception {
        java.nio.file.Path base = java.nio.file.Path.of(Service.FOLDER + BASE);
        Files.createSymbolicLink(base.resolve("etc"), java.nio.file.Path.of("/etc"));
        Files.createSymbolicLink(base.resolve("up"), java.nio.file.Path.of("../../.."));
        Files.createSymbolicLink(base.resolve("passwd"), java.nio.file.Path.of("/etc/passwd"));
        ClientProtocol raw = ((DistributedFileSystem) client).getClient().getNamenode();
        String in = BASE.toUri().getPath();
        String[] ways = {in + "/etc/passwd", in + "/up/etc/passwd", in + "/passwd"};
        for (String way : ways) {
            assertUnresolved(() -> raw.getBlockLocations(way, 0, 1));
            assertUnresolved(() -> raw.getFileInfo(way));
            assertUnresolved(() -> raw.getAclStatus(way));
            assertUnresolved(() -> raw.listXAttrs(way));
            assertUnresolved(() -> raw.setTimes(way, 1, 1));
            assertUnresolved(() -> raw.setPermission(way, new org.apache.hadoop.fs.permission.FsPermission("777")));
            assertUnresolved(() -> raw.getListing(way, new byte[0], false));
            assertUnresolved(() -> raw.append(way, "client", new org.apache.hadoop.io.EnumSetWritable<>(
                    java.util.EnumSet.of(org.apache.hadoop.fs.CreateFlag.APPEND))));
            assertUnresolved(() -> raw.truncate(way, 0, "client"));
        }
        assertUnresolved(() -> raw.getListing(in + "/etc", new byte[0], false));
        assertUnresolved(() -> raw.mkdirs(in + "/etc/made", new org.apache.hadoop.fs.permission.FsPermission("777"), true));
        assertUnresolved(() -> raw.delete(in + "/up/names/x", true));
        assertUnresolved(() -> raw.rename(in + "/etc/passwd", in + "/mine"));
        for (String way : new String[] {in + "/../../etc", "/..", in + "/./x", "//etc", in + "//x"}) {
            assertThrows(RemoteException.class, () -> raw.getFileInfo(way), way);
        }
        assertTrue(client.delete(new Path(BASE, "etc"), true), "a link is removed, not what it leads to");
        assertTrue(Files.exists(java.nio.file.Path.of("/etc/passwd")));
        assertFalse(Files.exists(base.resolve("etc"), java.nio.file.LinkOption.NOFOLLOW_LINKS));
    }

    @FunctionalInterface
    private interface Done {
        void run() throws Exception;
    }

    private static void assertUnresolved(Done call) {
        IOException refused = assertThrows(IOException.class, call::run);
        String name = refused instanceof RemoteException ? ((RemoteException) refused).getClassName()
                : refused.getClass().getName();
        assertEquals("org.apache.hadoop.hdfs.protocol.UnresolvedPathException", name, refused::toString);
    }
}
