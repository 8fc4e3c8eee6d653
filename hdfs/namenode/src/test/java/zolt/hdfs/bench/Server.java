package zolt.hdfs.bench;

import java.io.File;
import java.io.IOException;
import java.net.ServerSocket;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.hdfs.HdfsConfiguration;

/** A NameNode and a DataNode, each a process of its own: Hadoop's, or this project's on the folder. */
final class Server implements AutoCloseable {
    private static final Path WORK = Path.of(System.getProperty("bench.work"));
    private static final String BUILD = System.getProperty("bench.build");
    private static final long WAIT_SECONDS = 120;
    private static final double TICKS_PER_SECOND = 100;
    private static final int UTIME = 13;

    private final String name;
    private final Path home;
    private final String nameNodeClass;
    private final String dataNodeClass;
    private final Map<String, String> keys = new TreeMap<>();
    private Process nameNode;
    private Process dataNode;
    private double startSeconds;

    private Server(String name, String nameNodeClass, String dataNodeClass) throws IOException {
        this.name = name;
        this.nameNodeClass = nameNodeClass;
        this.dataNodeClass = dataNodeClass;
        home = Files.createDirectory(WORK.resolve(name));
        Files.createDirectory(home.resolve("data"));
        for (String key : new String[] {"dfs.namenode.rpc-address", "dfs.namenode.http-address",
            "dfs.datanode.address", "dfs.datanode.ipc.address", "dfs.datanode.http.address"}) {
            keys.put(key, "127.0.0.1:" + freePort());
        }
        keys.put("dfs.datanode.data.dir", home.resolve("data").toString());
        keys.put("dfs.namenode.name.dir", home.resolve("names").toString());
        keys.put("dfs.replication", "1");
    }

    static Server stock() throws Exception {
        Server server = new Server("stock", "org.apache.hadoop.hdfs.server.namenode.NameNode",
                "org.apache.hadoop.hdfs.server.datanode.DataNode");
        server.configure();
        server.java("format", server.nameNodeClass, "-format", "-force", "-nonInteractive").waitFor();
        return server;
    }

    static Server own() throws Exception {
        Server server = new Server("zolt", "zolt.hdfs.namenode.NameNodeMain", "zolt.hdfs.datanode.ZoltDataNode");
        server.keys.put("zolt.hdfs.folder", WORK.resolve("folder").toString());
        server.configure();
        return server;
    }

    private static int freePort() throws IOException {
        try (ServerSocket socket = new ServerSocket(0)) {
            return socket.getLocalPort();
        }
    }

    private void configure() throws IOException {
        Path conf = Files.createDirectory(home.resolve("conf"));
        Configuration site = new Configuration(false);
        keys.forEach(site::set);
        try (var out = Files.newOutputStream(conf.resolve("hdfs-site.xml"))) {
            site.writeXml(out);
        }
        Configuration core = new Configuration(false);
        core.set("fs.defaultFS", uri().toString());
        try (var out = Files.newOutputStream(conf.resolve("core-site.xml"))) {
            core.writeXml(out);
        }
        // Hadoop's would log every call; what is compared is the work.
        Files.writeString(conf.resolve("log4j.properties"), "log4j.rootLogger=WARN,stderr\n"
                + "log4j.appender.stderr=org.apache.log4j.ConsoleAppender\nlog4j.appender.stderr.target=System.err\n"
                + "log4j.appender.stderr.layout=org.apache.log4j.PatternLayout\n"
                + "log4j.appender.stderr.layout.ConversionPattern=%d{ISO8601} %p %c{1}: %m%n\n");
    }

    private Process java(String log, String main, String... arguments) throws IOException {
        List<String> command = new ArrayList<>(List.of(System.getProperty("java.home") + "/bin/java", "-Xmx1g",
                "-Dfile.encoding=UTF-8", "-Djava.net.preferIPv4Stack=true",
                "-Dzolt.library=" + BUILD + "/lib/libzolthadoop.so.1.0.0",
                "-Dzolt.hdfs.library=" + BUILD + "/lib/libzolthdfs.so"));
        String more = System.getenv("BENCH_JAVA_OPTS");
        if (more != null) {
            command.addAll(List.of(more.split(" ")));
        }
        command.addAll(List.of("-cp", home.resolve("conf") + ":" + Files.readString(Path.of(BUILD, "hdfs/classpath")).trim(),
                main));
        command.addAll(List.of(arguments));
        File file = home.resolve(log + ".log").toFile();
        return new ProcessBuilder(command).redirectErrorStream(true)
                .redirectOutput(ProcessBuilder.Redirect.appendTo(file)).start();
    }

