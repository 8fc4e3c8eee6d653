package zolt.hdfs.datanode;

import java.io.File;
import java.util.Collection;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.Block;
import org.apache.hadoop.hdfs.protocol.BlockLocalPathInfo;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.server.common.HdfsServerConstants.ReplicaState;
import org.apache.hadoop.hdfs.server.datanode.Replica;
import org.apache.hadoop.hdfs.server.datanode.ReplicaHandler;
import org.apache.hadoop.hdfs.server.datanode.ReplicaInPipeline;
import org.apache.hadoop.hdfs.server.datanode.ReplicaInfo;
import org.apache.hadoop.hdfs.server.datanode.StorageLocation;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsDatasetSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.impl.FsVolumeImpl;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.impl.MountVolumeMap;
import org.apache.hadoop.hdfs.server.protocol.BlockRecoveryCommand.RecoveringBlock;
import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;
import org.apache.hadoop.hdfs.server.protocol.ReplicaRecoveryInfo;

/**
 * What a DataNode's dataset may be asked for and this one has no use for. Its blocks are parts of files that others
 * own and see: there is no list of them, none is copied, moved, deleted, pinned or cached, and there is one volume.
 * Whoever asks is told so; what a DataNode does unasked, as when it stops, is passed over.
 */
abstract class UnsupportedDataset implements FsDatasetSpi<ZoltVolume> {
    static UnsupportedOperationException noList() {
        return new UnsupportedOperationException(
                "The blocks of this DataNode are parts of files; it has no list of them, and does not move or delete them");
    }

    @Override
    public void addVolume(StorageLocation location, List<NamespaceInfo> namespaces) {
        throw noList();
    }

    @Override
    public void removeVolumes(Collection<StorageLocation> volumes, boolean clearFailure) {
        throw noList();
    }

    @Override
    public List<ReplicaInfo> getFinalizedBlocks(String blockPool) {
        throw noList();
    }

    @Override
    public void checkAndUpdate(String blockPool, FsVolumeSpi.ScanInfo info) {
        throw noList();
    }

    /** DataNodes agree on the length of a block, with no word of who asks; here a lease ends without them. */
    @Override
    public ReplicaRecoveryInfo initReplicaRecovery(RecoveringBlock recovering) {
        throw noRecovery();
    }

    @Override
    public Replica updateReplicaUnderRecovery(ExtendedBlock old, long stamp, long newId, long length) {
        throw noRecovery();
    }

    private static UnsupportedOperationException noRecovery() {
        return new UnsupportedOperationException("The blocks of this DataNode are recovered by no other:"
                + " their file tells how long they are");
    }

    /** Without a list there is no finding a block by its id alone. */
    @Override
    public Block getStoredBlock(String blockPool, long id) {
        return null;
    }

    /** Asked before a block is copied to another DataNode. */
    @Override
    public boolean contains(ExtendedBlock block) {
        return false;
    }

    @Override
    public boolean isValidBlock(ExtendedBlock block) {
        return false;
    }

    @Override
    public boolean isValidRbw(ExtendedBlock block) {
        return false;
    }

    @Override
    public void checkBlock(ExtendedBlock block, long least, ReplicaState state) {
        throw noList();
    }

    @Override
    public Set<? extends Replica> deepCopyReplica(String blockPool) {
        throw noList();
    }

    /** Another DataNode that shall take part in writing a block needs no copy of what there is: it sees the file. */
    @Override
    public ReplicaHandler createTemporary(StorageType type, String storageId, ExtendedBlock block, boolean isTransfer) {
        throw noList();
    }

    @Override
    public ReplicaInPipeline convertTemporaryToRbw(ExtendedBlock temporary) {
        throw noList();
    }

    /** Who appends is given a new block. */
    @Override
    public ReplicaHandler append(ExtendedBlock block, long stamp, long length) {
        throw noList();
    }

    @Override
    public ReplicaHandler recoverAppend(ExtendedBlock block, long stamp, long length) {
        throw noList();
    }

    /** A block of which nothing was written leaves nothing behind. */
    @Override
    public void unfinalizeBlock(ExtendedBlock block) {
        // Nothing to do.
    }

    @Override
    public void invalidate(String blockPool, Block[] blocks) {
        throw noList();
    }

    @Override
    public void invalidateMissingBlock(String blockPool, Block block) {
        // It is in no list.
    }

    @Override
    public void cache(String blockPool, long[] ids) {
        throw noList();
    }

    @Override
    public void uncache(String blockPool, long[] ids) {
        throw noList();
    }

    @Override
    public boolean isCached(String blockPool, long id) {
        return false;
    }

    @Override
    public List<Long> getCacheReport(String blockPool) {
        return List.of();
    }

    @Override
    public BlockLocalPathInfo getBlockLocalPathInfo(ExtendedBlock block) {
        throw noList();
    }

    @Override
    public void enableTrash(String blockPool) {
        throw noList();
    }

    @Override
    public void clearTrash(String blockPool) {
        // Told with every heartbeat outside of an upgrade.
    }

    @Override
    public boolean trashEnabled(String blockPool) {
        return false;
    }

    @Override
    public void setRollingUpgradeMarker(String blockPool) {
        throw noList();
    }

    @Override
    public void clearRollingUpgradeMarker(String blockPool) {
        // Told with every heartbeat outside of an upgrade.
    }

    @Override
    public void onCompleteLazyPersist(String blockPool, long id, long created, File[] files, ZoltVolume volume) {
        throw noList();
    }

    @Override
    public void onFailLazyPersist(String blockPool, long id) {
        throw noList();
    }

    @Override
    public ReplicaInfo moveBlockAcrossStorage(ExtendedBlock block, StorageType type, String storageId) {
        throw noList();
    }

    @Override
    public ReplicaInfo moveBlockAcrossVolumes(ExtendedBlock block, FsVolumeSpi destination) {
        throw noList();
    }

    @Override
    public void setPinning(ExtendedBlock block) {
        // Clients may ask for it with each block that they write; blocks do not move.
    }

    @Override
    public boolean getPinning(ExtendedBlock block) {
        return false;
    }

    @Override
    public boolean isDeletingBlock(String blockPool, long id) {
        return false;
    }

    @Override
    public List<FsVolumeImpl> getVolumeList() {
        return List.of();
    }

    @Override
    public MountVolumeMap getMountVolumeMap() {
        return null;
    }

    @Override
    public int getNumFailedVolumes() {
        return 0;
    }

    @Override
    public String[] getFailedStorageLocations() {
        return new String[0];
    }

    @Override
    public long getLastVolumeFailureDate() {
        return 0;
    }

    @Override
    public long getEstimatedCapacityLostTotal() {
        return 0;
    }

    @Override
    public long getCacheUsed() {
        return 0;
    }

    @Override
    public long getCacheCapacity() {
        return 0;
    }

    @Override
    public long getNumBlocksCached() {
        return 0;
    }

    @Override
    public long getNumBlocksFailedToCache() {
        return 0;
    }

    @Override
    public long getNumBlocksFailedToUncache() {
        return 0;
    }

    @Override
    public long getLastDirScannerFinishTime() {
        return 0;
    }

    @Override
    public long getPendingAsyncDeletions() {
        return 0;
    }
}
