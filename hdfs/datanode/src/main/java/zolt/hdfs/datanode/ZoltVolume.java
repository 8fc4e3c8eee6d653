package zolt.hdfs.datanode;

import java.io.File;
import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.util.Collection;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.DF;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.server.datanode.DirectoryScanner.ReportCompiler;
import org.apache.hadoop.hdfs.server.datanode.FileIoProvider;
import org.apache.hadoop.hdfs.server.datanode.StorageLocation;
import org.apache.hadoop.hdfs.server.datanode.checker.VolumeCheckResult;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.DataNodeVolumeMetrics;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsDatasetSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeReference;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.protocol.DatanodeStorage;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;

/**
 * The one volume of the DataNode: the file system of the exported folder. Only an identity is kept elsewhere, in
 * the DataNode's own small folder.
 */
final class ZoltVolume implements FsVolumeSpi {
    private final FsDatasetSpi<?> dataset;
    private final File folder;
    private final String storageId;
    private final StorageLocation location;
    private final FileIoProvider fileIo;
    private final Set<String> blockPools = ConcurrentHashMap.newKeySet();

    ZoltVolume(FsDatasetSpi<?> dataset, File folder, String storageId, StorageLocation location, FileIoProvider fileIo) {
        this.dataset = dataset;
        this.folder = folder;
        this.storageId = storageId;
        this.location = location;
        this.fileIo = fileIo;
    }

    void add(String blockPool) {
        blockPools.add(blockPool);
    }

    void remove(String blockPool) {
        blockPools.remove(blockPool);
    }

    DatanodeStorage storage() {
        return new DatanodeStorage(storageId, DatanodeStorage.State.NORMAL, StorageType.DISK);
    }

    /** What statvfs(3) says. Whoever else uses the file system counts as well. */
    StorageReport report() {
        return new StorageReport(storage(), false, capacity(), used(), getAvailable(), used(), 0);
    }

    long capacity() {
        return folder.getTotalSpace();
    }

    long used() {
        return folder.getTotalSpace() - folder.getFreeSpace();
    }

    @Override
    public long getAvailable() {
        return folder.getUsableSpace();
    }

    /** The volume does not go away while the DataNode runs, so nobody counts the references. */
    @Override
    public FsVolumeReference obtainReference() {
        return new FsVolumeReference() {
            @Override
            public void close() {
                // Nothing is held.
            }

            @Override
            public FsVolumeSpi getVolume() {
                return ZoltVolume.this;
            }
        };
    }

    /** The volume is healthy as long as the exported folder can be opened. */
    @Override
    public VolumeCheckResult check(VolumeCheckContext context) throws IOException {
        Files.newDirectoryStream(folder.toPath()).close();
        return VolumeCheckResult.HEALTHY;
    }

    @Override
    public String getStorageID() {
        return storageId;
    }

    @Override
    public String[] getBlockPoolList() {
        return blockPools.toArray(String[]::new);
    }

    @Override
    public URI getBaseURI() {
        return folder.toURI();
    }

    @Override
    public DF getUsageStats(Configuration conf) {
        try {
            return new DF(folder, conf);
        } catch (IOException e) {
            return null;
        }
    }

    @Override
    public StorageLocation getStorageLocation() {
        return location;
    }

    @Override
    public StorageType getStorageType() {
        return StorageType.DISK;
    }

    @Override
    public boolean isTransientStorage() {
        return false;
    }

    @Override
    public boolean isRAMStorage() {
        return false;
    }

    @Override
    public void reserveSpaceForReplica(long bytes) {
        // The file system refuses when it is full.
    }

    @Override
    public void releaseReservedSpace(long bytes) {
        // None is reserved.
    }

    @Override
    public void releaseLockedMemory(long bytes) {
        // None is locked.
    }

    @Override
    public BlockIterator newBlockIterator(String blockPool, String name) {
        throw UnsupportedDataset.noList();
    }

    @Override
    public BlockIterator loadBlockIterator(String blockPool, String name) {
        throw UnsupportedDataset.noList();
    }

    @Override
    public FsDatasetSpi<?> getDataset() {
        return dataset;
    }

    @Override
    public byte[] loadLastPartialChunkChecksum(File bytes, File checksums) {
        throw UnsupportedDataset.noList();
    }

    @Override
    public void compileReport(String blockPool, Collection<ScanInfo> report, ReportCompiler compiler) {
        throw UnsupportedDataset.noList();
    }

    @Override
    public FileIoProvider getFileIoProvider() {
        return fileIo;
    }

    @Override
    public DataNodeVolumeMetrics getMetrics() {
        return null;
    }

    @Override
    public String toString() {
        return folder.toString();
    }
}
