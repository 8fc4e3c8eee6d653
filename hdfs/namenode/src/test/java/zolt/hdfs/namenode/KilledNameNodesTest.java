package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.net.BindException;
import java.net.InetSocketAddress;
import java.net.ServerSocket;
import java.net.URI;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;
import java.util.TreeMap;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.hdfs.server.namenode.ha.ConfiguredFailoverProxyProvider;
import org.apache.hadoop.net.NetUtils;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.hdfs.bench.Throughput;
import zolt.hdfs.datanode.ZoltDataNode;

/**
 * Two NameNodes on one folder, processes of their own, of which now one and now the other is killed in the midst of
 * its work: nothing that was acknowledged is lost, and no call fails. -Dzolt.test.kills=100 says how often.
 */
class KilledNameNodesTest {
    private static final int KILLS = Integer.getInteger("zolt.test.kills", 4);
    private static final int CALLERS = 4;
    private static final int MOST_FILES = 50;
    private static final int MOST_BYTES = 60_000;
    private static final int BLOCK = 1 << 20;
    private static final long WAIT_SECONDS = 180;
    private static final Path BASE = new Path("/killed");
    private static final List<String> OPERATIONS = List.of("mkdirs", "create", "open", "fileStatus", "rename", "delete");
    private static final int OPERATED = 200;
    private static final String[] IDS = {"one", "two"};

    @TempDir
    private java.nio.file.Path state;

    private final Random random = new Random(KILLS);
    private final Map<String, String> addresses = new TreeMap<>();
    private final Map<String, Process> servers = new TreeMap<>();
    private final AtomicBoolean ending = new AtomicBoolean();

    @Test
    void nothingThatWasAcknowledgedIsLost() throws Exception {
        addresses.put(IDS[0], freeHost() + ":" + HdfsClientConfigKeys.DFS_NAMENODE_RPC_PORT_DEFAULT);
        addresses.put(IDS[1], "127.0.0.1:" + freePort());
        ExecutorService threads = Executors.newFixedThreadPool(CALLERS + 2);
        Process datanode = null;
        try {
            for (String id : IDS) {
                start(id);
                assertAllJarsAreOpen(servers.get(id));
            }
            datanode = java("datanode", ZoltDataNode.class.getName(), IDS[0]);
            awaitDataNode();
            FileSystem.newInstance(uri(), client()).delete(BASE, true);
            List<Future<Integer>> calls = new ArrayList<>();
            for (int caller = 0; caller < CALLERS; caller++) {
                int number = caller;
                calls.add(threads.submit(() -> callUntilTheEnd(number)));
            }
            Future<Integer> writer = threads.submit(this::writeUntilTheEnd);
            Future<Integer> benchmark = threads.submit(this::benchmarkUntilTheEnd);
            for (int kill = 0; kill < KILLS; kill++) {
                Thread.sleep(500 + random.nextInt(1500));
                String victim = IDS[random.nextInt(IDS.length)];
                servers.get(victim).destroyForcibly().waitFor();
                start(victim);
            }
            ending.set(true);
            int done = 0;
            for (Future<Integer> each : calls) {
                done += each.get(WAIT_SECONDS, TimeUnit.SECONDS);
            }
            System.out.println(KILLS + " kills: " + done + " calls, " + writer.get(WAIT_SECONDS, TimeUnit.SECONDS)
                    + " files written, " + benchmark.get(WAIT_SECONDS, TimeUnit.SECONDS) + " runs of the benchmark");
            FileSystem.newInstance(uri(), client()).delete(BASE, true);
        } finally {
            ending.set(true);
            threads.shutdownNow();
            servers.values().forEach(Process::destroyForcibly);
            if (datanode != null) {
                datanode.destroyForcibly();
            }
        }
    }

    /** Calls of names, each of which is to succeed, and what the folder has to show for them in the end. */
    private int callUntilTheEnd(int number) throws Exception {
        Random mine = new Random(number);
        Path own = new Path(BASE, "caller" + number);
        List<Path> there = new ArrayList<>();
        int calls = 0;
        try (FileSystem files = FileSystem.newInstance(uri(), client())) {
            assertTrue(files.mkdirs(own));
            for (; !ending.get(); calls++) {
                int kind = mine.nextInt(5);
                if (there.isEmpty() || kind == 0 && there.size() < MOST_FILES) {
                    Path made = new Path(own, "file" + calls);
                    files.create(made, false).close();
                    there.add(made);
                } else if (kind == 1) {
                    Path old = there.remove(mine.nextInt(there.size()));
                    Path renamed = new Path(own, "renamed" + calls);
                    assertTrue(files.rename(old, renamed), () -> "cannot rename " + old);
                    there.add(renamed);
                } else if (kind == 2) {
                    Path old = there.remove(mine.nextInt(there.size()));
                    assertTrue(files.delete(old, false), () -> "cannot delete " + old);
                } else if (kind == 3) {
                    assertTrue(files.mkdirs(new Path(own, "directories/" + calls % 100)));
                } else {
                    assertEquals(0, files.getFileStatus(there.get(mine.nextInt(there.size()))).getLen());
                }
            }
            List<String> listed = new ArrayList<>();
            for (FileStatus each : files.listStatus(own)) {
                if (each.isFile()) {
                    listed.add(each.getPath().getName());
                }
            }
            assertEquals(there.stream().map(Path::getName).sorted().toList(), listed, "what was acknowledged");
        }
        return calls;
    }

