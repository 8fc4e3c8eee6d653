package zolt.hdfs.datanode;

import java.io.File;
import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.server.datanode.DataNode;

/** A folder, a NameNode of the tests, DataNodes in this process or in others, and a client of Hadoop's own. */
final class TestCluster implements AutoCloseable {
    private static final long PATIENCE_MILLIS = 60_000;

    final FakeNameNode nameNode;
    final DistributedFileSystem client;
    private final Path work;
    private final List<DataNode> datanodes = new ArrayList<>();
    private final List<Process> processes = new ArrayList<>();
    private int count;

    TestCluster(Path folder, boolean withTokens) throws IOException {
        work = Files.createTempDirectory("cluster");
        nameNode = new FakeNameNode(folder, withTokens);
        client = newClient();
    }

    /** With a folder of its own and one DataNode in this process. */
    static TestCluster ofOne() throws Exception {
        Path folder = Files.createTempDirectory("exported");
        TestCluster cluster = new TestCluster(folder, true);
        cluster.start();
        return cluster;
    }

    Configuration conf() {
        Configuration conf = new HdfsConfiguration();
        conf.set("fs.defaultFS", "hdfs://127.0.0.1:" + nameNode.port());
        conf.setBoolean("fs.hdfs.impl.disable.cache", true);
        conf.setInt("dfs.client.socket-timeout", 20_000);
        conf.setInt("dfs.client.retry.window.base", 50);
        return conf;
    }

    /** A client with some settings of its own: keys and values. */
    DistributedFileSystem newClient(String... settings) throws IOException {
        Configuration conf = conf();
        for (int i = 0; i < settings.length; i += 2) {
            conf.set(settings[i], settings[i + 1]);
        }
        DistributedFileSystem fs = new DistributedFileSystem();
        fs.initialize(URI.create("hdfs://127.0.0.1:" + nameNode.port()), conf);
        return fs;
    }

    DataNode start() throws Exception {
        Configuration conf = conf();
        settings().forEach(conf::set);
        ZoltDataNode.configure(conf);
        DataNode datanode = DataNode.createDataNode(new String[0], conf);
        datanodes.add(datanode);
        awaitDataNodes(count);
        return datanode;
    }

    /** A DataNode in a process of its own, which can be killed. */
    Process startApart() throws Exception {
        List<String> command = new ArrayList<>(List.of(System.getProperty("java.home") + "/bin/java", "-Xmx256m",
                "-Dzolt.hdfs.library=" + System.getProperty("zolt.hdfs.library"), "-cp",
                System.getProperty("java.class.path"), ZoltDataNode.class.getName()));
        settings().forEach((key, value) -> command.addAll(List.of("-D", key + "=" + value)));
        command.addAll(List.of("-D", "fs.defaultFS=hdfs://127.0.0.1:" + nameNode.port()));
        File log = work.resolve("datanode" + count + ".log").toFile();
        Process process = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(log).start();
        processes.add(process);
        awaitDataNodes(count);
        return process;
    }

    Path write(String name, byte[] bytes) throws IOException {
        try (var out = client.create(path(name), true)) {
            out.write(bytes);
        }
        return nameNode.folder.resolve(name);
    }

    byte[] read(String name) throws IOException {
        try (var in = client.open(path(name))) {
            return in.readAllBytes();
        }
    }

    static org.apache.hadoop.fs.Path path(String name) {
        return new org.apache.hadoop.fs.Path("/" + name);
    }

    @Override
    public void close() throws IOException {
        client.close();
        datanodes.forEach(DataNode::shutdown);
        processes.forEach(Process::destroyForcibly);
        nameNode.close();
        for (Path folder : List.of(work, nameNode.folder)) {
            try (Stream<Path> all = Files.walk(folder)) {
                all.sorted(Comparator.reverseOrder()).map(Path::toFile).forEach(File::delete);
            }
        }
    }

    private Map<String, String> settings() {
        count++;
        return Map.of(ZoltDatasetFactory.FOLDER, nameNode.folder.toString(),
                "dfs.datanode.data.dir", work.resolve("datanode" + count).toString(),
                "dfs.datanode.address", "127.0.0.1:0", "dfs.datanode.ipc.address", "127.0.0.1:0",
                "dfs.datanode.http.address", "127.0.0.1:0", "dfs.datanode.hostname", "127.0.0.1",
                "dfs.heartbeat.interval", "1");
    }

    private void awaitDataNodes(int wanted) throws Exception {
        long until = System.currentTimeMillis() + PATIENCE_MILLIS;
        while (nameNode.datanodes() < wanted) {
            if (System.currentTimeMillis() > until) {
                throw new IOException("The DataNode does not register; see " + work);
            }
            Thread.sleep(20);
        }
    }
}
