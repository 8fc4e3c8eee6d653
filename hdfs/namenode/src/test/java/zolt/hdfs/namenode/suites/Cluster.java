package zolt.hdfs.namenode.suites;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import zolt.hdfs.namenode.Service;

/**
 * What Hadoop's suites run against: this service, or with {@code -Dzolt.test.stock=true} Hadoop's own NameNode and
 * DataNode, which shows what a suite says of those.
 */
final class Cluster {
    private static final boolean STOCK = Boolean.getBoolean("zolt.test.stock");

    private static MiniDFSCluster stock;

    private Cluster() {}

    static synchronized Configuration conf() {
        try {
            if (!STOCK) {
                return Service.shared().conf();
            }
            if (stock == null) {
                Configuration conf = new HdfsConfiguration();
                conf.setBoolean("fs.hdfs.impl.disable.cache", true);
                conf.setLong(DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_KEY, 1);
                stock = new MiniDFSCluster.Builder(conf).numDataNodes(1).build();
                stock.waitActive();
            }
            return new Configuration(stock.getConfiguration(0));
        } catch (Exception e) {
            throw new IllegalStateException(e);
        }
    }

    static FileSystem client(Configuration suites) throws IOException {
        Configuration conf = conf();
        String mask = suites.get(FsPermission.UMASK_LABEL);
        if (mask != null) {
            conf.set(FsPermission.UMASK_LABEL, mask);
        }
        return FileSystem.newInstance(FileSystem.getDefaultUri(conf), conf);
    }
}
