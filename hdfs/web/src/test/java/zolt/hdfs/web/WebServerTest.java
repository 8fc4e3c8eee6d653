package zolt.hdfs.web;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.ConnectException;
import java.net.HttpURLConnection;
import java.net.URI;
import java.net.URL;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** HttpFS as 'zolt hdfs start --web' has it: the kernel decides for whom the request names. */
class WebServerTest {
    private static final FsPermission OWNERS = new FsPermission((short) 0600);

    @TempDir
    private static Path work;
    private static Path folder;
    private static String address;

    @BeforeAll
    static void start() throws Exception {
        Files.setPosixFilePermissions(work, PosixFilePermissions.fromString("rwxr-xr-x"));
        folder = Files.createDirectory(work.resolve("folder"));
        Files.setAttribute(folder, "unix:mode", 01777);
        List<String> command = new ArrayList<>(List.of("start", folder.toString(), "--web"));
        for (String key : new String[] {"dfs.namenode.rpc-address=127.0.0.1:0", "dfs.namenode.http-address=127.0.0.1:0",
            "dfs.datanode.address=127.0.0.1:0", "dfs.datanode.ipc.address=127.0.0.1:0",
            "dfs.datanode.http.address=127.0.0.1:0", "httpfs.http.port=0", "httpfs.proxyuser.daemon.hosts=127.0.0.1",
            "httpfs.proxyuser.daemon.groups=nogroup"}) {
            command.addAll(List.of("-D", key));
        }
        // A port for the NameNode that nobody has, since the DataNode has to be told.
        try (java.net.ServerSocket free = new java.net.ServerSocket(0)) {
            command.replaceAll(each -> each.replace("rpc-address=127.0.0.1:0", "rpc-address=127.0.0.1:"
                    + free.getLocalPort()));
        }
        zolt(command.toArray(new String[0]));
        String status = zolt("status", folder.toString());
        address = status.substring(status.lastIndexOf("http://")).trim();
    }

    @AfterAll
    static void stop() throws Exception {
        zolt("stop", folder.toString());
        assertThrows(ConnectException.class, () -> new URL(address + "/?op=LISTSTATUS").openStream());
        assertFalse(Files.list(work.resolve("state")).findFirst().orElseThrow().resolve("web.pid").toFile().exists());
    }

