package zolt.hdfs.datanode;

import java.io.OutputStream;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.ReplicaOutputStreams;
import org.apache.hadoop.io.nativeio.NativeIOException;
import org.apache.hadoop.util.DataChecksum;

/**
 * Where a block that is being received goes: its bytes into the file; its checksums, which the DataNode has compared
 * with the bytes by then, nowhere.
 */
final class BlockStreams extends ReplicaOutputStreams {
    private final long start;

    BlockStreams(LeasedOutput bytes, DataChecksum checksum, FsVolumeSpi volume, long start) {
        super(bytes, OutputStream.nullOutputStream(), checksum, volume, volume.getFileIoProvider());
        this.start = start;
    }

    /** The DataNode counts from the start of the block. */
    @Override
    public void syncFileRangeIfPossible(long offset, long count, int flags) throws NativeIOException {
        super.syncFileRangeIfPossible(start + offset, count, flags);
    }

    @Override
    public void dropCacheBehindWrites(String block, long offset, long count, int flags) throws NativeIOException {
        super.dropCacheBehindWrites(block, start + offset, count, flags);
    }
}
