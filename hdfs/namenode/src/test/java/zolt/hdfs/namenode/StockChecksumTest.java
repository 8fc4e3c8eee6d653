package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.OutputStream;
import java.nio.file.Path;
import java.util.Random;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * {@code hdfs dfs -checksum} tells copies apart wherever they are: here it says what it says of the same bytes in
 * Hadoop's own HDFS.
 */
class StockChecksumTest {
    private static final org.apache.hadoop.fs.Path FILE = new org.apache.hadoop.fs.Path("/summed");

    @Test
    void theSameBytesHaveTheSameChecksum(@TempDir Path state) throws Exception {
        Configuration conf = new HdfsConfiguration();
        conf.set(MiniDFSCluster.HDFS_MINIDFS_BASEDIR, state.toString());
        conf.setLong("dfs.namenode.fs-limits.min-block-size", 0);
        try (MiniDFSCluster cluster = new MiniDFSCluster.Builder(conf).numDataNodes(1).build();
                FileSystem stock = cluster.getFileSystem(); FileSystem ours = Service.shared().client()) {
            for (int size : new int[] {0, 1, 512, 100_000, 5_000_001}) {
                byte[] bytes = new byte[size];
                new Random(size).nextBytes(bytes);
                write(ours, bytes, 1 << 20);
                // The checksum counts the blocks, which are as large as the file system has them.
                write(stock, bytes, ours.getFileStatus(FILE).getBlockSize());
                assertEquals(stock.getFileChecksum(FILE), ours.getFileChecksum(FILE), size + " bytes");
                assertEquals(stock.getFileChecksum(FILE, size / 2), ours.getFileChecksum(FILE, size / 2), size + " bytes");
            }
        }
    }

    private static void write(FileSystem fs, byte[] bytes, long blockSize) throws Exception {
        try (OutputStream out = fs.create(FILE, true, 4096, (short) 1, blockSize)) {
            out.write(bytes);
        }
    }
}
