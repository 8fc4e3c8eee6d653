package zolt.hdfs.filesystem;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.zip.CRC32C;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CompositeCrcFileChecksum;
import org.apache.hadoop.fs.FileChecksum;
import org.apache.hadoop.fs.MD5MD5CRC32CastagnoliFileChecksum;
import org.apache.hadoop.fs.MD5MD5CRC32GzipFileChecksum;
import org.apache.hadoop.fs.Options.ChecksumCombineMode;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.io.DataOutputBuffer;
import org.apache.hadoop.io.MD5Hash;
import org.apache.hadoop.util.DataChecksum;

/**
 * The checksums that HDFS gives for the same bytes, so that copies can be compared: of the whole file, or of the checksums
 * of its blocks.
 */
final class Checksums {
    private static final int BUFFER = 1 << 16;

    private Checksums() {}

    static FileChecksum of(Configuration conf, FileChannel file, long length, long blockSize, int bytesPerSum)
            throws IOException {
        long end = Math.min(length, file.size());
        ChecksumCombineMode mode = ChecksumCombineMode.valueOf(conf.get(HdfsClientConfigKeys.DFS_CHECKSUM_COMBINE_MODE_KEY,
                HdfsClientConfigKeys.DFS_CHECKSUM_COMBINE_MODE_DEFAULT));
        return mode == ChecksumCombineMode.COMPOSITE_CRC ? ofAll(file, end, bytesPerSum)
                : ofBlocks(file, end, blockSize, bytesPerSum);
    }

    private static MessageDigest digester() {
        try {
            return MessageDigest.getInstance("MD5");
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
    }

    /** What is done with the next bytes of a file. */
    private interface Sink {
        void take(ByteBuffer bytes);
    }

    private static void read(FileChannel file, long from, long to, Sink sink) throws IOException {
        ByteBuffer buffer = ByteBuffer.allocateDirect((int) Math.min(BUFFER, Math.max(1, to - from)));
        for (long at = from; at < to;) {
            buffer.clear().limit((int) Math.min(buffer.capacity(), to - at));
            int got = file.read(buffer, at);
            if (got < 0) {
                throw new IOException("the file has become shorter");
            }
            at += got;
            sink.take(buffer.flip());
        }
    }

    private static FileChecksum ofAll(FileChannel file, long end, int bytesPerSum) throws IOException {
        CRC32C sum = new CRC32C();
        read(file, 0, end, sum::update);
        return new CompositeCrcFileChecksum((int) sum.getValue(), DataChecksum.Type.CRC32C, bytesPerSum);
    }

    private static FileChecksum ofBlocks(FileChannel file, long end, long blockSize, int bytesPerSum) throws IOException {
        // HDFS digests the buffer in which it has gathered the sums, with the zeros that are left in it.
        DataOutputBuffer blocks = new DataOutputBuffer();
        for (long at = 0; at < end; at += blockSize) {
            blocks.write(ofBlock(file, at, Math.min(end, at + blockSize), bytesPerSum));
        }
        MD5Hash all = MD5Hash.digest(blocks.getData());
        return end == 0 ? new MD5MD5CRC32GzipFileChecksum(0, 0, all)
                : new MD5MD5CRC32CastagnoliFileChecksum(bytesPerSum, end > blockSize ? blockSize / bytesPerSum : 0, all);
    }

    /** The digest of the sums of each so many bytes. */
    private static byte[] ofBlock(FileChannel file, long from, long to, int bytesPerSum) throws IOException {
        MessageDigest digest = digester();
        CRC32C sum = new CRC32C();
        ByteBuffer number = ByteBuffer.allocate(Integer.BYTES);
        int[] taken = {0};
        Runnable finish = () -> {
            digest.update(number.clear().putInt((int) sum.getValue()).flip());
            sum.reset();
            taken[0] = 0;
        };
        read(file, from, to, bytes -> {
            while (bytes.hasRemaining()) {
                int now = Math.min(bytes.remaining(), bytesPerSum - taken[0]);
                sum.update(bytes.slice().limit(now));
                bytes.position(bytes.position() + now);
                taken[0] += now;
                if (taken[0] == bytesPerSum) {
                    finish.run();
                }
            }
        });
        if (taken[0] > 0) {
            finish.run();
        }
        return digest.digest();
    }
}
