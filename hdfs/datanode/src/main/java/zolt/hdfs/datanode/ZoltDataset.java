package zolt.hdfs.datanode;

import java.io.IOException;
import java.io.InputStream;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Consumer;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.BlockListAsLongs;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.server.common.AutoCloseDataSetLock;
import org.apache.hadoop.hdfs.server.common.DataNodeLockManager;
import org.apache.hadoop.hdfs.server.common.DataNodeLockManager.LockLevel;
import org.apache.hadoop.hdfs.server.datanode.Replica;
import org.apache.hadoop.hdfs.server.datanode.ReplicaHandler;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.LengthInputStream;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.ReplicaInputStreams;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.ReplicaOutputStreams;
import org.apache.hadoop.hdfs.server.datanode.metrics.DataNodeMetricHelper;
import org.apache.hadoop.hdfs.server.protocol.DatanodeStorage;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;
import org.apache.hadoop.hdfs.server.protocol.VolumeFailureSummary;
import org.apache.hadoop.metrics2.MetricsCollector;
import zolt.hdfs.block.ReadBlock;

/**
 * The dataset of a DataNode whose blocks are parts of the files of a folder: {@link BlockReads} reads them, {@link
 * BlockWrites} writes them, {@link ZoltVolume} tells how much room there is.
 */
final class ZoltDataset extends UnsupportedDataset {
    private final ZoltVolume volume;
    private final BlockReads reads;
    private final BlockWrites writes;
    private final DataNodeLockManager<? extends AutoCloseDataSetLock> locks;
    private final Consumer<String> tokens;
    private final Runnable atShutdown;

    ZoltDataset(Parts parts) {
        volume = parts.volume(this);
        reads = parts.reads(volume);
        writes = parts.writes(volume);
        locks = parts.locks();
        tokens = parts.tokens();
        atShutdown = parts.atShutdown();
    }

    /** What the dataset is made of. */
    interface Parts {
        ZoltVolume volume(ZoltDataset dataset);

        BlockReads reads(ZoltVolume volume);

        BlockWrites writes(ZoltVolume volume);

        DataNodeLockManager<? extends AutoCloseDataSetLock> locks();

        /** Prepares the check of the tokens of a block pool. */
        Consumer<String> tokens();

        Runnable atShutdown();
    }

    // Reading.

    @Override
    @Deprecated
    public Replica getReplica(String blockPool, long id) {
        return reads.replica(id);
    }

    @Override
    public String getReplicaString(String blockPool, long id) {
        return "block " + id;
    }

    /** The DataNode gives up a block for which there is no volume. */
    @Override
    public ZoltVolume getVolume(ExtendedBlock block) {
        return reads.bind(block) ? volume : null;
    }

    @Override
    public LengthInputStream getMetaDataInputStream(ExtendedBlock block) throws IOException {
        return reads.checksums(block);
    }

    @Override
    public InputStream getBlockInputStream(ExtendedBlock block, long offset) throws IOException {
        return reads.bytes(block, offset);
    }

    @Override
    public long getLength(ExtendedBlock block) throws IOException {
        return ReadBlock.isWriting(block.getBlockId()) ? writes.length(block) : reads.length(block);
    }

    @Override
    public long getReplicaVisibleLength(ExtendedBlock block) throws IOException {
        return getLength(block);
    }

    // Writing.

    @Override
    public ReplicaHandler createRbw(StorageType type, String storageId, ExtendedBlock block, boolean lazy)
            throws IOException {
        return writes.create(block);
    }

    @Override
    public ReplicaHandler createRbw(StorageType type, String storageId, ExtendedBlock block, boolean lazy, long stamp)
            throws IOException {
        return writes.create(block);
    }

    @Override
    public ReplicaHandler recoverRbw(ExtendedBlock block, long stamp, long acknowledged, long sent) throws IOException {
        return writes.recover(block, stamp, acknowledged, sent);
    }

