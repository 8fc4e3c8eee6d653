package zolt.hdfs.namenode.suites;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HDFSPolicyProvider;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import org.apache.hadoop.security.authorize.PolicyProvider;
import zolt.hdfs.namenode.Service;

/**
 * What Hadoop's suites run against: this service, or with {@code -Dzolt.test.stock=true} Hadoop's own NameNode and
 * DataNode, which shows what a suite says of those.
 */
final class Cluster {
    static final boolean STOCK = Boolean.getBoolean("zolt.test.stock");

    private static MiniDFSCluster stock;
    private static MiniDFSCluster stockForCommands;

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

    /** For Hadoop's tests of its commands, which begin with an empty root of the group "supergroup". */
    static Configuration commandsConf() throws Exception {
        return STOCK ? stockForCommands() : ownForCommands();
    }

    static Configuration ownForCommands() throws Exception {
        return withOneCopy(Service.forCommands().conf());
    }

    static synchronized Configuration stockForCommands() throws Exception {
        if (stockForCommands == null) {
            Configuration conf = new HdfsConfiguration();
            conf.setBoolean(CommonConfigurationKeys.HADOOP_SECURITY_AUTHORIZATION, true);
            conf.setClass(PolicyProvider.POLICY_PROVIDER_CONFIG, HDFSPolicyProvider.class, PolicyProvider.class);
            stockForCommands = new MiniDFSCluster.Builder(conf).numDataNodes(Service.HOSTS.size())
                    .storagesPerDatanode(1)
                    .racks(Service.RACKS.toArray(new String[0])).hosts(Service.HOSTS.toArray(new String[0])).build();
            stockForCommands.waitClusterUp();
        }
        return withOneCopy(new Configuration(stockForCommands.getConfiguration(0)));
    }

    private static Configuration withOneCopy(Configuration conf) {
        conf.setInt(DFSConfigKeys.DFS_REPLICATION_KEY, 1);
        return conf;
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
