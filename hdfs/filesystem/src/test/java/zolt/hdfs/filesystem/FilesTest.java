package zolt.hdfs.filesystem;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.ObjectInputStream;
import java.io.ObjectOutputStream;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.IntFunction;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.CommonPathCapabilities;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FileChecksum;
import org.apache.hadoop.fs.FileContext;
import org.apache.hadoop.fs.FileRange;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FileUtil;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Options;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.Trash;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.hdfs.namespace.NativeFiles;

/** What Hadoop's own suites do not ask. */
class FilesTest {
    private static final int TRIALS = 10;
    private static final Path BASE = new Path("/files");
    private static final Path FILE = new Path(BASE, "file");

    private FileSystem files;
    private java.nio.file.Path base;

    @BeforeEach
    void connect() throws IOException {
        files = TestFolder.files();
        base = TestFolder.folder().resolve("files");
        files.delete(BASE, true);
        files.mkdirs(BASE);
    }

    @AfterEach
    void close() throws IOException {
        files.delete(BASE, true);
        files.close();
    }

    private static void write(FileSystem files, Path path, byte[] bytes) throws IOException {
        try (FSDataOutputStream out = files.create(path)) {
            out.write(bytes);
        }
    }

    private static byte[] random(int length) {
        byte[] bytes = new byte[length];
        new Random(length).nextBytes(bytes);
        return bytes;
    }

    /** Every way of reading tells the same bytes, in whatever order they are mixed. */
    @Test
    void allReadsSeeTheSameBytes() throws Exception {
        byte[] bytes = random(3_000_000);
        write(files, FILE, bytes);
        Random random = new Random(1);
        try (FSDataInputStream in = files.open(FILE)) {
            for (int i = 0; i < 5000; i++) {
                int at = random.nextInt(bytes.length);
                int length = random.nextInt(i % 50 == 0 ? bytes.length : 9000) + 1;
                switch (random.nextInt(6)) {
                    case 0:
                        in.seek(at);
                        break;
                    case 1:
                        long position = in.getPos();
                        assertEquals(position == bytes.length ? -1 : bytes[(int) position] & 0xff, in.read());
                        break;
                    case 2:
                        check(bytes, in, length, random.nextBoolean());
                        break;
                    case 3:
                        byte[] some = new byte[length];
                        int got = in.read(at, some, 0, length);
                        assertEquals(ByteBuffer.wrap(bytes, at, got), ByteBuffer.wrap(some, 0, got));
                        break;
                    case 4:
                        in.unbuffer();
                        break;
                    default:
                        in.skip(random.nextInt(5000));
                        break;
                }
            }
        }
    }

    /** The mark of an interruption closes channels, and is to close no stream. */
    @Test
    void anInterruptedThreadReadsOn() throws Exception {
        byte[] bytes = random(300_000);
        write(files, FILE, bytes);
        try (FSDataInputStream in = files.open(FILE)) {
            byte[] into = new byte[200_000];
            Thread.currentThread().interrupt();
            in.readFully(into);
            assertTrue(Thread.interrupted());
            assertEquals(ByteBuffer.wrap(bytes, 0, into.length), ByteBuffer.wrap(into));
            assertEquals(bytes[into.length] & 0xff, in.read());
        }
    }

    /** No thread is woken for what is in memory, and nobody waits for a disk in the call. */
    @Test
    void onlyWhatIsNotInMemoryIsReadByOtherThreads() throws Exception {
        byte[] bytes = random(1 << 16);
        write(files, FILE, bytes);
        Set<Thread> self = Set.of(Thread.currentThread());
        for (IntFunction<ByteBuffer> allocate : List.<IntFunction<ByteBuffer>>of(ByteBuffer::allocate,
                ByteBuffer::allocateDirect)) {
            assertEquals(self, readers(FILE, bytes, allocate));
        }
        Set<Thread> readers = self;
        boolean wasThere = true;
        for (int i = 0; i < TRIALS && readers.equals(self); i++) {
            wasThere &= isPresent(pastMemory("asked"));
            pastMemory("away");
            readers = readers(new Path(BASE, "away"), bytes, ByteBuffer::allocateDirect);
        }
        Assumptions.assumeFalse(readers.equals(self) && wasThere, "the disk here is as quick as memory");
        assertNotEquals(self, readers);
    }

