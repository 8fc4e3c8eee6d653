package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.security.PrivilegedExceptionAction;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.NameNodeProxies;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.tools.GetUserMappingsProtocol;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import zolt.fs.ThreadIdentity;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Caller;

/** Whose rights a request has. */
class IdentityTest {
    private static final Path BASE = new Path("/identity");
    private static final FsPermission ALL = new FsPermission((short) 01777);

    private FileSystem root;
    private FileSystem nobody;
    private FileSystem daemon;

    @BeforeEach
    void connect() throws Exception {
        root = Service.shared().client();
        nobody = Service.shared().client("nobody");
        daemon = Service.shared().client("daemon");
        root.delete(BASE, true);
        root.mkdirs(BASE);
        root.setPermission(BASE, ALL);
    }

    @AfterEach
    void close() throws IOException {
        root.delete(BASE, true);
        root.close();
        nobody.close();
        daemon.close();
    }

    private static void write(FileSystem client, Path path) throws IOException {
        try (FSDataOutputStream out = client.create(path)) {
            out.write(1);
        }
    }

    @Test
    void whatIsMadeBelongsToTheCallerAndToTheGroupOfTheFolder() throws Exception {
        root.setOwner(BASE, null, "games");
        write(nobody, new Path(BASE, "file"));
        nobody.mkdirs(new Path(BASE, "a/b"));
        for (String name : new String[] {"file", "a", "a/b"}) {
            FileStatus status = root.getFileStatus(new Path(BASE, name));
            assertEquals("nobody", status.getOwner());
            assertEquals("games", status.getGroup(), name);
        }
    }

    @Test
    void theKernelDecidesForEachCall() throws Exception {
        Path file = new Path(BASE, "secret");
        write(nobody, file);
        nobody.setPermission(file, new FsPermission((short) 0600));
        assertThrows(AccessControlException.class, () -> daemon.open(file));
        assertThrows(AccessControlException.class, () -> daemon.append(file));
        assertThrows(AccessControlException.class, () -> daemon.setPermission(file, ALL));
        assertThrows(AccessControlException.class, () -> daemon.setOwner(file, "daemon", null));
        assertThrows(AccessControlException.class, () -> nobody.setOwner(file, "daemon", null));
        assertThrows(AccessControlException.class, () -> daemon.delete(file, false), "the folder is sticky");
        assertThrows(AccessControlException.class, () -> daemon.rename(file, new Path(BASE, "mine")));
        assertThrows(AccessControlException.class, () -> daemon.truncate(file, 0));
        assertEquals(1, nobody.open(file).read());
    }

    /** The name of a client is no secret; what it opened is for its user alone. */
    @Test
    void aLeaseIsNoRight() throws Exception {
        Path file = new Path(BASE, "open");
        try (FSDataOutputStream out = nobody.create(file)) {
            out.write(1);
            out.hflush();
            String holder = holder(nobody);
            org.apache.hadoop.hdfs.DFSClient stranger = ((org.apache.hadoop.hdfs.DistributedFileSystem) daemon).getClient();
            RemoteException refused = assertThrows(RemoteException.class,
                    () -> stranger.getNamenode().complete(file.toUri().getPath(), holder, null, 0));
            assertEquals(AccessControlException.class.getName(), refused.getClassName());
            refused = assertThrows(RemoteException.class, () -> stranger.getNamenode().addBlock(file.toUri().getPath(),
                    holder, null, null, 0, null, java.util.EnumSet.noneOf(org.apache.hadoop.hdfs.AddBlockFlag.class)));
            assertEquals(AccessControlException.class.getName(), refused.getClassName());
        }
        assertEquals(1, root.getFileStatus(file).getLen());
    }

    private static String holder(FileSystem client) {
        return ((org.apache.hadoop.hdfs.DistributedFileSystem) client).getClient().getClientName();
    }

    @Test
    void whatTheServiceKeepsIsNoClients() throws Exception {
        assertFalse(root.exists(new Path("/.zolt")));
        assertThrows(IOException.class, () -> write(root, new Path("/.zolt/mine")));
        for (FileStatus each : root.listStatus(new Path("/"))) {
            assertFalse(each.getPath().getName().equals(".zolt"));
        }
        Path file = new Path(BASE, "attributes");
        write(nobody, file);
        assertThrows(AccessControlException.class, () -> nobody.setXAttr(file, "user.lease.holder", new byte[1]));
        assertThrows(AccessControlException.class, () -> nobody.setXAttr(file, "trusted.mine", new byte[1]));
        assertThrows(AccessControlException.class, () -> nobody.setXAttr(file, "security.capability", new byte[1]));
        root.setXAttr(file, "trusted.mine", new byte[] {1});
        assertEquals(Map.of(), nobody.getXAttrs(file));
        assertEquals(1, root.getXAttrs(file).size());
    }