    private static String zolt(String... arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of(System.getProperty("zolt.test.launcher")));
        command.addAll(List.of(arguments));
        Path said = work.resolve("said");
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(said.toFile());
        builder.environment().put("ZOLT_HDFS_STATE", work.resolve("state").toString());
        int result = builder.start().waitFor();
        assertEquals(0, result, Files.readString(said));
        return Files.readString(said);
    }

    /** HDFS's own client of the web server, for a user. */
    private static FileSystem files(String user) throws Exception {
        return UserGroupInformation.createRemoteUser(user).doAs((PrivilegedExceptionAction<FileSystem>) () ->
                FileSystem.newInstance(URI.create("webhdfs://" + URI.create(address).getAuthority()), new Configuration()));
    }

    private static org.apache.hadoop.fs.Path path(String name) {
        return new org.apache.hadoop.fs.Path(name);
    }

    private static int answer(String request) throws IOException {
        return ((HttpURLConnection) new URL(address + request).openConnection()).getResponseCode();
    }

    @Test
    void anotherUsersFileIsRefused() throws Exception {
        Path secret = Files.writeString(folder.resolve("secret"), "of nobody");
        Files.setAttribute(secret, "unix:mode", 0600);
        new ProcessBuilder("chown", "nobody", secret.toString()).start().waitFor();
        try (FileSystem daemon = files("daemon"); FileSystem nobody = files("nobody")) {
            org.apache.hadoop.fs.Path file = path("/secret");
            assertThrows(AccessControlException.class, () -> daemon.open(file).read());
            assertThrows(AccessControlException.class, () -> daemon.append(file).close());
            assertThrows(AccessControlException.class, () -> daemon.delete(file, false), "the folder is sticky");
            assertThrows(AccessControlException.class, () -> daemon.setPermission(file, OWNERS));
            try (FSDataInputStream in = nobody.open(file)) {
                assertEquals('o', in.read());
            }
        }
        assertEquals(200, answer("/secret?op=OPEN&user.name=nobody"));
        assertEquals(401, answer("/secret?op=OPEN"), "nobody is a user as well");
    }

    @Test
    void whatIsMadeIsTheUsers() throws Exception {
        byte[] bytes = new byte[3_000_000];
        new java.util.Random(1).nextBytes(bytes);
        org.apache.hadoop.fs.Path file = path("/made/by/daemon");
        try (FileSystem daemon = files("daemon")) {
            try (FSDataOutputStream out = daemon.create(file)) {
                out.write(bytes);
            }
            assertThrows(IOException.class, () -> daemon.create(file, false).close());
            try (FSDataInputStream in = daemon.open(file)) {
                assertArrayEquals(bytes, in.readAllBytes());
            }
            FileStatus status = daemon.getFileStatus(file);
            assertEquals("daemon daemon " + bytes.length,
                    status.getOwner() + " " + status.getGroup() + " " + status.getLen());
        }
        assertEquals("daemon", Files.getOwner(folder.resolve("made/by")).getName());
        assertArrayEquals(bytes, Files.readAllBytes(folder.resolve("made/by/daemon")));
    }

    /** HttpFS's own tests of these take none but an object of HDFS's class, and HttpFS itself does for all but the first. */
    @Test
    void whatHttpFsHasForHdfsAloneIsRefused() throws Exception {
        try (FileSystem daemon = files("daemon")) {
            assertEquals(Files.getFileStore(folder).getTotalSpace(), daemon.getStatus(path("/")).getCapacity());
            assertThrows(UnsupportedOperationException.class, () -> daemon.access(path("/"), FsAction.READ));
            assertThrows(UnsupportedOperationException.class, () -> daemon.getServerDefaults(path("/")));
            assertThrows(UnsupportedOperationException.class, () -> daemon.getTrashRoots(true));
        }
    }

    /** By Hadoop's keys for proxy users. */
    @Test
    void whoMayActForOthersIsTold() throws Exception {
        assertEquals(200, answer("/?op=LISTSTATUS&user.name=daemon&doas=nobody"));
        assertEquals(403, answer("/?op=LISTSTATUS&user.name=daemon&doas=root"), "root is not in nogroup");
        assertEquals(403, answer("/?op=LISTSTATUS&user.name=nobody&doas=daemon"));
    }

    @Test
    void usersWhomTheSystemDoesNotKnowAreRefused() throws Exception {
        try (FileSystem unknown = files("no-such-user")) {
            assertThrows(AccessControlException.class, () -> unknown.listStatus(path("/")));
        }
        assertEquals(500, answer("/?op=LISTSTATUS&user.name=root@OTHER.REALM"), "not the root of this one");
    }

    @Test
    void nothingLeadsOutOfTheFolder() throws Exception {
        Path outside = Files.writeString(work.resolve("outside"), "outside");
        Files.createSymbolicLink(folder.resolve("file-link"), outside);
        Files.createSymbolicLink(folder.resolve("folder-link"), work);
        Files.createSymbolicLink(folder.resolve("up-link"), Path.of(".."));
        for (String path : new String[] {"/file-link", "/folder-link/outside", "/up-link/outside", "/../outside"}) {
            assertTrue(answer(path + "?op=OPEN&user.name=root") >= 400, path);
        }
        assertEquals(200, answer("/?op=LISTSTATUS&user.name=root"), "they are shown");
        assertEquals(404, answer("/.zolt?op=LISTSTATUS&user.name=root"), "what the service keeps");
    }

    /** Whoever may rename the folder, or one above it, may not put another one in its place. */
    @Test
    void whatIsServedStaysTheFolderOfTheStart() throws Exception {
        Files.createFile(folder.resolve("inside"));
        Path moved = Files.move(folder, work.resolve("moved"));
        try {
            assertTrue(zolt("status", folder.toString()).contains(folder + " is at hdfs://"));
            Files.createDirectory(folder);
            Files.createFile(folder.resolve("other"));
            Files.createSymbolicLink(folder.resolve("link"), Path.of("/etc"));
            assertEquals(200, answer("/inside?op=OPEN&user.name=root"));
            assertEquals(404, answer("/other?op=OPEN&user.name=root"));
            assertEquals(404, answer("/link/passwd?op=OPEN&user.name=root"));
            String listed = zolt("dfs", folder.toString(), "-ls", "/");
            assertTrue(listed.contains(" /inside") && !listed.contains(" /other"), listed);
        } finally {
            Files.deleteIfExists(folder.resolve("link"));
            Files.deleteIfExists(folder.resolve("other"));
            Files.deleteIfExists(folder);
            Files.move(moved, folder);
        }
    }
}
