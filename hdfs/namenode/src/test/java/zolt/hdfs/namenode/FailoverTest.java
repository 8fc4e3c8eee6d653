package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.net.ServerSocket;
import java.net.URI;
import java.nio.file.Files;
import java.util.Random;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.server.datanode.DataNode;
import org.apache.hadoop.hdfs.server.namenode.ha.ConfiguredFailoverProxyProvider;
import org.apache.hadoop.metrics2.lib.DefaultMetricsSystem;
import org.junit.jupiter.api.Test;
import zolt.hdfs.datanode.ZoltDataNode;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.Root;

/** Two NameNodes on one folder, and Hadoop's client before them: either may end at any time. */
class FailoverTest {
    private static final int ROUNDS = 4;
    private static final int SIZE = 200_000;
    private static final int BLOCK = 1 << 20;
    private static final Path FILE = new Path("/failover/file");

    private static int freePort() throws Exception {
        try (ServerSocket socket = new ServerSocket(0)) {
            return socket.getLocalPort();
        }
    }

    private static Configuration shared() throws Exception {
        Configuration conf = new HdfsConfiguration();
        FileSystem.setDefaultUri(conf, "hdfs://pair");
        conf.set("dfs.nameservices", "pair");
        conf.set("dfs.ha.namenodes.pair", "one,two");
        conf.set("dfs.namenode.rpc-address.pair.one", "127.0.0.1:" + freePort());
        conf.set("dfs.namenode.rpc-address.pair.two", "127.0.0.1:" + freePort());
        conf.set("dfs.client.failover.proxy.provider.pair", ConfiguredFailoverProxyProvider.class.getName());
        conf.set(DFSConfigKeys.DFS_NAMENODE_HTTP_ADDRESS_KEY, "127.0.0.1:0");
        conf.setBoolean(DFSConfigKeys.DFS_BLOCK_ACCESS_TOKEN_ENABLE_KEY, true);
        conf.set("zolt.hdfs.folder", Service.FOLDER);
        return conf;
    }

    private static NameNodeServer start(Configuration shared, String id) throws Exception {
        Configuration conf = new Configuration(shared);
        conf.set("dfs.ha.namenode.id", id);
        NameNodeServer.chooseAmongNameNodes(conf);
        return new NameNodeServer(conf, Root.open(Service.FOLDER));
    }

    private static DataNode startDataNode(Configuration shared) throws Exception {
        Configuration conf = new Configuration(shared);
        ZoltDataNode.configure(conf);
        conf.set(DFSConfigKeys.DFS_DATANODE_DATA_DIR_KEY,
                Files.createTempDirectory(java.nio.file.Path.of(System.getProperty("zolt.test.state")), "ha").toString());
        for (String key : new String[] {DFSConfigKeys.DFS_DATANODE_ADDRESS_KEY,
            DFSConfigKeys.DFS_DATANODE_HTTP_ADDRESS_KEY, DFSConfigKeys.DFS_DATANODE_IPC_ADDRESS_KEY}) {
            conf.set(key, "127.0.0.1:0");
        }
        conf.setInt(DFSConfigKeys.DFS_HEARTBEAT_INTERVAL_KEY, 1);
        return DataNode.createDataNode(new String[0], conf);
    }

    @Test
    void aWriterOutlivesItsNameNodes() throws Exception {
        NativeFiles.confine();
        NativeFiles.umask(0);
        DefaultMetricsSystem.setMiniClusterMode(true);
        Configuration conf = shared();
        String[] ids = {"one", "two"};
        NameNodeServer[] servers = {start(conf, "one"), start(conf, "two")};
        DataNode datanode = startDataNode(conf);
        byte[] bytes = new byte[SIZE];
        new Random(3).nextBytes(bytes);
        try (FileSystem client = FileSystem.newInstance(URI.create("hdfs://pair"), conf)) {
            awaitBoth(datanode);
            try (FSDataOutputStream out = client.create(FILE, true, 4096, (short) 1, BLOCK)) {
                for (int round = 0; round < ROUNDS; round++) {
                    for (int i = 0; i < 4; i++) {
                        out.write(bytes);
                    }
                    out.hflush();
                    int ending = round % 2;
                    servers[ending].close();
                    assertTrue(client.exists(FILE));
                    servers[ending] = start(conf, ids[ending]);
                    awaitBoth(datanode);
                }
            }
            assertEquals(4L * ROUNDS * SIZE, client.getFileStatus(FILE).getLen());
            byte[] last = new byte[SIZE];
            try (org.apache.hadoop.fs.FSDataInputStream in = client.open(FILE)) {
                in.readFully((4L * ROUNDS - 1) * SIZE, last);
            }
            assertArrayEquals(bytes, last);
            client.delete(new Path("/failover"), true);
        } finally {
            datanode.shutdown();
            servers[0].close();
            servers[1].close();
        }
    }

    private static void awaitBoth(DataNode datanode) throws Exception {
        long end = System.currentTimeMillis() + 30_000;
        while (!datanode.isDatanodeFullyStarted()) {
            assertTrue(System.currentTimeMillis() < end, "the DataNode has not registered with both");
            Thread.sleep(50);
        }
        Thread.sleep(2500);  // a heartbeat of each: a NameNode that was away asks for a registration
    }
}