    /** Files of several blocks; what was flushed is read at once and by another client, what was closed in the end too. */
    private int writeUntilTheEnd() throws Exception {
        Random mine = new Random(7);
        int written = 0;
        try (FileSystem files = FileSystem.newInstance(uri(), client());
                FileSystem reader = FileSystem.newInstance(uri(), client())) {
            Path path = new Path(BASE, "written");
            for (; !ending.get(); written++) {
                ByteArrayOutputStream expected = new ByteArrayOutputStream();
                try (FSDataOutputStream out = files.create(path, true, 4096, (short) 1, BLOCK)) {
                    for (int i = 0; i < 60 && !ending.get(); i++) {
                        byte[] bytes = new byte[1 + mine.nextInt(MOST_BYTES)];
                        mine.nextBytes(bytes);
                        out.write(bytes);
                        expected.write(bytes);
                        if (i % 5 == 0) {
                            out.hflush();
                            assertBegins(expected.toByteArray(), reader, path);
                        }
                        Thread.sleep(20);
                    }
                }
                try (InputStream in = reader.open(path)) {
                    assertArrayEquals(expected.toByteArray(), in.readAllBytes(), "the closed file");
                }
            }
        }
        return written;
    }

    /**
     * Hadoop's own benchmark, one operation after the other: no call of it fails, and what it has made is there. It asks
     * its first question of the host that has the name of both, which stands for one of them; where that one is just
     * dead, the run begins again.
     */
    private int benchmarkUntilTheEnd() throws Exception {
        NetUtils.addStaticResolution(uri().getHost(), addresses.get(IDS[0]).replaceAll(":.*", ""));
        int runs = 0;
        try (FileSystem files = FileSystem.newInstance(uri(), client())) {
            for (int i = 0; !ending.get(); i++) {
                String operation = OPERATIONS.get(i % OPERATIONS.size());
                Path base = new Path(BASE, "benchmark" + i);
                List<String> arguments = List.of("-op", operation, "-threads", Integer.toString(CALLERS),
                        operation.equals("mkdirs") ? "-dirs" : "-files", Integer.toString(OPERATED), "-nonSuperUser",
                        "-baseDirName", base.toString(), "-keepResults");
                try {
                    new Throughput().run(client(), UserGroupInformation.getCurrentUser(), arguments);
                } catch (IOException e) {
                    assertTrue(e.getMessage().matches("(?s).*\\b" + uri().getHost() + "\"?:[0-9].*"), e::toString);
                    continue;
                }
                runs++;
                ContentSummary made = files.getContentSummary(base);
                assertEquals(operation.equals("mkdirs") || operation.equals("delete") ? 0 : OPERATED, made.getFileCount(),
                        "after " + operation);
                assertTrue(files.delete(base, true));
            }
        }
        assertTrue(runs > 0, "the benchmark has never run to its end");
        return runs;
    }

    private static void assertBegins(byte[] flushed, FileSystem reader, Path path) throws IOException {
        try (InputStream in = reader.open(path)) {
            assertArrayEquals(flushed, in.readNBytes(flushed.length), "what was flushed");
        }
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

    private static URI uri() {
        return URI.create("hdfs://pair");
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
        conf.set("zolt.hdfs.folder", Service.FOLDER);
        conf.setBoolean("dfs.block.access.token.enable", true);
        conf.setLong("dfs.namenode.fs-limits.min-block-size", 1);
        conf.set("dfs.datanode.data.dir", state.resolve("data").toString());
        for (String key : new String[] {"dfs.datanode.address", "dfs.datanode.ipc.address", "dfs.datanode.http.address"}) {
            conf.set(key, "127.0.0.1:0");
        }
        conf.setInt("dfs.heartbeat.interval", 1);
        return conf;
    }

    private Configuration client() {
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
    private void start(String id) throws Exception {
        Process process = java(id, NameNodeMain.class.getName(), id, Service.FOLDER);
        servers.put(id, process);
        Configuration conf = client();
        conf.setInt("ipc.client.connect.max.retries", 0);
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(WAIT_SECONDS);
        while (!answers(conf, id)) {
            assertTrue(process.isAlive() && System.nanoTime() < end, () -> id + " does not start: " + log(id));
            Thread.sleep(50);
        }
    }

    /** Callers may not be allowed to read them, and classes are loaded in their requests. */
    private static void assertAllJarsAreOpen(Process process) throws IOException {
        // Another process may look, which has all capabilities again.
        Process look = new ProcessBuilder("find", "/proc/" + process.pid() + "/fd", "-printf", "%l\\n").start();
        Set<String> open = new HashSet<>(List.of(new String(look.getInputStream().readAllBytes()).split("\n")));
        for (String part : System.getProperty("java.class.path").split(":")) {
            assertTrue(!part.endsWith(".jar") || open.contains(java.nio.file.Path.of(part).toRealPath().toString()), part);
        }
    }

    private String log(String name) {
        try {
            return Files.readString(state.resolve(name + ".log"));
        } catch (IOException e) {
            return e.toString();
        }
    }

    private boolean answers(Configuration conf, String id) {
        try (FileSystem files = FileSystem.newInstance(URI.create("hdfs://" + addresses.get(id)), conf)) {
            return files.exists(new Path("/"));
        } catch (IOException e) {
            return false;
        }
    }

    private void awaitDataNode() throws Exception {
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(WAIT_SECONDS);
        for (String id : IDS) {
            try (DistributedFileSystem files = (DistributedFileSystem) FileSystem.newInstance(
                    URI.create("hdfs://" + addresses.get(id)), client())) {
                while (files.getDataNodeStats().length == 0) {
                    assertTrue(System.nanoTime() < end, () -> "no DataNode: " + log("datanode"));
                    Thread.sleep(50);
                }
            }
        }
    }
}
