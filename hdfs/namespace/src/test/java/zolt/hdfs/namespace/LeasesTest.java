package zolt.hdfs.namespace;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Leases: when one ends that nobody gives back, and what a process leaves that ends between two steps. */
class LeasesTest {
    private static final Duration LONG = Duration.ofMinutes(10);
    private static final Duration SHORT = Duration.ofMillis(400);
    private static final OpenFiles.Writer FIRST = new OpenFiles.Writer("first", "here", "1");
    private static final OpenFiles.Writer SECOND = new OpenFiles.Writer("second", "there", "2");
    private static final Caller NOBODY = new Caller("nobody", 65534, 65534, new int[] {65534}, false);

    private final HdfsPath path = HdfsPath.of("/lease-of-a-test");
    private final Path local = Path.of(System.getProperty("zolt.test.folder") + path);
    private Folder folder;
    private ServiceFolder service;
    private Holders holders;
    private Locks locks;

    @BeforeEach
    void open() throws Exception {
        Root root = Root.open(System.getProperty("zolt.test.folder"));
        folder = new Folder(root, new Names(LONG));
        service = new ServiceFolder(root);
        holders = new Holders(service);
        locks = new Locks(service);
    }

    @AfterEach
    void remove() throws Exception {
        new Removing(folder, null).remove(path, false);
    }

    private OpenFiles files(Duration soft, Duration hard) {
        return new OpenFiles(folder, new Making(folder), holders, locks, new OpenFiles.Limits(soft, hard));
    }

    private static void create(OpenFiles files, HdfsPath path, OpenFiles.Writer writer) throws IOException {
        create(files, path, writer, 0);
    }

    private static void create(OpenFiles files, HdfsPath path, OpenFiles.Writer writer, int copies) throws IOException {
        files.create(path, new OpenFiles.Creation(new FsPermission((short) 0644), true, false, true, copies, 0), writer);
    }

    private UserDefinedFileAttributeView attributes() {
        return Files.getFileAttributeView(local, UserDefinedFileAttributeView.class);
    }

    private void setAttribute(String name, String value) throws IOException {
        attributes().write(name, StandardCharsets.UTF_8.encode(value));
    }

    @Test
    void theNextWriterEndsTheLeaseOfASilentOne() throws Exception {
        OpenFiles files = files(SHORT, LONG);
        create(files, path, FIRST);
        assertThrows(AlreadyBeingCreatedException.class, () -> files.append(path, SECOND));
        Thread.sleep(SHORT.toMillis() / 2);
        new Holders(service).touch("first");  // by another NameNode
        Thread.sleep(SHORT.toMillis() / 2 + 50);
        assertThrows(AlreadyBeingCreatedException.class, () -> files.append(path, SECOND), "it was heard of");
        Thread.sleep(SHORT.toMillis() + 50);
        files.append(path, SECOND);
        assertEquals(Optional.of("second"), files.holder(path));
    }

    @Test
    void anyLookEndsTheLeaseOfADeadOne() throws Exception {
        OpenFiles files = files(SHORT, SHORT);
        create(files, path, FIRST);
        assertEquals(Optional.of("first"), files.holder(path));
        Thread.sleep(SHORT.toMillis() + 100);
        assertEquals(Optional.empty(), files.holder(path));
    }

    /** A client that heard no answer asks again, and gets what it has made; no other call does, of whichever client. */
    @Test
    void aRepeatedCallGetsWhatItHasMade() throws Exception {
        OpenFiles files = files(LONG, LONG);
        create(files, path, FIRST);
        create(files, path, FIRST);
        OpenFiles.Writer otherCall = new OpenFiles.Writer("first", "here", "3");
        assertThrows(AlreadyBeingCreatedException.class, () -> create(files, path, otherCall));
        assertThrows(AlreadyBeingCreatedException.class, () -> files.append(path, otherCall));
        assertThrows(AlreadyBeingCreatedException.class, () -> create(files, path, SECOND));
    }

