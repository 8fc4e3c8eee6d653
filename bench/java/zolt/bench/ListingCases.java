package zolt.bench;

import static java.nio.charset.StandardCharsets.UTF_8;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.DirectoryStream;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Listings through buffers of three sizes, counts, and a listing with each entry's status. */
final class ListingCases {
    private static final int[] BUFFERS = {4 << 10, 64 << 10, 256 << 10, 1 << 20};
    private static final String[] BUFFER_NAMES = {"4 KiB", "64 KiB", "256 KiB", "1 MiB"};
    /** From here on it does not show that the stream is put back after each full buffer. */
    private static final int ROOMY = 256 << 10;
    private static final String WITH_STATUS = "listing and fast status";
    private static final String STREAM = "newDirectoryStream";
    private static final String STREAM_NAMES = "newDirectoryStream, names";
    private static final String READ = "library, records read";

    private ListingCases() {}

    /** Fills a buffer: 1 when there is more. */
    private interface Page {
        int fill(String path, ByteBuffer buffer) throws IOException;
    }

    private static final Page LIBRARY =
            (path, buffer) -> ZOLTNative.getDirentsNative(path, buffer, false, false);

    static void add(Bench bench, Workspace space, int[] sizes) throws Exception {
        for (int entries : sizes) {
            if (isWanted(bench, space, entries)) {
                add(bench, space, entries);
            }
        }
    }

    /** Large directories are not made for nothing. */
    private static boolean isWanted(Bench bench, Workspace space, int entries) {
        return Stream.concat(Arrays.stream(BUFFER_NAMES).map(size -> "listing, " + size),
                        Stream.of("count", WITH_STATUS))
                .anyMatch(name -> bench.wants(new Case(name, space.type, entries, entries)));
    }

    private static void add(Bench bench, Workspace space, int entries) throws Exception {
        Path directory;
        try {
            directory = space.directory("entries-" + entries, entries);
        } catch (IOException e) {
            bench.leaveOut(entries + " entries on " + space.type + ": " + e.getMessage());
            return;
        }
        bench.settle();
        try {
            for (int i = 0; i < BUFFERS.length; i++) {
                if (Mounted.FOLDER == null || BUFFERS[i] >= ROOMY) { // only these are judged
                    listing(bench, space, directory, entries, i);
                }
            }
            count(bench, space, directory, entries);
            if (entries <= 1000) {
                withStatus(bench, space, directory, entries);
            }
        } finally {
            Workspace.delete(directory);
        }
    }

    /** What is made of the records of one page; its number of them comes first. */
    private interface Reading {
        long of(ByteBuffer page) throws IOException;
    }

    /** A listing from its beginning to its end: a sum over its pages. */
    private static long list(Page page, String path, ByteBuffer buffer, Reading reading)
            throws IOException {
        long sum = 0;
        int more;
        do {
            more = page.fill(path, buffer);
            sum += reading.of(buffer.clear());
        } while (more == 1);
        return sum;
    }

    private static byte[] name(ByteBuffer page) {
        byte[] name = new byte[page.getInt()];
        page.get(name);
        return name;
    }

    /** A page's names as Java strings: a sum over their hashes. */
    private static long names(ByteBuffer page) {
        long sum = 0;
        for (int left = page.getInt(); left > 0; left--) {
            page.position(page.position() + 10); // inode and type
            sum += new String(name(page), UTF_8).hashCode();
        }
        return sum;
    }

    /** Inodes, types and name lengths: what the names leave out. */
    private static long records(ByteBuffer page) {
        long sum = 0;
        for (int left = page.getInt(); left > 0; left--) {
            sum += page.getLong() * 31 + page.getShort();
            int length = page.getInt();
            page.position(page.position() + length);
            sum += length;
        }
        return sum;
    }

    /** Inode, type and the name's bytes of every record, as a NameNode keeps them. */
    private static long contents(ByteBuffer page) {
        long sum = 0;
        for (int left = page.getInt(); left > 0; left--) {
            sum += page.getLong() + page.getShort();
            byte[] name = name(page);
            sum += name[name.length - 1];
        }
        return sum;
    }

    /** The names in the form that Java has them. */
    private static long streamNames(Path directory) throws IOException {
        long sum = 0;
        try (DirectoryStream<Path> entries = Files.newDirectoryStream(directory)) {
            for (Path entry : entries) {
                sum += entry.getFileName().toString().hashCode();
            }
        }
        return sum;
    }

