package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.InputStream;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.client.HdfsDataOutputStream;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.DatanodeReportType;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.hdfs.datanode.ZoltDataNode;

/** A DataNode that is killed while a client writes through it and another one, and one that has nothing to do. */
class DeadDataNodeTest {
    private static final Path FILE = new Path("/through-a-death");
    private static final long WAIT_MILLIS = 60_000;

    @Test
    void theWriterGoesOnWithTheOther(@TempDir java.nio.file.Path state) throws Exception {
        try (Service service = Service.start()) {
            Process victim = start(service, state);
            try (DistributedFileSystem client = (DistributedFileSystem) service.client()) {
                long until = System.currentTimeMillis() + WAIT_MILLIS;
                while (client.getDataNodeStats(DatanodeReportType.LIVE).length < 2) {
                    assertTrue(System.currentTimeMillis() < until, "the DataNode does not register");
                    Thread.sleep(50);
                }
                Random random = new Random(4);
                ByteArrayOutputStream expected = new ByteArrayOutputStream();
                try (FSDataOutputStream out = client.create(FILE, true)) {
                    for (int i = 0; i < 60; i++) {
                        byte[] bytes = new byte[1 + random.nextInt(100_000)];
                        random.nextBytes(bytes);
                        out.write(bytes);
                        expected.write(bytes);
                        if (i == 20) {
                            assertEquals(2, ((HdfsDataOutputStream) out).getCurrentBlockReplication());
                            victim.destroyForcibly();
                        }
                        if (i % 7 == 0 || i == 21) {
                            out.hflush();
                        }
                    }
                }
                try (InputStream in = client.open(FILE)) {
                    assertArrayEquals(expected.toByteArray(), in.readAllBytes());
                }
                client.delete(FILE, false);
            } finally {
                victim.destroyForcibly();
            }
        }
    }

    /** Here it does not know its folder; the process would stay, and do nothing. */
    @Test
    void oneThatServesNoNameNodeEnds(@TempDir java.nio.file.Path state) throws Exception {
        try (Service service = Service.startWithoutDataNodes()) {
            Process process = start(service, state, "a.key=");
            try {
                assertTrue(process.waitFor(60, TimeUnit.SECONDS), "it stays");
                assertEquals(0, process.exitValue(), "it did not come to serve at all");
            } finally {
                process.destroyForcibly();
            }
        }
    }

    private static Process start(Service service, java.nio.file.Path state) throws Exception {
        return start(service, state, "zolt.hdfs.folder=" + Service.FOLDER);
    }

    private static Process start(Service service, java.nio.file.Path state, String folder) throws Exception {
        List<String> command = new ArrayList<>(List.of(System.getProperty("java.home") + "/bin/java", "-Xmx256m",
                "-Dzolt.hdfs.library=" + System.getProperty("zolt.hdfs.library"), "-cp",
                System.getProperty("java.class.path"), ZoltDataNode.class.getName()));
        for (String setting : new String[] {"fs.defaultFS=" + service.uri(), folder,
            "dfs.datanode.data.dir=" + state.resolve("data"), "dfs.datanode.address=127.0.0.1:0",
            "dfs.datanode.ipc.address=127.0.0.1:0", "dfs.datanode.http.address=127.0.0.1:0"}) {
            command.addAll(List.of("-D", setting));
        }
        return new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(state.resolve("log").toFile()).start();
    }
}