    /** Many find a lease that has expired, at the same time: one gets it, and nobody takes it from that one again. */
    @Test
    void anExpiredLeaseGoesToOne() throws Exception {
        OpenFiles files = files(SHORT, SHORT);
        int writers = 6;
        ExecutorService threads = Executors.newFixedThreadPool(2 * writers);
        try {
            create(files, path, FIRST);
            for (int round = 0; round < 5; round++) {
                Thread.sleep(SHORT.toMillis() + 50);
                CyclicBarrier begin = new CyclicBarrier(2 * writers);
                List<Future<String>> asked = new ArrayList<>();
                for (int i = 0; i < writers; i++) {
                    String name = "writer-" + round + "-" + i;
                    asked.add(threads.submit(() -> {
                        begin.await();
                        return appends(files, name) ? name : "";
                    }));
                    asked.add(threads.submit((Callable<String>) () -> {
                        begin.await();
                        files.holder(path);
                        return "";
                    }));
                }
                StringBuilder winners = new StringBuilder();
                for (Future<String> each : asked) {
                    winners.append(each.get());
                }
                assertEquals(Optional.of(winners.toString()), files.holder(path), "one has it");
            }
        } finally {
            threads.shutdownNow();
        }
    }

    private boolean appends(OpenFiles files, String client) throws IOException {
        try {
            files.append(path, new OpenFiles.Writer(client, "here", client));
            return true;
        } catch (AlreadyBeingCreatedException e) {
            return false;
        }
    }

    private long startOf(OpenFiles files, String client) throws IOException {
        try (OpenFiles.Written file = files.written(path, client, 0)) {
            return file.session().start();
        }
    }

    /** The process ended before the lease was there: what it left counts for nothing. */
    @Test
    void aSessionWithoutALeaseIsNone() throws Exception {
        OpenFiles files = files(LONG, LONG);
        Files.write(local, new byte[100]);
        setAttribute("zolt.session", "5 1");
        files.append(path, FIRST);
        assertEquals(100, startOf(files, "first"));
    }

    /** The process ended while it removed the lease: the client asks again, and nothing is cut. */
    @Test
    void anEndThatWasBrokenOffIsAnEnd() throws Exception {
        OpenFiles files = files(LONG, LONG);
        Files.write(local, new byte[100]);
        for (String left : new String[] {"lease.update", "zolt.session"}) {
            files.append(path, FIRST);
            attributes().delete("lease.holder");
            if (left.equals("zolt.session")) {
                attributes().delete("lease.update");
            }
            assertTrue(files.writtenOrClosed(path, "first", 0).isEmpty());
            files.append(path, SECOND);
            assertEquals(100, startOf(files, "second"), "the lease can be taken again");
            assertTrue(files.recover(path));
        }
    }

    /** Others may take a lease, and whoever writes a file may change its attributes: then nothing is guessed. */
    @Test
    void aLeaseWithoutASessionWritesNothing() throws Exception {
        OpenFiles files = files(LONG, LONG);
        Files.write(local, new byte[100]);
        setAttribute("lease.holder", "first");
        for (String session : new String[] {"", "garbage", "-1 x", "99999999999999999999 x", "7", "x".repeat(1000)}) {
            if (!session.isEmpty()) {
                setAttribute("zolt.session", session);
            }
            assertThrows(IOException.class, () -> startOf(files, "first"), session);
            try (OpenFiles.Written file = files.written(path, "first", 0)) {
                assertThrows(IOException.class, () -> file.complete(0), session);
            }
        }
        assertEquals(100, Files.size(local));
        assertTrue(files.recover(path));
        assertEquals(100, Files.size(local));
        assertFalse(attributes().list().stream().anyMatch(name -> name.startsWith("lease.") || name.startsWith("zolt.s")));
    }

