package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.EOFException;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.TreeSet;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.protocol.OpenFileEntry;
import org.apache.hadoop.hdfs.protocol.OpenFilesIterator.OpenFilesType;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.AccessControlException;
import org.junit.jupiter.api.Test;

/** Which files are being written. */
class WrittenFilesTest {
    private static final Path BASE = new Path("/written-files");

    private static TreeSet<String> open(DistributedFileSystem client, String path) throws Exception {
        TreeSet<String> open = new TreeSet<>();
        RemoteIterator<OpenFileEntry> files = client.listOpenFiles(EnumSet.of(OpenFilesType.ALL_OPEN_FILES), path);
        while (files.hasNext()) {
            OpenFileEntry file = files.next();
            assertEquals(client.getClient().getClientName(), file.getClientName());
            assertEquals("127.0.0.1", file.getClientMachine());
            open.add(file.getFilePath());
        }
        return open;
    }

    private static TreeSet<String> named(int... numbers) {
        TreeSet<String> names = new TreeSet<>();
        for (int number : numbers) {
            names.add(BASE + "/" + number);
        }
        return names;
    }

    @Test
    void openFilesAreListedUntilTheyAreClosed() throws Exception {
        try (Service service = Service.start(conf -> {
            conf.setInt(DFSConfigKeys.DFS_NAMENODE_LIST_OPENFILES_NUM_RESPONSES, 2);
            conf.setInt(DFSConfigKeys.DFS_HEARTBEAT_INTERVAL_KEY, 1);
        });
                DistributedFileSystem client = (DistributedFileSystem) service.client();
                DistributedFileSystem nobody = (DistributedFileSystem) service.client("nobody")) {
            List<FSDataOutputStream> streams = new ArrayList<>();
            for (int i = 0; i < 5; i++) {
                streams.add(client.create(new Path(BASE, Integer.toString(i))));
            }
            assertEquals(named(0, 1, 2, 3, 4), open(client, "/"));
            assertEquals(named(3), open(client, BASE + "/3"));
            assertEquals(AccessControlException.class.getName(),
                    assertThrows(RemoteException.class, () -> open(nobody, "/")).getClassName());
            assertEquals(0, client.getClient().getNamenode()
                    .listOpenFiles(0, EnumSet.of(OpenFilesType.BLOCKING_DECOMMISSION), "/").size());

            streams.get(0).close();
            client.delete(new Path(BASE, "1"), false);
            client.rename(new Path(BASE, "2"), new Path(BASE, "7"));
            client.recoverLease(new Path(BASE, "3"));
            assertEquals(named(4, 7), open(client, "/"));
            streams.get(2).close();
            // What a NameNode remembers may be lost: the writer tells the next one.
            service.restartNameNode();
            assertThrows(EOFException.class, () -> open(client, "/"), "the connection has gone with it");
            assertEquals(named(), open(client, "/"));
            for (long end = System.currentTimeMillis() + 30_000; client.getDataNodeStats().length == 0;) {
                assertTrue(System.currentTimeMillis() < end, "the DataNode does not register");
                Thread.sleep(50);
            }
            streams.get(4).write(1);
            streams.get(4).hflush();
            assertEquals(named(4), open(client, "/"));
            streams.get(4).close();
            client.delete(BASE, true);
        }
    }
}
