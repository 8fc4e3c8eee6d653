package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.StandardOpenOption;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.junit.jupiter.api.Test;

/** Files whose blocks cost more than their bytes. */
class BlockLimitsTest {
    private static final Path BASE = new Path("/limits");

    @Test
    void theLimitsAreHadoops() throws Exception {
        BlockLimits usual = BlockLimits.of(new HdfsConfiguration());
        assertThrows(IOException.class, () -> usual.checkSize((1 << 20) - 1));
        usual.checkSize(1 << 20);
        assertThrows(IOException.class, () -> usual.checkNumber(10_000));
        usual.checkNumber(9999);
        assertEquals(4096, usual.sizeToRead(0, 4096));
        assertEquals(4096, usual.sizeToRead(10_000L * 4096 - 1, 4096));
        assertEquals(8192, usual.sizeToRead(10_000L * 4096, 4096));
        Configuration conf = new Configuration(false);
        conf.set("dfs.namenode.fs-limits.min-block-size", "4k");
        conf.set("dfs.namenode.fs-limits.max-blocks-per-file", "5");
        assertEquals(new BlockLimits(4096, 5), BlockLimits.of(conf));
    }

    @Test
    void smallBlocksAreNotCreatedUnlessAllowed() throws Exception {
        try (Service service = Service.start(conf -> conf.unset("dfs.namenode.fs-limits.min-block-size"));
                FileSystem client = service.client()) {
            assertThrows(IOException.class, () -> client.create(new Path("/small"), true, 4096, (short) 1, 4096).close());
            client.create(new Path("/large"), true, 4096, (short) 1, 1 << 20).close();
            assertTrue(client.delete(new Path("/large"), false));
        }
    }

    /** Holes are made by anybody, and located by whoever lists the directory. */
    @Test
    void aSparseFileHasNoMillionsOfBlocks() throws Exception {
        try (FileSystem client = Service.shared().client()) {
            client.mkdirs(BASE, new FsPermission((short) 0777));
            for (String name : new String[] {"a", "b", "c"}) {
                Path file = new Path(BASE, name);
                client.create(file, true, 4096, (short) 1, 4096).close();
                try (FileChannel hole = FileChannel.open(java.nio.file.Path.of(Service.FOLDER + file.toUri().getPath()),
                        StandardOpenOption.WRITE)) {
                    hole.write(ByteBuffer.wrap(new byte[] {7}), 400_000_000L);
                }
            }
            LocatedBlocks blocks = ((DistributedFileSystem) client).getClient().getNamenode()
                    .getBlockLocations("/limits/a", 0, Long.MAX_VALUE);
            assertTrue(blocks.locatedBlockCount() <= 10_000, blocks.locatedBlockCount() + " blocks");
            assertEquals(1, ((DistributedFileSystem) client).getClient().getNamenode()
                    .getListing("/limits", new byte[0], true).getPartialListing().length, "a page is full of blocks");
            int listed = 0;
            for (RemoteIterator<LocatedFileStatus> each = client.listLocatedStatus(BASE); each.hasNext(); each.next()) {
                listed++;
            }
            assertEquals(3, listed);
            try (var in = client.open(new Path(BASE, "a"))) {
                in.seek(400_000_000L);
                assertEquals(7, in.read());
            }
            client.delete(BASE, true);
        }
    }
}