    @Override
    public Replica recoverClose(ExtendedBlock block, long stamp, long length) throws IOException {
        return writes.recoverClose(block, stamp, length);
    }

    /** The bytes are in the file since its stream was closed, and the name is the NameNode's to make durable. */
    @Override
    public void finalizeBlock(ExtendedBlock block, boolean syncDirectory) {
        // Nothing to do.
    }

    @Override
    public ReplicaInputStreams getTmpInputStreams(ExtendedBlock block, long offset, long checksumOffset)
            throws IOException {
        return writes.begun(block, offset, checksumOffset);
    }

    @Override
    public void adjustCrcChannelPosition(ExtendedBlock block, ReplicaOutputStreams streams, int checksumSize) {
        // The checksums of a block that is being written go nowhere.
    }

    @Override
    public void submitBackgroundSyncFileRangeRequest(
            ExtendedBlock block, ReplicaOutputStreams streams, long offset, long count, int flags) {
        // A hint; the kernel writes back by itself.
    }

    // The DataNode as a whole.

    @Override
    public void addBlockPool(String blockPool, Configuration conf) {
        locks.addLock(LockLevel.BLOCK_POOl, blockPool);
        volume.add(blockPool);
        tokens.accept(blockPool);
    }

    @Override
    public void shutdownBlockPool(String blockPool) {
        volume.remove(blockPool);
    }

    @Override
    public void deleteBlockPool(String blockPool, boolean force) {
        volume.remove(blockPool);
    }

    @Override
    public void shutdown() {
        atShutdown.run();
    }

    @Override
    public DataNodeLockManager<? extends AutoCloseDataSetLock> acquireDatasetLockManager() {
        return locks;
    }

    @Override
    public FsVolumeReferences getFsVolumeReferences() {
        return new FsVolumeReferences(List.of(volume));
    }

    @Override
    public DatanodeStorage getStorage(String storageId) {
        return storageId.equals(volume.getStorageID()) ? volume.storage() : null;
    }

    @Override
    public StorageReport[] getStorageReports(String blockPool) {
        return new StorageReport[] {volume.report()};
    }

    /** Nobody asks a NameNode without a list of blocks where they are, so none is reported to it. */
    @Override
    public Map<DatanodeStorage, BlockListAsLongs> getBlockReports(String blockPool) {
        return Map.of(volume.storage(), BlockListAsLongs.EMPTY);
    }

    @Override
    public Map<String, Object> getVolumeInfoMap() {
        return Map.of(volume.toString(), Map.of("usedSpace", volume.used(), "freeSpace", volume.getAvailable(),
                "reservedSpace", 0L, "reservedSpaceForReplicas", 0L, "numBlocks", 0L,
                "storageType", volume.getStorageType()));
    }

    @Override
    public VolumeFailureSummary getVolumeFailureSummary() {
        return new VolumeFailureSummary(getFailedStorageLocations(), 0, 0);
    }

    /** The only volume is the file system: each request finds out by itself whether it is back. */
    @Override
    public void handleVolumeFailures(Set<FsVolumeSpi> failed) {
        // Nothing to take out of service.
    }

    @Override
    public boolean hasEnoughResource() {
        return true;
    }

    @Override
    public long getCapacity() {
        return volume.capacity();
    }

    @Override
    public long getDfsUsed() {
        return volume.used();
    }

    @Override
    public long getBlockPoolUsed(String blockPool) {
        return volume.used();
    }

    @Override
    public long getRemaining() {
        return volume.getAvailable();
    }

    @Override
    public String getStorageInfo() {
        return volume + ", " + writes.count() + " blocks being written";
    }

    @Override
    public void getMetrics(MetricsCollector collector, boolean all) {
        try {
            DataNodeMetricHelper.getMetrics(collector, this, "FSDatasetState");
        } catch (IOException e) {
            throw new IllegalStateException(e);
        }
    }
}