    /** A copy of the file that the kernel does not keep. */
    private java.nio.file.Path pastMemory(String name) throws Exception {
        Files.deleteIfExists(base.resolve(name));
        Process copy = new ProcessBuilder("dd", "if=" + base.resolve("file"), "of=" + base.resolve(name), "bs=64K",
                "oflag=direct").redirectErrorStream(true).start();
        String said = new String(copy.getInputStream().readAllBytes());
        Assumptions.assumeTrue(copy.waitFor() == 0 && !Files.getFileStore(base).type().equals("tmpfs"),
                "all is in memory here: " + said);
        return base.resolve(name);
    }

    /** Whether the kernel reads it without waiting: a quick disk may have read ahead by then. */
    private static boolean isPresent(java.nio.file.Path file) {
        int descriptor = NativeFiles.open(NativeFiles.NO_DIRECTORY, file.toString().getBytes(UTF_8), 0, 0);
        try {
            return NativeFiles.read(descriptor, ByteBuffer.allocateDirect(1), 0, 1, 0, NativeFiles.RWF_NOWAIT) > 0;
        } finally {
            NativeFiles.close(descriptor);
        }
    }

    private Set<Thread> readers(Path path, byte[] bytes, IntFunction<ByteBuffer> allocate) throws Exception {
        Set<Thread> threads = ConcurrentHashMap.newKeySet();
        List<FileRange> ranges = new ArrayList<>();
        for (int at = 0; at < bytes.length; at += 1 << 13) {
            ranges.add(FileRange.createFileRange(at + 1, (1 << 13) - 1));
        }
        try (FSDataInputStream in = files.open(path)) {
            in.readVectored(ranges, length -> {
                threads.add(Thread.currentThread());
                return allocate.apply(length);
            });
            for (FileRange range : ranges) {
                assertEquals(ByteBuffer.wrap(bytes, (int) range.getOffset(), range.getLength()), range.getData().get());
            }
        }
        return threads;
    }

    /** As in HDFS, by both renames, where the target is not there too. */
    @Test
    void noLinkGetsTheNameOfItsTarget() throws Exception {
        Path link = new Path(BASE, "link");
        Path target = new Path(BASE, "target");
        Files.createSymbolicLink(base.resolve("link"), base.resolve("target"));
        assertFalse(files.rename(link, target));
        FileContext context = FileContext.getFileContext(TestFolder.NAME, TestFolder.conf());
        assertThrows(FileAlreadyExistsException.class, () -> context.rename(link, target));
        assertThrows(FileAlreadyExistsException.class, () -> context.rename(link, target, Options.Rename.OVERWRITE));
        assertTrue(Files.isSymbolicLink(base.resolve("link")));
        assertTrue(files.rename(link, new Path(BASE, "other")));
    }

    private static void check(byte[] bytes, FSDataInputStream in, int length, boolean direct) throws IOException {
        int position = (int) in.getPos();
        ByteBuffer into = direct ? ByteBuffer.allocateDirect(length) : ByteBuffer.allocate(length);
        int got = direct ? in.read(into) : in.read(into.array(), 0, length);
        if (position == bytes.length) {
            assertEquals(-1, got);
            return;
        }
        assertTrue(got > 0);
        into.position(0).limit(got);
        assertEquals(ByteBuffer.wrap(bytes, position, got), into);
        assertEquals(position + got, in.getPos());
    }

