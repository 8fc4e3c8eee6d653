package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;

import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.junit.jupiter.api.Test;
import zolt.fs.BlockLocations;
import zolt.hdfs.namespace.Acting;

/** Blocks are read from the DataNodes that run where the file system has them; the embedded client has eight nodes. */
class NearestDataNodeTest {
    private static final Path FILE = new Path("/nearest");
    private static final int BLOCK = 4096;
    private static final int BLOCKS = 10;

    private static List<zolt.fs.BlockLocation> byNode() throws Exception {
        try (Acting own = Acting.service()) {
            return BlockLocations.of(Service.COMMANDS + FILE, BlockLocations.Form.RANKED).list();
        }
    }

    private static Set<String> hosts(zolt.fs.BlockLocation block) {
        return block.nodes().stream().map(Service.HOSTS::get).collect(Collectors.toSet());
    }

    private static Set<String> hosts(BlockLocation block) throws Exception {
        return Set.of(block.getHosts());
    }

    @Test
    void aBlockIsReadWhereTheFileSystemHasIt() throws Exception {
        try (FileSystem client = FileSystem.newInstance(Service.forCommands().conf());
                FileSystem nobody = Service.forCommands().client("nobody")) {
            try (FSDataOutputStream out = client.create(FILE, true, BLOCK, (short) 1, BLOCK)) {
                out.write(new byte[BLOCKS * BLOCK - 1]);
            }
            client.setPermission(FILE, new FsPermission((short) 0600));
            List<zolt.fs.BlockLocation> expected = byNode();
            BlockLocation[] whole = client.getFileBlockLocations(FILE, 0, BLOCKS * BLOCK);
            BlockLocation[] part = client.getFileBlockLocations(FILE, 3 * BLOCK + 1, BLOCK);
            // What lies where is told in a listing to whoever may list, as with HDFS.
            LocatedFileStatus listed = nobody.listLocatedStatus(FILE).next();
            assertEquals(BLOCKS, whole.length);
            for (int i = 0; i < BLOCKS; i++) {
                assertEquals(hosts(expected.get(i)), hosts(whole[i]));
                assertEquals(hosts(expected.get(i)), hosts(listed.getBlockLocations()[i]));
            }
            assertEquals(hosts(expected.get(3)), hosts(part[0]));
            assertEquals(hosts(expected.get(4)), hosts(part[1]));
            assertNotEquals(hosts(expected.get(3)), hosts(expected.get(4)));
            client.delete(FILE, false);
        }
    }
}
