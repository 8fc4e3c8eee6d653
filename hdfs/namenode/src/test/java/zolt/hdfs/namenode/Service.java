package zolt.hdfs.namenode;

import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.List;
import java.util.function.Consumer;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.apache.hadoop.metrics2.lib.DefaultMetricsSystem;
import org.apache.hadoop.net.DNSToSwitchMapping;
import org.apache.hadoop.net.StaticMapping;
import org.apache.hadoop.security.UserGroupInformation;
import zolt.hdfs.datanode.ZoltDataNode;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.NodeHosts;
import zolt.hdfs.namespace.Root;
import zolt.hdfs.namespace.SystemCallException;

/** A NameNode and DataNodes in this process, on the folder of the tests. */
public final class Service implements AutoCloseable {
    static final String FOLDER = System.getProperty("zolt.test.folder");
    /** The same folder by another mount. */
    static final String OTHER = System.getProperty("zolt.test.other");
    static final String COMMANDS = System.getProperty("zolt.test.commands");
    private static final Path STATE = Path.of(System.getProperty("zolt.test.state"));
    private static final long WAIT_MILLIS = 30_000;

    /** What Hadoop's tests of its commands are told. */
    public static final List<String> RACKS = List.of("/rack1", "/rack1", "/rack2", "/rack2", "/rack2", "/rack3", "/rack4",
            "/rack4");
    public static final List<String> HOSTS = List.of("host1", "host2", "host3", "host4", "host5", "host6", "host7",
            "host8");

    private static Service shared;
    private static Service commands;

    private final String folder;
    private final Configuration conf;
    private NameNodeServer namenode;
    private final List<DataNode> datanodes = new ArrayList<>();

    private Service(String folder) {
        this.folder = folder;
        conf = configuration(folder);
    }

    /** One for all tests that do not end it. */
    public static synchronized Service shared() throws Exception {
        if (shared == null) {
            shared = start();
        }
        return shared;
    }

    /** One on a folder of its own, for Hadoop's tests of its commands. */
    public static synchronized Service forCommands() throws Exception {
        if (commands == null) {
            commands = start(COMMANDS, conf -> {
                conf.setBoolean(CommonConfigurationKeys.HADOOP_SECURITY_AUTHORIZATION, true);
                conf.setClass(DFSConfigKeys.NET_TOPOLOGY_NODE_SWITCH_MAPPING_IMPL_KEY, StaticMapping.class,
                        DNSToSwitchMapping.class);
                conf.set(NodeHosts.KEY, IntStream.range(0, HOSTS.size()).mapToObj(node -> node + "=" + HOSTS.get(node))
                        .collect(Collectors.joining(",")));
                StaticMapping.resetMap();
                for (int i = 0; i < RACKS.size(); i++) {
                    StaticMapping.addNodeToRack(HOSTS.get(i), RACKS.get(i));
                }
            }, HOSTS);
        }
        return commands;
    }

    static Service start() throws Exception {
        return start(FOLDER);
    }

    static Service start(String folder) throws Exception {
        return start(folder, conf -> { });
    }

    static Service startWithoutDataNodes() throws Exception {
        return startWithoutDataNodes(conf -> { });
    }

    static Service startWithoutDataNodes(Consumer<Configuration> settings) throws Exception {
        return start(FOLDER, settings, List.of());
    }

    /** With other settings than usual. */
    static Service start(Consumer<Configuration> settings) throws Exception {
        return start(FOLDER, settings);
    }

    private static Service start(String folder, Consumer<Configuration> settings) throws Exception {
        return start(folder, settings, List.of(""));
    }

    /** @param hosts of the DataNodes; empty for this one */
    private static Service start(String folder, Consumer<Configuration> settings, List<String> hosts) throws Exception {
        SystemCallException.check(NativeFiles.confine(), "capabilities");
        NativeFiles.umask(0);
        DefaultMetricsSystem.setMiniClusterMode(true);  // more than one in a process
        Service service = new Service(folder);
        settings.accept(service.conf);
        service.startNameNode("127.0.0.1:0");
        for (String host : hosts) {
            service.startDataNode(host);
        }
        return service;
    }

    private static Configuration configuration(String folder) {
        Configuration conf = new HdfsConfiguration();
        conf.setBoolean(DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_ENABLE_KEY, true);
        conf.setInt(DFSConfigKeys.DFS_LIST_LIMIT, 10);
        conf.setLong(DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_KEY, 1);
        conf.setBoolean("fs.hdfs.impl.disable.cache", true);
        conf.set("zolt.hdfs.folder", folder);
        conf.set(DFSConfigKeys.DFS_NAMENODE_HTTP_ADDRESS_KEY, "127.0.0.1:0");
        return conf;
    }

    void startNameNode(String address) throws IOException {
        FileSystem.setDefaultUri(conf, "hdfs://" + address);
        namenode = new NameNodeServer(conf, Root.open(folder));
        FileSystem.setDefaultUri(conf, "hdfs://127.0.0.1:" + namenode.address().getPort());
        conf.set(DFSConfigKeys.DFS_NAMENODE_RPC_ADDRESS_KEY, "127.0.0.1:" + namenode.address().getPort());
        conf.set(DFSConfigKeys.DFS_NAMENODE_HTTP_ADDRESS_KEY, "127.0.0.1:" + namenode.pagePort());
    }

    private void startDataNode(String host) throws Exception {
        Configuration own = new Configuration(conf);
        if (!host.isEmpty()) {
            own.set(DFSConfigKeys.DFS_DATANODE_HOST_NAME_KEY, host);
        }
        ZoltDataNode.configure(own);
        own.set(DFSConfigKeys.DFS_DATANODE_DATA_DIR_KEY, Files.createTempDirectory(STATE, "data").toString());
        for (String key : new String[] {DFSConfigKeys.DFS_DATANODE_ADDRESS_KEY,
            DFSConfigKeys.DFS_DATANODE_HTTP_ADDRESS_KEY, DFSConfigKeys.DFS_DATANODE_IPC_ADDRESS_KEY}) {
            own.set(key, "127.0.0.1:0");
        }
        DataNode datanode = DataNode.createDataNode(new String[0], own);
        long end = System.currentTimeMillis() + WAIT_MILLIS;
        while (!datanode.isDatanodeFullyStarted()) {
            if (System.currentTimeMillis() > end) {
                throw new IllegalStateException("the DataNode does not register");
            }
            Thread.sleep(20);
        }
        datanodes.add(datanode);
    }

    /** The NameNode ends as if it had been killed, and another begins at the same place. */
    void restartNameNode() throws IOException {
        String address = "127.0.0.1:" + namenode.address().getPort();
        namenode.close();
        startNameNode(address);
    }

    int pagePort() {
        return namenode.pagePort();
    }

    public Configuration conf() {
        return new Configuration(conf);
    }

    URI uri() {
        return FileSystem.getDefaultUri(conf);
    }

    /** A client of its own, of the service's user. */
    FileSystem client() throws IOException {
        return FileSystem.newInstance(uri(), conf);
    }

    /** A client of another user. */
    FileSystem client(String user) throws Exception {
        return UserGroupInformation.createRemoteUser(user)
                .doAs((PrivilegedExceptionAction<FileSystem>) this::client);
    }

    @Override
    public void close() {
        datanodes.forEach(DataNode::shutdown);
        namenode.close();
    }
}