    @Test
    void smallAndLargeWritesKeepTheirOrder() throws Exception {
        byte[] bytes = random(3_000_000);
        Random random = new Random(2);
        try (FSDataOutputStream out = files.create(FILE)) {
            for (int at = 0; at < bytes.length;) {
                int most = at == 0 ? 1_500_000 : random.nextBoolean() ? 10 : 30_000;
                int length = Math.min(bytes.length - at, random.nextInt(most) + most / 2 + 1);
                if (length == 1) {
                    out.write(bytes[at]);
                } else {
                    out.write(bytes, at, length);
                }
                at += length;
                assertEquals(at, out.getPos());
                if (random.nextInt(20) == 0) {
                    out.hflush();
                    assertEquals(at, files.getFileStatus(FILE).getLen(), "hflush is the write");
                }
            }
        }
        byte[] read = new byte[bytes.length];
        files.open(FILE).readFully(read);
        assertTrue(Arrays.equals(bytes, read));
    }

    private static int descriptors() throws IOException {
        try (var all = Files.list(java.nio.file.Path.of("/proc/self/fd"))) {
            return (int) all.count();
        }
    }

    @Test
    void noDescriptorIsLeft() throws Exception {
        write(files, FILE, random(1000));
        for (int i = 0; i < 3000; i++) {
            Files.createFile(base.resolve("a-name-of-some-length-" + i));
        }
        useEverything(0);
        int before = descriptors();
        for (int i = 0; i < 20; i++) {
            useEverything(i);
        }
        for (int wait = 0; wait < 100 && descriptors() > before; wait++) {
            System.gc();  // what was forgotten
            Thread.sleep(20);
        }
        int left = descriptors();
        assertTrue(left <= before, left + " descriptors, and " + before + " before");
    }

    private void useEverything(int i) throws Exception {
        Path other = new Path(BASE, "other" + i);
        files.open(FILE).close();
        write(files, other, random(10));
        files.append(other).close();
        files.truncate(other, 5);
        files.concat(FILE, new Path[] {other});
        files.getFileChecksum(FILE);
        files.getFileBlockLocations(FILE, 0, 10);
        files.getContentSummary(BASE);
        files.listStatus(BASE);
        files.getStatus();
        files.listStatusIterator(BASE).next();  // and forgotten
        files.open(FILE).read();
        files.listLocatedStatus(BASE).next();
        assertThrows(IOException.class, () -> files.open(BASE));
        assertThrows(IOException.class, () -> files.open(other));
        assertThrows(IOException.class, () -> files.append(other));
        assertThrows(IOException.class, () -> files.append(BASE));
        assertThrows(IOException.class, () -> files.create(FILE, false));
        assertThrows(IOException.class, () -> files.listStatus(other));
        assertThrows(IOException.class, () -> files.concat(FILE, new Path[] {other}));
    }

    @Test
    void aLargeDirectoryIsListedWholeWhileItChanges() throws Exception {
        Set<String> stay = new HashSet<>();
        for (int i = 0; i < 10_000; i++) {
            String name = "a-name-of-some-length-" + i;
            Files.createFile(base.resolve(name));
            if (i % 10 != 0) {
                stay.add(name);
            }
        }
        RemoteIterator<FileStatus> all = files.listStatusIterator(BASE);
        Set<String> seen = new HashSet<>();
        for (int i = 0; all.hasNext(); i++) {
            assertTrue(seen.add(all.next().getPath().getName()));
            if (i < 1000) {
                Files.deleteIfExists(base.resolve("a-name-of-some-length-" + i * 10));
            }
        }
        seen.retainAll(stay);
        assertEquals(stay.size(), seen.size());
        List<String> names = new ArrayList<>();
        for (FileStatus each : files.listStatus(BASE)) {
            names.add(each.getPath().getName());
        }
        List<String> sorted = new ArrayList<>(names);
        sorted.sort(null);
        assertEquals(sorted, names);
    }

    @Test
    void anEmptyDirectoryHasNoEntries() throws Exception {
        assertFalse(files.listStatusIterator(BASE).hasNext());
        assertEquals(0, files.listStatus(BASE).length);
        assertThrows(java.util.NoSuchElementException.class, () -> files.listStatusIterator(BASE).next());
    }

