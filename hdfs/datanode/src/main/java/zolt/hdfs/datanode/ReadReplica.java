package zolt.hdfs.datanode;

import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.server.common.HdfsServerConstants.ReplicaState;
import org.apache.hadoop.hdfs.server.datanode.Replica;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;

/**
 * A block that a client is about to read.
 *
 * <p>The DataNode asks for a replica by the id alone, before it shows the generation stamp, without which there is
 * no telling which file is meant. So a replica begins unbound; {@link BlockReads#bind} gives it its length as
 * soon as the DataNode asks something with the whole block, which it does before it sends a byte.
 */
final class ReadReplica implements Replica {
    private final long id;
    private final FsVolumeSpi volume;
    private ExtendedBlock block;
    private long length;
    private boolean asked;

    ReadReplica(long id, FsVolumeSpi volume) {
        this.id = id;
        this.volume = volume;
    }

    /** From here on the replica is that block, with a length that stays. */
    void bind(ExtendedBlock boundTo, long lengthNow) {
        block = boundTo;
        length = lengthNow;
    }

    /** Whether it was bound to this very object: each request has one of its own. */
    boolean isBoundTo(ExtendedBlock other) {
        return block == other;
    }

    @Override
    public long getBlockId() {
        return id;
    }

    /**
     * The DataNode asks twice: is the replica's stamp older than the block's, then it refuses; is it younger, then it
     * goes on with the replica's in place of the block's. The answer is no both times.
     */
    @Override
    public long getGenerationStamp() {
        if (block != null) {
            return block.getGenerationStamp();
        }
        asked = !asked;
        return asked ? Long.MAX_VALUE : Long.MIN_VALUE;
    }

    @Override
    public ReplicaState getState() {
        return ReplicaState.FINALIZED;
    }

    @Override
    public long getNumBytes() {
        return length;
    }

    @Override
    public long getBytesOnDisk() {
        return length;
    }

    @Override
    public long getVisibleLength() {
        return length;
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
        return "block " + id + " for reading, " + length + " bytes";
    }
}