    String name() {
        return name;
    }

    URI uri() {
        return URI.create("hdfs://" + keys.get("dfs.namenode.rpc-address"));
    }

    Configuration conf() {
        Configuration conf = new HdfsConfiguration();
        FileSystem.setDefaultUri(conf, uri());
        conf.set("dfs.replication", "1");
        conf.setBoolean("fs.hdfs.impl.disable.cache", true);
        return conf;
    }

    /** Starts the NameNode; it counts as started when it answers. */
    void start() throws Exception {
        long begun = System.nanoTime();
        nameNode = nameNodeClass.startsWith("zolt") ? java("namenode", nameNodeClass, keys.get("zolt.hdfs.folder"))
                : java("namenode", nameNodeClass);
        Configuration conf = conf();
        conf.setInt("ipc.client.connect.max.retries", 0);
        while (!answers(conf)) {
            if (!nameNode.isAlive() || System.nanoTime() - begun > TimeUnit.SECONDS.toNanos(WAIT_SECONDS)) {
                throw new IOException(name + " does not start:\n" + Files.readString(home.resolve("namenode.log")));
            }
            Thread.sleep(10);
        }
        startSeconds = (System.nanoTime() - begun) / 1e9;
    }

    /** Hadoop's is ready when it has left the safe mode with which it begins. */
    private static boolean answers(Configuration conf) {
        try (FileSystem files = FileSystem.newInstance(conf)) {
            files.getFileStatus(new org.apache.hadoop.fs.Path("/"));
            return !((org.apache.hadoop.hdfs.DistributedFileSystem) files).isInSafeMode();
        } catch (IOException e) {
            return false;
        }
    }

    double startSeconds() {
        return startSeconds;
    }

    void startDataNode() throws Exception {
        dataNode = java("datanode", dataNodeClass);
        try (FileSystem files = FileSystem.newInstance(conf())) {
            while (((org.apache.hadoop.hdfs.DistributedFileSystem) files).getDataNodeStats().length == 0) {
                if (!dataNode.isAlive()) {
                    throw new IOException(name + ":\n" + Files.readString(home.resolve("datanode.log")));
                }
                Thread.sleep(100);
            }
        }
    }

    /** The processor time of the NameNode so far, in seconds. */
    double cpuSeconds() {
        try {
            String stat = Files.readString(Path.of("/proc/" + nameNode.pid() + "/stat"));
            // The second field, the name of the program, is in parentheses.
            String[] fields = stat.substring(stat.lastIndexOf(')') + 2).split(" ");
            return (Long.parseLong(fields[UTIME - 2]) + Long.parseLong(fields[UTIME - 1])) / TICKS_PER_SECOND;
        } catch (IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
    }

    /** What is alive on the heap, in MB. */
    long heapMegabytes() throws Exception {
        jcmd("GC.run");
        Matcher used = Pattern.compile("used (\\d+)K").matcher(jcmd("GC.heap_info"));
        if (!used.find()) {
            throw new IOException("jcmd says nothing of the heap");
        }
        return Long.parseLong(used.group(1)) >> 10;
    }

    private String jcmd(String what) throws Exception {
        Process process = new ProcessBuilder(System.getProperty("java.home") + "/bin/jcmd",
                Long.toString(nameNode.pid()), what).redirectErrorStream(true).start();
        String said = new String(process.getInputStream().readAllBytes());
        process.waitFor();
        return said;
    }

    void stop() throws InterruptedException {
        for (Process process : new Process[] {dataNode, nameNode}) {
            if (process != null && process.isAlive()) {
                process.destroy();
                if (!process.waitFor(20, TimeUnit.SECONDS)) {
                    process.destroyForcibly().waitFor();
                }
            }
        }
    }

    @Override
    public void close() throws InterruptedException {
        stop();
    }
}