    /** Programs read what a link stands for, as with every local file: a length of 0 would lose data. */
    @Test
    void linksThatOthersMadeAreFollowed() throws Exception {
        Files.createDirectories(base.resolve("x/y"));
        Files.write(base.resolve("x/target"), random(100));
        Files.createSymbolicLink(base.resolve("x/y/up"), java.nio.file.Path.of("../target"));
        Files.createSymbolicLink(base.resolve("directory"), base.resolve("x/y"));
        Files.createSymbolicLink(base.resolve("nowhere"), java.nio.file.Path.of("missing"));
        Files.createSymbolicLink(base.resolve("out"), java.nio.file.Path.of("/etc/passwd"));
        Path through = new Path(BASE, "directory/up");
        assertEquals(100, files.getFileStatus(through).getLen(), "'..' is that of the directory itself");
        assertEquals(100, files.open(through).available());
        FileStatus listed = files.listStatus(new Path(BASE, "directory"))[0];
        assertEquals(100, listed.getLen());
        assertTrue(listed.isFile());
        assertEquals(through, Path.getPathWithoutSchemeAndAuthority(listed.getPath()));
        assertTrue(files.getFileStatus(new Path(BASE, "directory")).isDirectory());
        assertTrue(files.getFileLinkStatus(new Path(BASE, "directory")).isSymlink());
        assertEquals(new Path("/files/x/y"), files.getLinkTarget(new Path(BASE, "directory")));
        assertThrows(FileNotFoundException.class, () -> files.open(new Path(BASE, "nowhere")));
        IOException out = assertThrows(IOException.class, () -> files.open(new Path(BASE, "out")));
        assertTrue(out.getMessage().contains("leads out"), out.getMessage());
        FileStatus[] all = files.listStatus(BASE);
        assertEquals("directory true false, nowhere false true, out false true, x true false", String.join(", ",
                Arrays.stream(all).map(each -> each.getPath().getName() + " " + each.isDirectory() + " " + each.isSymlink())
                        .toList()));
        assertTrue(files.delete(new Path(BASE, "directory"), true), "the link, and not what it stands for");
        assertTrue(files.exists(new Path(BASE, "x/y/up")));
    }

    /** What a path of Hadoop's makes of such a text is another host or an error, which would be that of a whole listing. */
    @Test
    void aLinkToAnyTextIsListed() throws Exception {
        Map<String, String> targets = Map.of("user@host.12:34", "./user@host.12:34", "//[1/x", "file:/[1/x", "1:/a",
                "./1:/a", "a://[", "./a:/[", "../../../..", "../../../..", ":", "./:", "a b%20?#", "a b%20?#");
        for (String target : targets.keySet()) {
            Path link = new Path(BASE, "link");
            assertEquals(0, NativeFiles.makeLink(target.getBytes(UTF_8), base.resolve("link").toString().getBytes(UTF_8)));
            FileStatus listed = files.listStatus(BASE)[0];
            assertEquals(new Path(targets.get(target)), listed.getSymlink());
            assertEquals(files.getLinkTarget(link), listed.getSymlink());
            assertTrue(files.getFileLinkStatus(link).isSymlink());
            assertTrue(files.delete(link, false));
        }
    }

    @Test
    void whatIsNoFileIsNotOpened() throws Exception {
        assertEquals(0, new ProcessBuilder("mkfifo", base.resolve("fifo").toString()).start().waitFor());
        assertThrows(FileNotFoundException.class, () -> files.open(new Path(BASE, "fifo")), "it would wait for a writer");
        assertThrows(IOException.class, () -> files.append(new Path(BASE, "fifo")));
    }

