package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.PartialListing;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/** Many directories by one call; a page of the tests' service has ten entries. */
class BatchedListingsTest {
    private static final Path BASE = new Path("/batched");

    private DistributedFileSystem client;

    @BeforeEach
    void lay() throws Exception {
        client = (DistributedFileSystem) Service.shared().client();
        client.delete(BASE, true);
        client.mkdirs(BASE);
    }

    @AfterEach
    void remove() throws Exception {
        client.delete(BASE, true);
        client.close();
    }

    private static Path path(String name) {
        return new Path(BASE, name);
    }

    private static Path make(FileSystem files, String directory, int entries) throws Exception {
        files.mkdirs(path(directory));
        for (int i = 0; i < entries; i++) {
            files.create(new Path(path(directory), "file" + i)).close();
        }
        return path(directory);
    }

    private static <T extends FileStatus> Map<Path, List<Path>> all(RemoteIterator<PartialListing<T>> listings)
            throws Exception {
        Map<Path, List<Path>> found = new TreeMap<>();
        while (listings.hasNext()) {
            PartialListing<T> next = listings.next();
            List<Path> entries = found.computeIfAbsent(next.getListedPath(), path -> new ArrayList<>());
            next.get().forEach(status -> entries.add(status.getPath()));
        }
        return found;
    }

    @Test
    void theEntriesAreThoseOfSingleListings() throws Exception {
        List<Path> paths = new ArrayList<>();
        int[] sizes = {0, 3, 10, 25, 0, 7, 10};
        for (int i = 0; i < sizes.length; i++) {
            paths.add(make(client, "directory" + i, sizes[i]));
        }
        paths.add(2, new Path(paths.get(1), "file0"));
        Map<Path, List<Path>> expected = new TreeMap<>();
        for (Path path : paths) {
            List<Path> entries = expected.computeIfAbsent(path, key -> new ArrayList<>());
            for (FileStatus status : client.listStatus(path)) {
                entries.add(status.getPath());
            }
        }
        assertEquals(expected, all(client.batchedListStatusIterator(paths)));
        Map<Path, List<Path>> located = all(client.<LocatedFileStatus>batchedListLocatedStatusIterator(paths));
        assertEquals(expected, located);
    }

    @Test
    void whatOnePathRefusesKeepsNoOtherFromBeingListed() throws Exception {
        make(client, "open", 12);
        make(client, "closed", 1);
        client.setPermission(path("closed"), new FsPermission((short) 0700));
        List<Path> paths = List.of(path("closed"), path("missing"), path("open"));
        try (DistributedFileSystem nobody = (DistributedFileSystem) Service.shared().client("nobody")) {
            RemoteIterator<PartialListing<FileStatus>> listings = nobody.batchedListStatusIterator(paths);
            assertThrows(AccessControlException.class, () -> listings.next().get());
            assertThrows(FileNotFoundException.class, () -> listings.next().get());
            assertEquals(10, listings.next().get().size());
            assertEquals(2, listings.next().get().size());
            assertTrue(!listings.hasNext());
        }
    }

    private static void refused(Executable call) {
        assertEquals(HadoopIllegalArgumentException.class.getName(),
                assertThrows(RemoteException.class, call).getClassName());
    }

    @Test
    void aKeyIsOfItsOwnPathsAlone() throws Exception {
        String[] paths = {make(client, "one", 12).toString(), make(client, "two", 1).toString()};
        ClientProtocol raw = client.getClient().getNamenode();
        byte[] key = raw.getBatchedListing(paths, new byte[0], false).getStartAfter();
        assertEquals(2, raw.getBatchedListing(paths, key, false).getListings()[0].getPartialListing().size());
        String[] others = {paths[1], paths[0]};
        refused(() -> raw.getBatchedListing(others, key, false));
        refused(() -> raw.getBatchedListing(paths, new byte[] {-1, -1, -1}, false));
        refused(() -> raw.getBatchedListing(Collections.nCopies(101, paths[0]).toArray(new String[0]), new byte[0], false));
    }
}
