package zolt.hdfs.datanode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.OutputStream;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.hdfs.protocol.Block;
import org.apache.hadoop.hdfs.server.common.HdfsServerConstants.ReplicaState;
import org.apache.hadoop.hdfs.server.datanode.ChunkChecksum;
import org.apache.hadoop.hdfs.server.datanode.FinalizedReplica;
import org.apache.hadoop.hdfs.server.datanode.ReplicaInPipeline;
import org.apache.hadoop.hdfs.server.datanode.ReplicaInfo;
import org.apache.hadoop.hdfs.server.datanode.ReplicaNotFoundException;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.ReplicaOutputStreams;
import org.apache.hadoop.util.DataChecksum;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;

/** A block that a client writes through this DataNode: how far it is, and the thread that receives it. */
final class WriteReplica implements ReplicaInPipeline {
    /** The bytes of one checksum, which a client chooses: Hadoop's clients take 512, and some hundred are read at once. */
    private static final int MOST_BYTES_PER_CHECKSUM = 1 << 16;

    private final WriteBlock block;
    private final BlockFiles files;
    private final FsVolumeSpi volume;
    private final Runnable ended;
    private final Writer writer = new Writer();

    private long received;
    private long acknowledged;
    private long written;
    private byte[] lastChecksum;
    private DataChecksum checksum;

    /**
     * A replica whose first bytes are in the file already.
     *
     * @param ended is run when nothing more will be written
     */
    WriteReplica(WriteBlock block, long length, BlockFiles files, FsVolumeSpi volume, Runnable ended) {
        this.block = block;
        this.files = files;
        this.volume = volume;
        this.ended = ended;
        received = length;
        acknowledged = length;
        written = length;
    }

    @Override
    public ReplicaOutputStreams createStreams(boolean isCreate, DataChecksum requested) throws IOException {
        try {
            if (requested.getBytesPerChecksum() > MOST_BYTES_PER_CHECKSUM) {
                throw new IOException("A checksum of " + requested.getBytesPerChecksum() + " bytes; at most "
                        + MOST_BYTES_PER_CHECKSUM + " are taken");
            }
            checksum = requested;
            LeasedOutput out = LeasedOutput.open(files.of(block), block.start() + written,
                    SignedTokens.writer(block.id()).map(SignedBlock.Writer::session), ended);
            return new BlockStreams(out, requested, volume, block.start());
        } catch (FileNotFoundException e) {
            ended.run();
            throw new ReplicaNotFoundException(block + ": " + e.getMessage());
        } catch (IOException | RuntimeException e) {
            ended.run();
            throw e;
        }
    }

    /** For a client that waits while this DataNode is started again: there is nothing to keep for it. */
    @Override
    public OutputStream createRestartMetaStream() {
        return OutputStream.nullOutputStream();
    }

    /** What the DataNode asks of it is whether space is reserved; none is. */
    @Override
    public ReplicaInfo getReplicaInfo() {
        return finished(block, getNumBytes(), volume);
    }

    /** A block that nobody writes any more. */
    static ReplicaInfo finished(WriteBlock block, long length, FsVolumeSpi volume) {
        return new FinalizedReplica(new Block(block.id(), length, block.stamp()), volume, null);
    }

    /** The kind of checksums that the client sends. */
    DataChecksum checksum() {
        return checksum;
    }

    @Override
    public long getBlockId() {
        return block.id();
    }

    @Override
    public long getGenerationStamp() {
        return block.stamp();
    }

    @Override
    public ReplicaState getState() {
        return ReplicaState.RBW;
    }

    @Override
    public synchronized long getNumBytes() {
        return received;
    }

    @Override
    public synchronized void setNumBytes(long bytes) {
        received = bytes;
    }

    @Override
    public synchronized long getBytesAcked() {
        return acknowledged;
    }

    @Override
    public synchronized void setBytesAcked(long bytes) {
        acknowledged = bytes;
    }

    @Override
    public synchronized long getVisibleLength() {
        return acknowledged;
    }

    @Override
    public synchronized long getBytesOnDisk() {
        return written;
    }

    @Override
    public synchronized void setLastChecksumAndDataLen(long length, byte[] checksum) {
        written = length;
        lastChecksum = checksum;
        notifyAll();
    }

    @Override
    public synchronized ChunkChecksum getLastChecksumAndDataLen() {
        return new ChunkChecksum(written, lastChecksum);
    }

    @Override
    public synchronized void waitForMinLength(long length, long time, TimeUnit unit) throws IOException {
        long until = System.nanoTime() + unit.toNanos(time);
        try {
            while (written < length) {
                long left = until - System.nanoTime();
                if (left <= 0) {
                    throw new IOException(block + " has " + written + " bytes of the " + length + " that are wanted");
                }
                TimeUnit.NANOSECONDS.timedWait(this, left);
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new IOException(e);
        }
    }

    @Override
    public void releaseAllBytesReserved() {
        // None are.
    }

    @Override
    public void releaseReplicaInfoBytesReserved() {
        // None are.
    }

    @Override
    public void setWriter(Thread thread) {
        writer.set(thread);
    }

    @Override
    public boolean attemptToSetWriter(Thread before, Thread next) {
        return writer.replace(before, next);
    }

    @Override
    public void interruptThread() {
        writer.interrupt();
    }

    @Override
    public void stopWriter(long millis) throws IOException {
        writer.stop(millis);
    }

    @Override
    public String getStorageUuid() {
        return volume.getStorageID();
    }

    @Override
    public boolean isOnTransientStorage() {
        return false;
    }

    @Override
    public FsVolumeSpi getVolume() {
        return volume;
    }

    @Override
    public String toString() {
        return block.toString();
    }
}