    private static long stream(Path directory) throws IOException {
        long seen = 0;
        try (DirectoryStream<Path> entries = Files.newDirectoryStream(directory)) {
            for (Path entry : entries) {
                seen += entry == null ? 0 : 1;
            }
        }
        return seen;
    }

    private static void listing(Bench bench, Workspace space, Path directory, int entries, int size)
            throws Exception {
        String path = directory.toString();
        ByteBuffer buffer = Workspace.direct(BUFFERS[size]);
        if (list(LIBRARY, path, buffer, ListingCases::records)
                != list(Floor::list, path, buffer, ListingCases::records)) {
            throw new AssertionError("other records than the floor's in " + directory);
        }
        if (list(LIBRARY, path, buffer, ListingCases::names) != streamNames(directory)) {
            throw new AssertionError("other names than the JDK's in " + directory);
        }
        Case listing = new Case("listing, " + BUFFER_NAMES[size], space.type, entries, entries)
                .floor(() -> list(Floor::list, path, buffer, ByteBuffer::getInt))
                .bare(Floor.LIST, Floor.prepare(path, null, buffer))
                .library(() -> list(LIBRARY, path, buffer, ByteBuffer::getInt))
                .way(READ, () -> list(LIBRARY, path, buffer, ListingCases::contents), null)
                .way(STREAM_NAMES, () -> streamNames(directory), null);
        if (size == 0) {
            listing.way("File.list", () -> directory.toFile().list().length)
                    .way("getdents64", () -> Floor.getdents(path));
        }
        if (entries >= 1000 && BUFFERS[size] >= ROOMY) {
            listing.goal(Case.FLOOR, 1.05).goal(STREAM_NAMES, 0.65);
        }
        bench.measure(listing);
    }

    private static void count(Bench bench, Workspace space, Path directory, int entries)
            throws Exception {
        String path = directory.toString();
        Case count = new Case("count", space.type, entries, entries)
                .floor(() -> Floor.count(path))
                .bare(Floor.COUNT, Floor.prepare(path, null, null))
                .library(() -> ZOLTNative.getDirentCountNative(path))
                .way(STREAM, () -> stream(directory));
        if (entries >= 1000) {
            count.goal(Case.FLOOR, 1.05).goal(STREAM, 0.65);
        }
        bench.measure(count);
    }

    /** The status of one entry into the buffer. */
    private interface StatusOf {
        int read(String path, ByteBuffer buffer) throws IOException;
    }

    private static Reading statuses(StatusOf status, String path, ByteBuffer record) {
        return page -> {
            long sum = 0;
            for (int left = page.getInt(); left > 0; left--) {
                page.position(page.position() + 10);
                status.read(path + "/" + new String(name(page)), record);
                sum += record.getLong(8) + record.getLong(48);
            }
            return sum;
        };
    }

    private static long walk(Path directory) throws IOException {
        long[] sum = {0};
        Files.walkFileTree(directory, EnumSet.noneOf(java.nio.file.FileVisitOption.class), 1,
                new SimpleFileVisitor<>() {
                    @Override
                    public FileVisitResult visitFile(Path file, BasicFileAttributes attributes) {
                        sum[0] += attributes.size()
                                + attributes.lastModifiedTime().to(TimeUnit.SECONDS);
                        return FileVisitResult.CONTINUE;
                    }
                });
        return sum[0];
    }

    private static void withStatus(Bench bench, Workspace space, Path directory, int entries)
            throws Exception {
        String path = directory.toString();
        ByteBuffer buffer = Workspace.direct(64 << 10);
        ByteBuffer record = Workspace.direct(88);
        Reading floor = statuses((file, to) -> Floor.fast(file, true, to, 0, 0), path, record);
        Reading library = statuses((file, to) ->
                ZOLTNative.getFileStatusFastNative(file, true, to, 0, 0), path, record);
        Case both = new Case(WITH_STATUS, space.type, entries, entries)
                .floor(() -> list(Floor::list, path, buffer, floor))
                .library(() -> list(LIBRARY, path, buffer, library))
                .way("walkFileTree", () -> walk(directory));
        if (entries >= 1000) {
            both.goal(Case.FLOOR, 1.06).goal("walkFileTree", 0.96);
        }
        bench.measure(both);
    }
}
