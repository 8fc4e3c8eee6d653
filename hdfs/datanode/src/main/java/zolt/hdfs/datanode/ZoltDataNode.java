package zolt.hdfs.datanode;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.apache.hadoop.util.ExitUtil;
import org.apache.hadoop.util.StringUtils;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.SystemCallException;

/** Starts Hadoop's DataNode with the dataset of this package. */
public final class ZoltDataNode {
    private static final Logger LOG = LoggerFactory.getLogger(ZoltDataNode.class);

    private ZoltDataNode() {}

    /** The command: arguments and configuration files are those of Hadoop's own. */
    public static void main(String[] arguments) {
        StringUtils.startupShutdownMessage(DataNode.class, arguments, LOG);
        try {
            SystemCallException.check(NativeFiles.confineToData(), "giving up capabilities");
            Configuration conf = configuration();
            configure(conf);
            DataNode datanode = DataNode.createDataNode(arguments, conf);
            while (datanode != null && datanode.isDatanodeUp()) {
                Thread.sleep(1000);
            }
            LOG.warn("The DataNode serves no NameNode any more");
            ExitUtil.terminate(datanode == null ? 1 : 0);  // other threads would keep the process
        } catch (Throwable e) {
            LOG.error("The DataNode cannot start", e);
            ExitUtil.terminate(1, e);
        }
    }

    /** Hadoop's configuration, and what 'zolt hdfs start' was given for this folder. */
    public static HdfsConfiguration configuration() {
        HdfsConfiguration.init();
        Configuration.addDefaultResource("zolt-site.xml");
        return new HdfsConfiguration();
    }

    /** What the dataset needs a DataNode to be told. */
    public static void configure(Configuration conf) {
        conf.set(DFSConfigKeys.DFS_DATANODE_FSDATASET_FACTORY_KEY, ZoltDatasetFactory.class.getName());
        // There is no list of blocks that a scanner could compare with anything.
        conf.setInt(DFSConfigKeys.DFS_DATANODE_DIRECTORYSCAN_INTERVAL_KEY, -1);
        conf.setInt(DFSConfigKeys.DFS_DATANODE_SCAN_PERIOD_HOURS_KEY, -1);
        conf.setLong(DFSConfigKeys.DFS_BLOCK_SCANNER_VOLUME_BYTES_PER_SECOND, 0);
        // Whoever closes a file finds its bytes on the disk, also where NameNode and DataNode are different machines.
        conf.setIfUnset(DFSConfigKeys.DFS_DATANODE_SYNCONCLOSE_KEY, "true");
    }
}