    /** Copies and block size take opening the file: a status asks for them when somebody wants to know. */
    @Test
    void aStatusTellsTheFilesOwnBlockSizeAndCopies() throws Exception {
        files.create(FILE, true, 4096, (short) 2, 1 << 20).close();
        FileStatus status = files.getFileStatus(FILE);
        assertEquals(1 << 20, status.getBlockSize());
        assertEquals(2, status.getReplication());
        assertEquals(1 << 20, files.listStatus(BASE)[0].getBlockSize());
        assertTrue(status.toString().contains("blocksize=1048576"), status.toString());
        assertFalse(status.hasAcl());
        files.modifyAclEntries(FILE, AclEntry.parseAclSpec("user:daemon:r--", true));
        assertTrue(files.getFileStatus(FILE).hasAcl());
        FileStatus gone = files.getFileStatus(FILE);
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        try (ObjectOutputStream out = new ObjectOutputStream(bytes)) {
            out.writeObject(gone);
        }
        files.delete(FILE, false);
        try (ObjectInputStream in = new ObjectInputStream(new ByteArrayInputStream(bytes.toByteArray()))) {
            FileStatus again = (FileStatus) in.readObject();
            assertEquals(2, again.getReplication());
            assertTrue(again.hasAcl());
        }
    }

    @Test
    void theProcessesOwnMaskDoesNotCount() throws Exception {
        Configuration conf = TestFolder.conf();
        conf.set(FsPermission.UMASK_LABEL, "000");
        try (FileSystem open = FileSystem.newInstance(TestFolder.NAME, conf)) {
            open.create(FILE).close();
            open.mkdirs(new Path(BASE, "a/b"));
            assertEquals("rw-rw-rw-", open.getFileStatus(FILE).getPermission().toString());
            assertEquals("rwxrwxrwx", open.getFileStatus(new Path(BASE, "a")).getPermission().toString());
            assertEquals("rwxrwxrwx", open.getFileStatus(new Path(BASE, "a/b")).getPermission().toString());
        }
    }

    @Test
    void blocksLieOnTheHostsOfTheTable() throws Exception {
        try (FSDataOutputStream out = files.create(FILE, true, 4096, (short) 2, 1 << 20)) {
            out.write(new byte[5 << 19]);
        }
        BlockLocation[] local = files.getFileBlockLocations(FILE, 0, 5 << 19);
        assertEquals(1, local.length);
        assertEquals("localhost", local[0].getHosts()[0]);
        assertTrue(files.hasPathCapability(FILE, CommonPathCapabilities.VIRTUAL_BLOCK_LOCATIONS));
        Configuration conf = TestFolder.conf();
        StringBuilder table = new StringBuilder();
        for (int node = 0; node < 100; node++) {
            table.append(node).append("=node").append(node).append(", ");
        }
        conf.set("fs.zolt.nodes", table.toString());
        try (FileSystem located = FileSystem.newInstance(TestFolder.NAME, conf)) {
            BlockLocation[] blocks = located.getFileBlockLocations(FILE, 0, 5 << 19);
            assertEquals(3, blocks.length);
            assertEquals(2 << 20, blocks[2].getOffset());
            assertEquals(1 << 19, blocks[2].getLength());
            for (BlockLocation block : blocks) {
                assertTrue(new HashSet<>(Arrays.asList(block.getHosts())).size() >= 2);
                assertTrue(block.getHosts()[0].matches("node\\d+"), block.getHosts()[0]);
            }
            LocatedFileStatus listed = located.listLocatedStatus(BASE).next();
            assertEquals(3, listed.getBlockLocations().length);
            assertFalse(located.hasPathCapability(FILE, CommonPathCapabilities.VIRTUAL_BLOCK_LOCATIONS));
            assertEquals(1, located.getFileBlockLocations(FILE, (1 << 20) + 5, 10).length);
            assertEquals(0, located.getFileBlockLocations(FILE, 10 << 20, 10).length);
        }
        conf.set("fs.zolt.nodes", "one=host");
        assertThrows(IllegalArgumentException.class, () -> FileSystem.newInstance(TestFolder.NAME, conf));
    }