    @Test
    void aWriterCannotCutWhatWasThere() throws Exception {
        OpenFiles files = files(LONG, LONG);
        Files.write(local, new byte[100]);
        files.append(path, FIRST);
        Files.write(local, new byte[150]);
        try (OpenFiles.Written file = files.written(path, "first", 0)) {
            assertThrows(IOException.class, () -> file.complete(99));
            file.complete(120);
        }
        assertEquals(120, Files.size(local));
        assertEquals(Optional.empty(), files.holder(path));
    }

    /** The lease was ended, and taken by another, since the writer looked. */
    @Test
    void whatIsAnothersByNowIsNotCompleted() throws Exception {
        OpenFiles files = files(LONG, LONG);
        create(files, path, FIRST);
        Files.write(local, new byte[100]);
        try (OpenFiles.Written file = files.written(path, "first", 0)) {
            files.recover(path);
            files.append(path, SECOND);
            assertThrows(IOException.class, () -> file.complete(10));
        }
        assertEquals(100, Files.size(local));
        assertEquals(Optional.of("second"), files.holder(path));
    }

    @Test
    void aHolderMayHaveALongName() throws Exception {
        OpenFiles files = files(LONG, LONG);
        Files.createFile(local);
        setAttribute("lease.holder", "x".repeat(1000));
        assertEquals(Optional.of("x".repeat(1000)), files.holder(path));
        assertTrue(files.recover(path));
        assertThrows(HadoopIllegalArgumentException.class, () -> new OpenFiles.Writer("x".repeat(256), "", ""));
    }

    /** The process ended between the making of a file and its lease: its owner makes it, and nobody else. */
    @Test
    void whatWasNotBegunIsBegun() throws Exception {
        OpenFiles files = files(LONG, LONG);
        byte[] name = local.toString().getBytes(StandardCharsets.UTF_8);
        NativeFiles.close(NativeFiles.open(NativeFiles.NO_DIRECTORY, name,
                NativeFiles.O_WRONLY | NativeFiles.O_CREAT | NativeFiles.O_EXCL, 0644 | Entry.UNBEGUN));
        try (Acting as = Acting.as(NOBODY)) {
            assertThrows(FileAlreadyExistsException.class, () -> create(files, path, SECOND));
        }
        create(files, path, FIRST);
        assertEquals(Optional.of("first"), files.holder(path));
        assertEquals(0644, folder.find(path).permissions());
        try (OpenFiles.Written file = files.written(path, "first", 0)) {
            file.complete(0);
        }
        assertThrows(FileAlreadyExistsException.class, () -> create(files, path, FIRST), "it was begun, and is done");
    }

    @Test
    void whatCannotBeBegunLeavesNothing() throws Exception {
        assertThrows(IOException.class, () -> create(files(LONG, LONG), path, FIRST, Short.MAX_VALUE));
        assertFalse(Files.exists(local));
    }

    /** As for every writer who is not the owner, the kernel takes the bit away. */
    @Test
    void aFileThatIsCutHasNoSetUserIdBit() throws Exception {
        OpenFiles files = files(LONG, LONG);
        Files.write(local, new byte[100]);
        Files.setAttribute(local, "unix:mode", 04777);
        try (Acting as = Acting.as(NOBODY)) {
            files.truncate(path, 50, FIRST);
        }
        assertEquals(0777, (int) Files.getAttribute(local, "unix:mode") & 07777);
        Files.setAttribute(local, "unix:mode", 04777);
        files.append(path, FIRST);
        try (java.nio.channels.FileChannel channel = java.nio.channels.FileChannel.open(local,
                java.nio.file.StandardOpenOption.WRITE)) {
            channel.write(java.nio.ByteBuffer.allocate(100));
        }
        Files.setAttribute(local, "unix:mode", 04777);
        try (Acting as = Acting.as(NOBODY); OpenFiles.Written file = files.written(path, "first", 0)) {
            file.complete(60);
        }
        assertEquals(0777, (int) Files.getAttribute(local, "unix:mode") & 07777);
    }
}
