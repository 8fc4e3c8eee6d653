package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.EnumSet;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.DFSUtil;
import org.apache.hadoop.hdfs.DFSUtilClient;
import org.apache.hadoop.hdfs.HAUtil;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenSecretManager;
import org.apache.hadoop.hdfs.security.token.block.ExportedBlockKeys;
import org.apache.hadoop.util.Time;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.namespace.Acting;

/**
 * The keys with which this NameNode signs blocks: a DataNode opens what is signed, and nothing else. They are in
 * memory only; a DataNode gets them when it registers, and each change with a heartbeat.
 */
final class BlockKeys {
    private final BlockTokenSecretManager tokens;
    private volatile int version = 1;

    /** @param conf where NameNodes serve one folder, each signs with numbers of its own, by its place in the list */
    BlockKeys(Configuration conf, String pool) {
        boolean signed = conf.getBoolean(DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_ENABLE_KEY,
                DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_ENABLE_DEFAULT);
        tokens = signed ? manager(conf, pool) : null;
    }

    private static BlockTokenSecretManager manager(Configuration conf, String pool) {
        long interval = TimeUnit.MINUTES.toMillis(conf.getLong(DFSConfigKeys.DFS_BLOCK_ACCESS_KEY_UPDATE_INTERVAL_KEY,
                DFSConfigKeys.DFS_BLOCK_ACCESS_KEY_UPDATE_INTERVAL_DEFAULT));
        long lifetime = TimeUnit.MINUTES.toMillis(conf.getLong(DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_KEY,
                DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_LIFETIME_DEFAULT));
        String service = DFSUtil.getNamenodeNameServiceId(conf);
        int index = 0;
        int count = 1;
        if (HAUtil.isHAEnabled(conf, service)) {
            String[] all = DFSUtilClient.getNameNodeIds(conf, service).toArray(new String[0]);
            count = all.length;
            index = java.util.Arrays.asList(all).indexOf(HAUtil.getNameNodeId(conf, service));
        }
        return new BlockTokenSecretManager(interval, lifetime, index, count, pool,
                conf.get(DFSConfigKeys.DFS_DATA_ENCRYPTION_ALGORITHM_KEY), true);
    }

    /** Makes new keys when it is time for them. */
    void renew() throws IOException {
        if (tokens != null && tokens.updateKeys(Time.now())) {
            version++;
        }
    }

    int version() {
        return version;
    }

    ExportedBlockKeys exported() {
        return tokens == null ? ExportedBlockKeys.DUMMY_KEYS : tokens.exportKeys();
    }

    /** Lets the caller of the request read a block. */
    void signToRead(LocatedBlock block) {
        sign(block, EnumSet.of(AccessMode.READ),
                SignedBlock.toRead(block.getStorageIDs(), block.getBlock().getGenerationStamp()));
    }

    /** Lets the caller write a block as long as that client holds the lease of the file of this generation. */
    void signToWrite(LocatedBlock block, SignedBlock.Writer writer) {
        sign(block, EnumSet.of(AccessMode.WRITE, AccessMode.READ, AccessMode.COPY),
                SignedBlock.toWrite(block.getStorageIDs(), writer));
    }

    private void sign(LocatedBlock block, EnumSet<AccessMode> modes, String[] signed) {
        if (tokens != null) {
            block.setBlockToken(tokens.generateToken(Acting.now().user(), block.getBlock(), modes,
                    block.getStorageTypes(), signed));
        }
    }
}
