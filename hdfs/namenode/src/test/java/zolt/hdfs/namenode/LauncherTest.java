package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** What 'zolt hdfs' does with the configuration of a folder. */
class LauncherTest {
    @TempDir
    private Path work;

    /** Calls 'zolt hdfs conf', and answers the folder that it names. */
    private Path configure(String... settings) throws Exception {
        Path folder = Files.createDirectories(work.resolve("folder"));
        List<String> command = new ArrayList<>(List.of(System.getProperty("zolt.test.launcher"), "conf", folder.toString()));
        for (String setting : settings) {
            command.addAll(List.of("-D", setting));
        }
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().put("ZOLT_HDFS_STATE", work.resolve("state").toString());
        Process process = builder.start();
        String said = new String(process.getInputStream().readAllBytes()).trim();
        assertEquals(0, process.waitFor(), said);
        return Path.of(said);
    }

    private static Configuration read(Path conf) {
        Configuration all = new Configuration(false);
        for (String name : new String[] {"core-site.xml", "hdfs-site.xml", "zolt-site.xml"}) {
            all.addResource(new org.apache.hadoop.fs.Path(conf.resolve(name).toString()));
        }
        return all;
    }

    @Test
    void whatIsGivenStaysAndCountsMore() throws Exception {
        Path conf = configure("dfs.namenode.rpc-address=127.0.0.1:1", "dfs.ls.limit=5");
        configure("dfs.ls.limit=6", "a.key=<&> 'quoted\" | text");
        Configuration all = read(conf);
        assertEquals("127.0.0.1:1", all.get("dfs.namenode.rpc-address"));
        assertEquals("hdfs://127.0.0.1:1", all.get("fs.defaultFS"));
        assertEquals("6", all.get("dfs.ls.limit"));
        assertEquals("<&> 'quoted\" | text", all.get("a.key"));
        assertEquals("127.0.0.1:9866", all.get("dfs.datanode.address"));
        assertTrue(all.getBoolean("dfs.block.access.token.enable", false));
    }

    /** As Hadoop's documents have it: properties on several lines, others in comments. */
    @Test
    void theOperatorsFilesAreNotTouched() throws Exception {
        Path conf = configure();
        String core = "<configuration>\n<property>\n"
                + "<name>hadoop.security.authorization</name>\n<value>true</value>\n</property>"
                + "\n<!-- <property><name>a.comment</name><value>1</value></property> -->\n</configuration>\n";
        String hdfs = core.replace("hadoop.security.authorization", "dfs.namenode.handler.count").replace("true", "7");
        Files.writeString(conf.resolve("core-site.xml"), core);
        Files.writeString(conf.resolve("hdfs-site.xml"), hdfs);
        configure("another.key=1");
        assertEquals(core, Files.readString(conf.resolve("core-site.xml")));
        assertEquals(hdfs, Files.readString(conf.resolve("hdfs-site.xml")));
        Configuration all = read(conf);
        assertEquals("true", all.get("hadoop.security.authorization"));
        assertEquals("7", all.get("dfs.namenode.handler.count"));
        assertEquals("1", all.get("another.key"));
        assertEquals(null, all.get("a.comment"));
    }
}