    /** Many threads, few users, each sees what is its own. */
    @Test
    void identitiesDoNotMix() throws Exception {
        Path mine = new Path(BASE, "mine");
        Path theirs = new Path(BASE, "theirs");
        nobody.mkdirs(mine, new FsPermission((short) 0700));
        daemon.mkdirs(theirs, new FsPermission((short) 0700));
        ExecutorService threads = Executors.newFixedThreadPool(8);
        try {
            List<Future<?>> all = new java.util.ArrayList<>();
            for (int i = 0; i < 8; i++) {
                boolean first = i % 2 == 0;
                FileSystem client = first ? nobody : daemon;
                all.add(threads.submit(() -> {
                    for (int round = 0; round < 100; round++) {
                        assertEquals(0, client.listStatus(first ? mine : theirs).length);
                        assertThrows(AccessControlException.class, () -> client.listStatus(first ? theirs : mine));
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

    @Test
    void noCapabilityIsInEffectWhileActing() throws Exception {
        Caller caller = new Caller("nobody", 65534, 65534, new int[] {65534}, false);
        try (Acting as = Acting.as(caller)) {
            assertEquals("0000000000000000", effective());
            assertEquals(65534, ThreadIdentity.now().uid());
            assertEquals(List.of(65534L), ThreadIdentity.now().groups());
            try (Acting own = Acting.service()) {
                assertEquals(0, ThreadIdentity.now().uid());
            }
            assertEquals("0000000000000000", effective());
            assertEquals(65534, ThreadIdentity.now().uid());
        }
        assertEquals(0, ThreadIdentity.now().uid());
        long left = Long.parseUnsignedLong(effective(), 16);
        assertEquals(0, left & ~0x21fL, "those on files alone");
        assertTrue(left != 0);
    }

    /** Between requests nothing asks the kernel, which is told again when another one is to act. */
    @Test
    void theIdentityOfARequestIsKeptUntilTheNext() throws Exception {
        Caller nobodyElse = new Caller("daemon", 1, 1, new int[] {1}, false);
        Caller caller = new Caller("nobody", 65534, 65534, new int[] {65534}, false);
        try (Acting as = Acting.forRequest(caller)) {
            assertEquals(65534, ThreadIdentity.now().uid());
        }
        assertEquals(65534, ThreadIdentity.now().uid());
        assertEquals("0000000000000000", effective());
        try (Acting as = Acting.service()) {
            assertEquals(0, ThreadIdentity.now().uid(), "the service's own is asked for");
        }
        assertEquals(0, ThreadIdentity.now().uid());
        try (Acting as = Acting.forRequest(caller); Acting own = Acting.service()) {
            assertEquals(0, ThreadIdentity.now().uid());
        }
        try (Acting as = Acting.forRequest(nobodyElse)) {
            assertEquals(1, ThreadIdentity.now().uid());
            assertEquals(List.of(1L), ThreadIdentity.now().groups());
        }
        try (Acting as = Acting.forRequest(new Caller("daemon", 1, 1, new int[] {1, 2}, false))) {
            assertEquals(List.of(1L, 2L), ThreadIdentity.now().groups(), "the same user with other groups");
        }
        Acting.release();
        assertEquals(0, ThreadIdentity.now().uid());
        assertTrue(!effective().equals("0000000000000000"));
    }

    @Test
    void groupsAreThoseOfTheUserDatabase() throws Exception {
        GetUserMappingsProtocol groups = NameNodeProxies.createProxy(Service.shared().conf(), Service.shared().uri(),
                GetUserMappingsProtocol.class).getProxy();
        try {
            assertArrayEquals(new String[] {"nogroup"}, groups.getGroupsForUser("nobody"));
            assertArrayEquals(new String[0], groups.getGroupsForUser("nobody; touch /tmp/x"));
        } finally {
            RPC.stopProxy(groups);
        }
        GetUserMappingsProtocol unknown = UserGroupInformation.createRemoteUser("no-such-user").doAs(
                (PrivilegedExceptionAction<GetUserMappingsProtocol>) () -> NameNodeProxies.createProxy(
                        Service.shared().conf(), Service.shared().uri(), GetUserMappingsProtocol.class).getProxy());
        try {
            assertThrows(IOException.class, () -> unknown.getGroupsForUser("nobody"), "it is no caller");
        } finally {
            RPC.stopProxy(unknown);
        }
    }

    /** A number without a name is listed as such, and may be given back; a name comes first. */
    @Test
    void entriesOfUsersWithoutANameAreKept() throws Exception {
        Path file = new Path(BASE, "entries");
        write(nobody, file);
        for (String user : new String[] {"4294967294", "4000000000", "70000"}) {
            nobody.setAcl(file, AclEntry.parseAclSpec("user::rwx,user:" + user
                    + ":r-x,group:4000000001:r--,group::r--,other::---", true));
            List<AclEntry> listed = nobody.getAclStatus(file).getEntries();
            assertEquals(List.of(user, "4000000001"), listed.stream().map(AclEntry::getName).filter(Objects::nonNull)
                    .toList());
            nobody.modifyAclEntries(file, listed);
            assertEquals(listed, nobody.getAclStatus(file).getEntries());
        }
        assertThrows(IOException.class, () -> nobody.modifyAclEntries(file,
                AclEntry.parseAclSpec("user:4294967295:r-x", true)));
    }

    private static String effective() throws IOException {
        return Files.readAllLines(java.nio.file.Path.of("/proc/thread-self/status")).stream()
                .filter(line -> line.startsWith("CapEff:")).findFirst().orElseThrow().substring(8).trim();
    }
}
