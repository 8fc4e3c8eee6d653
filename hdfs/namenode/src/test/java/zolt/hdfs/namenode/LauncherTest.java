package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Set;
import java.util.TreeSet;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

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

    private static Set<String> words(String text, String pattern, String separator) {
        return Pattern.compile(pattern, Pattern.MULTILINE).matcher(text).results()
                .flatMap(found -> Stream.of(found.group(1).split(separator))).collect(Collectors.toCollection(TreeSet::new));
    }

    /** Its capabilities are those that the server keeps, and the two to make its mount and to give up the others. */
    @ParameterizedTest
    @ValueSource(strings = {"namenode", "datanode"})
    void theUnitIsGoodAndGivesNoMoreThanTheServerNeeds(String name) throws Exception {
        Path launcher = Path.of(System.getProperty("zolt.test.launcher")).toRealPath();
        Path root = launcher.getParent().getParent();
        String unit = Files.readString(root.resolve("hdfs/systemd/zolt-hdfs-" + name + "@.service"))
                .replace("/opt/zolt", root.toString());
        Set<String> needed = words(Files.readString(launcher), "^ *server " + name + " (\\S+)", ",");
        needed = needed.stream().map(each -> "CAP_" + each.substring(1).toUpperCase(Locale.ROOT))
                .collect(Collectors.toCollection(TreeSet::new));
        needed.addAll(Set.of("CAP_SYS_ADMIN", "CAP_SETPCAP"));
        assertEquals(needed, words(unit, "^CapabilityBoundingSet=(.*)$", " "));

        Assumptions.assumeTrue(Files.isExecutable(Path.of("/usr/bin/systemd-analyze")), "there is no systemd-analyze");
        Path file = Files.writeString(work.resolve("zolt-hdfs-" + name + "@srv-data.service"), unit);
        Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-r--r--"));  // whatever the umask is
        Process verify = new ProcessBuilder("systemd-analyze", "verify", file.toString()).redirectErrorStream(true)
                .start();
        String said = new String(verify.getInputStream().readAllBytes());
        assertEquals(0, verify.waitFor(), said);
        assertEquals("", said);
    }
}
