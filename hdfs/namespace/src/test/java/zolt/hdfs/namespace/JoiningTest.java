package zolt.hdfs.namespace;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.CompletionException;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Files that are joined while others write, and what becomes of them when that does not end well. */
class JoiningTest {
    private static final Duration LONG = Duration.ofMinutes(10);
    private static final OpenFiles.Limits LIMITS = new OpenFiles.Limits(LONG, LONG);
    private static final Caller NOBODY = new Caller("nobody", 65534, 65534, new int[] {65534}, false);
    /** Long enough to copy that others come in between. */
    private static final long MUCH = 200 << 20;

    private final HdfsPath base = HdfsPath.of("/joining");
    private final HdfsPath target = HdfsPath.of("/joining/target");
    private final HdfsPath one = HdfsPath.of("/joining/one");
    private final HdfsPath two = HdfsPath.of("/joining/two");
    private OpenFiles open;
    private Removing removing;
    private Joining joining;
    private Path holders;

    @BeforeEach
    void make() throws Exception {
        Root root = Root.open(System.getProperty("zolt.test.folder"));
        Folder folder = new Folder(root, new Names(LONG));
        ServiceFolder service = new ServiceFolder(root);
        Holders records = new Holders(service);
        holders = service.directory("holders");
        open = new OpenFiles(folder, new Making(folder), records, new Locks(service), LIMITS);
        removing = new Removing(folder, new Listings(folder, new Statuses(folder)));
        joining = new Joining(folder, open, records, removing);
        Files.createDirectory(local(base));
        Files.write(local(target), new byte[] {1, 2, 3});
        Files.write(local(one), new byte[] {4, 5});
        Files.write(local(two), new byte[] {6});
    }

    @AfterEach
    void remove() throws Exception {
        removing.remove(base, true);
    }

    private static Path local(HdfsPath path) {
        return Path.of(System.getProperty("zolt.test.folder") + path);
    }

    private void join(HdfsPath... sources) throws IOException {
        joining.join(target, List.of(sources), "here");
    }

    private long records() throws IOException {
        try (java.util.stream.Stream<Path> all = Files.list(holders)) {
            return all.count();
        }
    }

    @Test
    void theBytesAreBehindOneAnother() throws Exception {
        long before = records();
        join(one, two);
        assertArrayEquals(new byte[] {1, 2, 3, 4, 5, 6}, Files.readAllBytes(local(target)));
        assertFalse(Files.exists(local(one)) || Files.exists(local(two)));
        assertEquals(Optional.empty(), open.holder(target));
        assertEquals(before, records(), "nothing is noted of what is done");
    }

    /** A hard link keeps the file, but not the lease. */
    @Test
    void anotherNameOfASourceIsFree() throws Exception {
        HdfsPath other = HdfsPath.of("/joining/other");
        Files.createLink(local(other), local(one));
        join(one);
        assertEquals(Optional.empty(), open.holder(other));
    }

    /** The process was killed while it copied: whoever ends the lease cuts what came behind. */
    @Test
    void whatWasBrokenOffIsCut() throws Exception {
        OpenFiles.Writer killed = new OpenFiles.Writer("concat-1", "here", "1");
        try (WritableFile file = WritableFile.open(new Folder(Root.open(local(base).getParent().toString()), null),
                target)) {
            Session session = open.leases().take(file.descriptor(), killed, true, "concat");
            Files.write(local(target), new byte[] {1, 2, 3, 4, 5, 6});
            open.leases().keep(file.descriptor(), session, 5);
        }
        assertThrows(AlreadyBeingCreatedException.class, () -> join(two));
        assertTrue(open.recover(target));
        assertArrayEquals(new byte[] {1, 2, 3, 4, 5}, Files.readAllBytes(local(target)));
        join(two);
        assertEquals(6, Files.size(local(target)));
    }

    private CompletableFuture<Void> joinMuch() throws IOException {
        try (RandomAccessFile much = new RandomAccessFile(local(two).toFile(), "rw")) {
            much.setLength(MUCH);
        }
        CompletableFuture<Void> joined = CompletableFuture.runAsync(() -> {
            try {
                join(one, two);
            } catch (IOException e) {
                throw new CompletionException(e);
            }
        });
        while (Files.size(local(target)) <= 5 && !joined.isDone()) {
            Thread.onSpinWait();
        }
        assertFalse(joined.isDone(), "it was too quick for this test");
        return joined;
    }

    @Test
    void nobodyWritesASourceMeanwhile() throws Exception {
        CompletableFuture<Void> joined = joinMuch();
        OpenFiles.Writer writer = new OpenFiles.Writer("writer", "there", "2");
        int refused = 0;
        while (!joined.isDone()) {
            for (HdfsPath source : List.of(one, two)) {
                IOException e = assertThrows(IOException.class, () -> open.append(source, writer));
                assertTrue(e instanceof AlreadyBeingCreatedException || e instanceof FileNotFoundException, e::toString);
                refused++;
            }
        }
        joined.join();
        assertTrue(refused > 0);
        assertEquals(5 + MUCH, Files.size(local(target)));
    }

    /** A program on the file system asks for no lease. */
    @Test
    void aSourceThatHasChangedStays() throws Exception {
        CompletableFuture<Void> joined = joinMuch();
        Files.write(local(two), new byte[] {7}, java.nio.file.StandardOpenOption.APPEND);
        assertThrows(CompletionException.class, joined::join);
        assertEquals(MUCH + 1, Files.size(local(two)));
        assertArrayEquals(new byte[] {1, 2, 3, 4, 5}, Files.readAllBytes(local(target)));
        assertEquals(Optional.empty(), open.holder(two));
        assertEquals(Optional.empty(), open.holder(target));
    }

    @Test
    void aSourceThatMayNotBeRemovedIsNoPartOfTheTarget() throws Exception {
        Files.setAttribute(local(base), "unix:mode", 01777);
        for (HdfsPath own : List.of(target, one)) {
            Files.setAttribute(local(own), "unix:uid", NOBODY.uid());
        }
        try (Acting as = Acting.as(NOBODY)) {
            assertThrows(IOException.class, () -> join(one, two));
        }
        assertArrayEquals(new byte[] {1, 2, 3, 4, 5}, Files.readAllBytes(local(target)));
        assertFalse(Files.exists(local(one)));
        assertTrue(Files.exists(local(two)));
        assertEquals(Optional.empty(), open.holder(two));
    }
}
