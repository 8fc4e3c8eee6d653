package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.net.BindException;
import java.net.InetSocketAddress;
import java.net.ServerSocket;
import java.net.URI;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.hdfs.server.namenode.ha.ConfiguredFailoverProxyProvider;
import zolt.hdfs.datanode.ZoltDataNode;

/**
 * Two NameNodes, each with a DataNode, processes of their own that may be killed. Each pair serves the folder by a mount of
 * its own.
 */
final class Pair implements AutoCloseable {
    static final String[] IDS = {"one", "two"};
    /** What the DataNodes say that their hosts are. */
    static final List<String> HOSTS = List.of("node0", "node1");
    static final long WAIT_SECONDS = 180;

    private final java.nio.file.Path state;
    private final Map<String, String> settings;
    private final Map<String, String> addresses = new TreeMap<>();
    private final Map<String, Process> servers = new TreeMap<>();
    private final List<Process> datanodes = new ArrayList<>();

    /**
     * @param state a folder for what the processes keep
     * @param settings other than the usual ones
     */
    Pair(java.nio.file.Path state, Map<String, String> settings) throws Exception {
        this.state = state;
        this.settings = settings;
        addresses.put(IDS[0], freeHost() + ":" + HdfsClientConfigKeys.DFS_NAMENODE_RPC_PORT_DEFAULT);
        addresses.put(IDS[1], "127.0.0.1:" + freePort());
        boolean started = false;
        try {
            for (String id : IDS) {
                start(id);
            }
            for (String id : IDS) {
                datanodes.add(java("datanode-" + id, ZoltDataNode.class.getName(), id));
            }
            awaitDataNodes();
            started = true;
        } finally {
            if (!started) {
                close();
            }
        }
    }

    private static String folder(String id) {
        return id.equals(IDS[0]) ? Service.FOLDER : Service.OTHER;
    }

    Process server(String id) {
        return servers.get(id);
    }

    /** Ends a NameNode in the midst of its work. */
    void kill(String id) throws Exception {
        servers.get(id).destroyForcibly().waitFor();
    }

    @Override
    public void close() {
        servers.values().forEach(Process::destroyForcibly);
        datanodes.forEach(Process::destroyForcibly);
    }

    /** An address of this machine alone at which a NameNode's usual port is free. */
    private String freeHost() throws IOException {
        for (int last = 1; last < 255; last++) {
            String host = "127.1.1." + last;
            try (ServerSocket socket = new ServerSocket()) {
                socket.bind(new InetSocketAddress(host, HdfsClientConfigKeys.DFS_NAMENODE_RPC_PORT_DEFAULT));
                return host;
            } catch (BindException e) {
                continue;
            }
        }
        throw new IOException("the usual port of a NameNode is taken at all addresses of this machine");
    }

    private static int freePort() throws IOException {
        try (ServerSocket socket = new ServerSocket(0)) {
            return socket.getLocalPort();
        }
    }

    static URI uri() {
        return URI.create("hdfs://pair");
    }

    /** That of one NameNode alone. */
    URI uri(String id) {
        return URI.create("hdfs://" + addresses.get(id));
    }

    private Configuration shared() {
        Configuration conf = new Configuration(false);
        FileSystem.setDefaultUri(conf, uri());
        conf.set("dfs.nameservices", "pair");
        conf.set("dfs.ha.namenodes.pair", String.join(",", IDS));
        addresses.forEach((id, address) -> {
            conf.set("dfs.namenode.rpc-address.pair." + id, address);
            conf.set("dfs.namenode.http-address.pair." + id, "127.0.0.1:0");
        });
        conf.set("dfs.client.failover.proxy.provider.pair", ConfiguredFailoverProxyProvider.class.getName());
        conf.setBoolean("dfs.block.access.token.enable", true);
        conf.setLong("dfs.namenode.fs-limits.min-block-size", 1);
        for (String key : new String[] {"dfs.datanode.address", "dfs.datanode.ipc.address", "dfs.datanode.http.address"}) {
            conf.set(key, "127.0.0.1:0");
        }
        conf.setInt("dfs.heartbeat.interval", 1);
        settings.forEach(conf::set);
        return conf;
    }

    Configuration client() {
        Configuration conf = new HdfsConfiguration();
        conf.addResource(shared());
        conf.setBoolean("fs.hdfs.impl.disable.cache", true);
        conf.setInt("dfs.client.failover.sleep.base.millis", 50);
        conf.setInt("dfs.client.failover.sleep.max.millis", 1000);
        conf.setInt("ipc.client.connect.max.retries", 1);
        conf.setInt("ipc.client.connect.retry.interval", 100);
        return conf;
    }

    private Process java(String name, String main, String id, String... arguments) throws IOException {
        java.nio.file.Path conf = state.resolve("conf-" + id);
        if (!Files.exists(conf)) {
            Files.createDirectory(conf);
            Configuration site = shared();
            site.set("dfs.ha.namenode.id", id);
            site.set("zolt.hdfs.folder", folder(id));
            site.set("dfs.datanode.data.dir", state.resolve("data-" + id).toString());
            site.set("dfs.datanode.hostname", HOSTS.get(List.of(IDS).indexOf(id)));
            try (var out = Files.newOutputStream(conf.resolve("hdfs-site.xml"))) {
                site.writeXml(out);
            }
        }
        List<String> command = new ArrayList<>(List.of(System.getProperty("java.home") + "/bin/java", "-Xmx256m",
                "-Xshare:auto",
                "-Dfile.encoding=UTF-8", "-Djava.net.preferIPv4Stack=true",
                "-Dzolt.library=" + System.getProperty("zolt.library"),
                "-Dzolt.hdfs.library=" + System.getProperty("zolt.hdfs.library"),
                "-cp", conf + ":" + System.getProperty("java.class.path"), main));
        command.addAll(List.of(arguments));
        File log = state.resolve(name + ".log").toFile();
        return new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(ProcessBuilder.Redirect.appendTo(log))
                .start();
    }

    /** Starts a NameNode, and waits until it answers. */
    void start(String id) throws Exception {
        Process process = java(id, NameNodeMain.class.getName(), id, folder(id));
        servers.put(id, process);
        Configuration conf = client();
        conf.setInt("ipc.client.connect.max.retries", 0);
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(WAIT_SECONDS);
        while (!answers(conf, id)) {
            assertTrue(process.isAlive() && System.nanoTime() < end, () -> id + " does not start: " + log(id));
            Thread.sleep(50);
        }
    }

    String log(String name) {
        try {
            return Files.readString(state.resolve(name + ".log"));
        } catch (IOException e) {
            return e.toString();
        }
    }

    private boolean answers(Configuration conf, String id) {
        try (FileSystem files = FileSystem.newInstance(uri(id), conf)) {
            return files.exists(new Path("/"));
        } catch (IOException e) {
            return false;
        }
    }

    private void awaitDataNodes() throws Exception {
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(WAIT_SECONDS);
        for (String id : IDS) {
            try (DistributedFileSystem files = (DistributedFileSystem) FileSystem.newInstance(
                    uri(id), client())) {
                while (files.getDataNodeStats().length < IDS.length) {
                    assertTrue(System.nanoTime() < end, () -> "no DataNodes: " + log("datanode-one") + log("datanode-two"));
                    Thread.sleep(50);
                }
            }
        }
    }
}