    /** So a copy can be compared with what is in HDFS. */
    @Test
    void checksumsAreThoseOfHdfs() throws Exception {
        Configuration stock = new HdfsConfiguration();
        stock.setLong("dfs.namenode.fs-limits.min-block-size", 1);
        try (MiniDFSCluster cluster = new MiniDFSCluster.Builder(stock).numDataNodes(1).build();
                FileSystem hdfs = cluster.getFileSystem()) {
            for (int length : new int[] {0, 1, 511, 512, 513, 100_000, (1 << 20) - 1, 1 << 20, (1 << 20) + 1, 3_000_000}) {
                byte[] bytes = random(length);
                for (FileSystem each : new FileSystem[] {files, hdfs}) {
                    try (FSDataOutputStream out = each.create(FILE, true, 4096, (short) 1, 1 << 20)) {
                        out.write(bytes);
                    }
                }
                assertEquals(hdfs.getFileChecksum(FILE), files.getFileChecksum(FILE), length + " bytes");
                assertEquals(hdfs.getFileChecksum(FILE, 600), files.getFileChecksum(FILE, 600), "the first of " + length);
            }
            FileChecksum blocks = files.getFileChecksum(FILE);
            Configuration whole = TestFolder.conf();
            whole.set("dfs.checksum.combine.mode", "COMPOSITE_CRC");
            Configuration wholeStock = new Configuration(cluster.getConfiguration(0));
            wholeStock.set("dfs.checksum.combine.mode", "COMPOSITE_CRC");
            try (FileSystem own = FileSystem.newInstance(TestFolder.NAME, whole);
                    FileSystem theirs = FileSystem.newInstance(hdfs.getUri(), wholeStock)) {
                assertEquals(theirs.getFileChecksum(FILE), own.getFileChecksum(FILE));
                assertNotEquals(blocks, own.getFileChecksum(FILE));
            }
        }
    }

    @Test
    void theTrashIsTheUsers() throws Exception {
        Configuration conf = TestFolder.conf();
        conf.set("fs.trash.interval", "10");
        try (FileSystem own = FileSystem.newInstance(TestFolder.NAME, conf)) {
            write(own, FILE, random(10));
            assertTrue(Trash.moveToAppropriateTrash(own, FILE, conf));
            assertFalse(own.exists(FILE));
            assertTrue(own.exists(new Path("/user/root/.Trash/Current/files/file")));
            own.delete(new Path("/user"), true);
        }
    }

    @Test
    void copiesToAndFromLocalFilesWork(@TempDir java.nio.file.Path temporary) throws Exception {
        byte[] bytes = random(100_000);
        java.nio.file.Path local = Files.write(temporary.resolve("local"), bytes);
        files.copyFromLocalFile(true, true, new Path(local.toString()), FILE);
        assertFalse(Files.exists(local));
        assertTrue(FileUtil.copy(files, FILE, FileSystem.getLocal(files.getConf()), new Path(local.toString()), true,
                files.getConf()));
        assertTrue(Arrays.equals(bytes, Files.readAllBytes(local)));
        assertFalse(files.exists(FILE));
    }

    @Test
    void aHostInTheNameIsRefused() {
        IOException refused = assertThrows(IOException.class,
                () -> FileSystem.newInstance(java.net.URI.create("zolt://host/"), TestFolder.conf()));
        assertTrue(refused.getMessage().contains("names a host"), refused.getMessage());
    }

    @Test
    void namesThatHadoopCannotParseAreListed() throws Exception {
        Files.createFile(base.resolve("a:b"));
        Files.createFile(base.resolve("\u4e2d\ud83d\ude00 x"));
        List<String> names = Arrays.stream(files.listStatus(BASE)).map(each -> each.getPath().getName()).toList();
        assertEquals(List.of("a:b", "\u4e2d\ud83d\ude00 x"), names);
        for (FileStatus each : files.listStatus(BASE)) {
            assertEquals(0, files.open(each.getPath()).available());
        }
    }
}
