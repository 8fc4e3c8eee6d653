package zolt.fs;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.AccessDeniedException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.HashSet;
import java.util.Map;
import java.util.NoSuchElementException;
import java.util.Set;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class DirectoryListingTest {
    private static final int DIRECTORIES_COMPARED = 1500;

    @TempDir Path dir;
    Fixture files;

    @BeforeEach
    void create() throws Exception {
        files = new Fixture(dir);
    }

    private static Map<String, String> asJava(Path directory) throws IOException {
        Map<String, String> entries = new TreeMap<>();
        try (DirectoryStream<Path> stream = Files.newDirectoryStream(directory)) {
            for (Path path : stream) {
                Map<String, Object> unix =
                        Files.readAttributes(path, "unix:ino,mode", LinkOption.NOFOLLOW_LINKS);
                entries.put(path.getFileName().toString(), unix.get("ino") + " "
                        + FileType.ofMode((Integer) unix.get("mode")));
            }
        }
        return entries;
    }

    @Test
    void aTreeIsAsJavaSeesIt() throws Exception {
        ByteBuffer buffer = ByteBuffer.allocateDirect(DirectoryListing.MIN_BUFFER_BYTES);
        Deque<String> left = new ArrayDeque<>(Set.of("/usr"));
        int seen = 0;
        while (!left.isEmpty() && seen++ < DIRECTORIES_COMPARED) {
            String path = left.remove();
            Map<String, String> found = new TreeMap<>();
            try (DirectoryListing listing = DirectoryListing.open(path)) {
                while (listing.hasNext()) {
                    DirectoryEntry entry = listing.next();
                    assertTrue(entry.isReachable());
                    found.put(entry.name(), entry.inode() + " " + entry.type());
                    if (entry.type() == FileType.DIRECTORY) {
                        left.add(path + "/" + entry.name());
                    }
                }
            }
            assertEquals(asJava(Path.of(path)), found, path);
            assertEquals(found.size(), DirectoryListing.count(path));

            Map<String, String> byCursor = new TreeMap<>();
            byte[] name = new byte[255];
            try (DirectoryListing listing = DirectoryListing.open(path, true, buffer)) {
                while (listing.advance()) {
                    int length = listing.nameBytes(name);
                    assertEquals(length, listing.nameLength());
                    byCursor.put(new String(name, 0, length, UTF_8),
                            listing.inode() + " " + listing.type());
                }
            }
            found.values().removeIf(value -> !value.endsWith(" DIRECTORY"));
            assertEquals(found, byCursor, path);
        }
        assertTrue(seen > 100, "only " + seen + " directories below /usr"); // a small system has some hundreds
    }

    @Test
    void aLargeDirectoryPassesThroughASmallBuffer() throws Exception {
        Set<String> wanted = new HashSet<>();
        for (int i = 0; i < 2000; i++) {
            wanted.add("n" + "x".repeat(i % 250) + i);
            Files.createFile(Path.of(files.directory, "n" + "x".repeat(i % 250) + i));
        }
        wanted.add("inner");
        wanted.add("l".repeat(255));
        Files.createFile(Path.of(files.directory, "l".repeat(255)));
        Set<String> found = new HashSet<>();
        try (DirectoryListing listing = DirectoryListing.open(files.directory, false,
                ByteBuffer.allocateDirect(DirectoryListing.MIN_BUFFER_BYTES))) {
            listing.forEachRemaining(entry -> assertTrue(found.add(entry.name())));
        }
        assertEquals(wanted, found);
    }

    @Test
    void anotherThreadIsRefusedAndTheListingGoesOn() throws Exception {
        try (DirectoryListing listing = DirectoryListing.open(files.directory)) {
            String wanted = "the listing of " + files.directory + " belongs to the thread \""
                    + Thread.currentThread().getName() + "\" and cannot be used on \"stranger\"";
            Fixture.onThread("stranger", () -> {
                assertEquals(wanted,
                        assertThrows(IllegalStateException.class, listing::next).getMessage());
                assertEquals(wanted,
                        assertThrows(IllegalStateException.class, listing::hasNext).getMessage());
                assertEquals(wanted,
                        assertThrows(IllegalStateException.class, listing::advance).getMessage());
                assertEquals(wanted,
                        assertThrows(IllegalStateException.class, listing::close).getMessage());
                // It may have a listing of its own meanwhile.
                try (DirectoryListing own = DirectoryListing.open(files.directory)) {
                    assertEquals("inner", own.next().name());
                }
                return null;
            });
            assertEquals("inner", listing.next().name());
            Fixture.onThread("stranger", () -> assertThrows(IllegalStateException.class,
                    listing::hasNext));
            assertFalse(listing.hasNext());
        }
    }

    @Test
    void aThreadHasOneListingAtATime() throws Exception {
        try (DirectoryListing outer = DirectoryListing.open(files.directory)) {
            assertEquals("the thread \"" + Thread.currentThread().getName()
                    + "\" has not ended its listing of " + files.directory
                    + ": close that before opening /usr",
                    assertThrows(IllegalStateException.class, () -> DirectoryListing.open("/usr"))
                            .getMessage());
            assertEquals("inner", outer.next().name());
            assertFalse(outer.hasNext());
            // The end of the directory is the end of the listing.
            DirectoryListing.open("/usr").close();
        }
    }

    @Test
    void whatIsLeftOpenBelowIsNotContinued() throws Exception {
        ByteBuffer small = ByteBuffer.allocateDirect(64);
        assertEquals(1, ZOLTNative.getDirentsNative("/usr", small, false, false));
        try (DirectoryListing listing = DirectoryListing.open(files.directory)) {
            assertEquals("inner", listing.next().name());
            assertFalse(listing.hasNext());
        }
    }

    @Test
    void aListingCanBeAbandoned() throws Exception {
        for (int i = 0; i < 100; i++) {
            Files.createFile(Path.of(files.directory, "n".repeat(200) + i));
        }
        DirectoryListing listing = DirectoryListing.open(files.directory, false,
                ByteBuffer.allocateDirect(DirectoryListing.MIN_BUFFER_BYTES));
        assertTrue(listing.hasNext());
        listing.close();
        listing.close();
        assertFalse(listing.hasNext());
        assertFalse(listing.advance());
        assertThrows(NoSuchElementException.class, listing::next);
        assertThrows(IllegalStateException.class, listing::inode);
        assertEquals(101, DirectoryListing.count(files.directory));
        try (DirectoryListing next = DirectoryListing.open(dir.toString())) {
            assertTrue(next.hasNext());
        }
    }

    @Test
    void aNameThatCannotBeCalledIsShown() throws Exception {
        Files.createFile(Path.of(files.directory, "x\ud83d\ude00"));
        Fixture.run("/bin/sh", "-c", "cd \"$1\" && : > \"$(printf 'a\\377z')\"", "sh",
                files.directory);
        Files.createFile(Path.of(files.directory, "caf\u00e9 \u4e2d"));
        Map<String, DirectoryEntry> found = new TreeMap<>();
        try (DirectoryListing listing = DirectoryListing.open(files.directory)) {
            listing.forEachRemaining(entry -> found.put(entry.name(), entry));
        }
        assertEquals(Set.of("inner", "x\ud83d\ude00", "a\ufffdz", "caf\u00e9 \u4e2d"),
                found.keySet());
        for (DirectoryEntry entry : found.values()) {
            boolean there;
            try {
                there = FileOperations.inode(files.directory + "/" + entry.name(), false)
                        == entry.inode();
            } catch (NoSuchFileException e) {
                there = false;
            }
            assertEquals(there, entry.isReachable(), entry.name());
        }
        assertArrayEquals(new byte[] {'a', (byte) 0xff, 'z'}, found.get("a\ufffdz").nameBytes());
    }

    @Test
    void failuresToOpenAreSaidAndLeaveNothing() throws Exception {
        assertThrows(NoSuchFileException.class,
                () -> DirectoryListing.open(dir.resolve("missing").toString()));
        assertEquals("Not a directory: failed to open directory",
                assertThrows(IOException.class, () -> DirectoryListing.open(files.file)).getMessage());
        FileOperations.setPermissions(files.directory, 0700);
        Fixture.onThread("as nobody", () -> {
            try (Identity as = Identity.of("nobody")) {
                assertThrows(AccessDeniedException.class,
                        () -> DirectoryListing.open(files.directory));
                assertEquals(0, DirectoryListing.count(files.directory));
            }
            return null;
        });
        assertThrows(IllegalArgumentException.class,
                () -> DirectoryListing.open("/usr", false, ByteBuffer.allocate(4096)));
        assertThrows(IllegalArgumentException.class, () -> DirectoryListing.open("/usr", false,
                ByteBuffer.allocateDirect(DirectoryListing.MIN_BUFFER_BYTES - 1)));
        DirectoryListing.open(files.directory).close();
    }

    @Test
    void theCursorTakesNothingOfTheHeap() throws Throwable {
        for (int i = 0; i < 5000; i++) {
            Files.createFile(Path.of(files.directory, "n" + i));
        }
        byte[] name = new byte[255];
        ByteBuffer buffer = ByteBuffer.allocateDirect(4096);
        int[] sum = new int[1];
        try (DirectoryListing listing = DirectoryListing.open(files.directory, false, buffer)) {
            Allocation.expectAtMost(0, () -> {
                assertTrue(listing.advance());
                sum[0] += listing.nameBytes(name) + listing.type().ordinal()
                        + (int) listing.inode();
            });
        }
    }
}
