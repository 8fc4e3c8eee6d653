package zolt.hdfs.datanode;

import java.io.IOException;
import java.nio.file.Path;
import java.util.concurrent.TimeUnit;
import java.util.function.Consumer;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.hdfs.server.common.AutoCloseDataSetLock;
import org.apache.hadoop.hdfs.server.common.DataNodeLockManager;
import org.apache.hadoop.hdfs.server.common.Storage.StorageDirectory;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.apache.hadoop.hdfs.server.datanode.DataStorage;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsDatasetSpi;
import org.apache.hadoop.util.DataChecksum;

/** Makes the dataset of a DataNode for the folder of {@link #FOLDER}; see dfs.datanode.fsdataset.factory. */
public final class ZoltDatasetFactory extends FsDatasetSpi.Factory<FsDatasetSpi<?>> {
    /** The key of the exported folder. */
    public static final String FOLDER = "zolt.hdfs.folder";

    @Override
    public FsDatasetSpi<?> newInstance(DataNode datanode, DataStorage storage, Configuration conf) throws IOException {
        String folder = conf.get(FOLDER);
        if (folder == null) {
            throw new IOException("The key " + FOLDER + " does not say which folder is exported");
        }
        ExportedRoot root = new ExportedRoot(Path.of(folder).toRealPath());
        NameNodePaths paths = new NameNodePaths(conf);
        BlockFiles files = new BlockFiles(root, paths);
        StorageDirectory identity = storage.getStorageDir(0);
        return new ZoltDataset(new ZoltDataset.Parts() {
            @Override
            public ZoltVolume volume(ZoltDataset dataset) {
                return new ZoltVolume(dataset, root.folder().toFile(), identity.getStorageUuid(),
                        identity.getStorageLocation(), datanode.getFileIoProvider());
            }

            @Override
            public BlockReads reads(ZoltVolume volume) {
                return new BlockReads(files, volume, checksumType(conf), conf.getInt(
                        HdfsClientConfigKeys.DFS_BYTES_PER_CHECKSUM_KEY,
                        HdfsClientConfigKeys.DFS_BYTES_PER_CHECKSUM_DEFAULT));
            }

            @Override
            public BlockWrites writes(ZoltVolume volume) {
                return new BlockWrites(files, volume, datanode.getDnConf().getXceiverStopTimeout());
            }

            @Override
            public DataNodeLockManager<? extends AutoCloseDataSetLock> locks() {
                return datanode.getDataSetLockManager();
            }

            /** The DataNode makes a check of its own for a block pool that has none when it registers. */
            @Override
            public Consumer<String> tokens() {
                return blockPool -> datanode.getBlockPoolTokenSecretManager().addBlockPool(blockPool,
                        new SignedTokens(TimeUnit.MINUTES.toMillis(conf.getLong(
                                DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_KEY,
                                DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_DEFAULT)), blockPool,
                                conf.get(DFSConfigKeys.DFS_DATA_ENCRYPTION_ALGORITHM_KEY),
                                conf.getBoolean(DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_PROTOBUF_ENABLE,
                                        DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_PROTOBUF_ENABLE_DEFAULT)));
            }

            @Override
            public Runnable atShutdown() {
                return () -> {
                    paths.close();
                    root.close();
                };
            }
        });
    }

    private static DataChecksum.Type checksumType(Configuration conf) {
        return DataChecksum.Type.valueOf(conf.get(HdfsClientConfigKeys.DFS_CHECKSUM_TYPE_KEY,
                HdfsClientConfigKeys.DFS_CHECKSUM_TYPE_DEFAULT));
    }
}
