package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.MessageDigest;
import java.util.ArrayList;
import java.util.HexFormat;
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

/** What 'zolt hdfs' does with the configuration of a folder, for other users, and where something is missing. */
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

    private static final String LAUNCHER = System.getProperty("zolt.test.launcher");

    /** Calls it, or a copy of it, as an ordinary user: what both streams say, and the status before that. */
    private String asNobody(String... command) throws Exception {
        Files.setPosixFilePermissions(work, PosixFilePermissions.fromString("rwxr-xr-x"));
        List<String> all = new ArrayList<>(List.of("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"));
        all.addAll(List.of(command));
        return said(all);
    }

    private String said(List<String> command) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().put("ZOLT_HDFS_STATE", work.resolve("state").toString());
        Process process = builder.start();
        String said = new String(process.getInputStream().readAllBytes());
        return process.waitFor() + " " + said;
    }

    /** Whoever has built it: Maven's jars may lie where only their owner looks. */
    @Test
    void hadoopsShellIsForEveryUser() throws Exception {
        for (Path folder = Path.of(LAUNCHER).toRealPath().getParent(); folder != null; folder = folder.getParent()) {
            Assumptions.assumeTrue(Files.getPosixFilePermissions(folder).contains(PosixFilePermission.OTHERS_EXECUTE),
                    folder + " is closed to other users");
        }
        Files.createFile(work.resolve("a-file"));
        String said = asNobody(LAUNCHER, "dfs", "-ls", "zolt://" + work);
        assertTrue(said.startsWith("0 Found 1 items") && said.contains("/a-file"), said);
    }

    @Test
    void aJarThatMayNotBeReadIsSaidInOneLine() throws Exception {
        Path copy = Files.createDirectories(work.resolve("bin")).resolve("zolt-hdfs");
        Files.copy(Path.of(LAUNCHER), copy, StandardCopyOption.COPY_ATTRIBUTES);
        Path jar = Files.createFile(Files.createDirectories(work.resolve("build/hdfs")).resolve("closed.jar"),
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
        Path classes = Files.writeString(work.resolve("build/hdfs/classpath"), jar + "\n");
        Files.createDirectories(work.resolve("hdfs/shell"));
        String said = asNobody(copy.toString(), "dfs", "-ls", "zolt:///");
        assertTrue(said.startsWith("5 zolt hdfs: " + jar + " is not there, or this user may not read it: "), said);
        assertEquals(1, said.lines().count());
        Files.delete(classes);
        said = asNobody(copy.toString(), "dfs", "-ls", "zolt:///");
        assertEquals("5 zolt hdfs: the service is not built: make hdfs\n", said);
        Files.setPosixFilePermissions(classes.getParent(), PosixFilePermissions.fromString("rwx------"));
        said = asNobody(copy.toString(), "dfs", "-ls", "zolt:///");
        assertTrue(said.startsWith("5 zolt hdfs: this user may not look into "), said);
    }

    /** To them, what is served would else seem not to be, or to have ended. */
    @Test
    void theStateIsNotForOtherUsers() throws Exception {
        configure();
        String folder = work.resolve("folder").toString();
        for (String call : List.of("stop", "status", "dfs")) {
            String said = asNobody(LAUNCHER, call, folder);
            assertTrue(said.startsWith("1 zolt hdfs: this user may not look into " + work.resolve("state")), said);
        }
    }

    @Test
    void whatIsNoCallOrDoesNotStartIsSaidPlainly() throws Exception {
        String usage = "2 usage: zolt hdfs start DIR";
        String said = said(List.of(LAUNCHER, "dfs"));
        assertTrue(said.startsWith(usage), said);
        said = said(List.of(LAUNCHER, "conf", work.toString(), "-D", "bad"));
        assertEquals("2 zolt hdfs: -D is followed by key=value, and not by bad\n", said);
        said = said(List.of("env", "HADOOP_CONF_DIR=/nowhere", LAUNCHER, "dfs", "-ls", "/"));
        assertTrue(said.startsWith("1 zolt hdfs: HADOOP_CONF_DIR=/nowhere is not a folder"), said);
        said = said(List.of("env", "JAVA_HOME=/nowhere", LAUNCHER, "dfs", "-ls", "/"));
        assertTrue(said.startsWith("5 zolt hdfs: no java in JAVA_HOME=/nowhere: "), said);
        said = said(List.of("bash", "-c", "ulimit -v 500000; exec \"$0\" dfs -ls zolt:///", LAUNCHER));
        assertTrue(said.startsWith("5 zolt hdfs: Java does not start within the limits of this shell"), said);
        assertEquals(1, said.lines().count(), said);
        said = said(List.of("bash", "-c", "ulimit -n 100; exec \"$0\" dfs -ls zolt:///", LAUNCHER));
        assertTrue(said.matches("5 zolt hdfs: Hadoop's classes are \\d+ files, and this shell may have 100 .*\n"), said);
        said = said(List.of(LAUNCHER, "status", "/a\u202ez"));
        assertEquals("1 zolt hdfs: /a?z is not a folder\n", said);
        assertEquals("2 zolt hdfs: -D is followed by key=value\n", said(List.of(LAUNCHER, "conf", work.toString(), "-D")));
    }

    /** Hadoop takes some characters of a path for more than a name: commas part folders, colons a class path. */
    @Test
    void aFolderOfAnyNameHasAStateOfItsOwn() throws Exception {
        Path folder = Files.createDirectories(work.resolve("a,b:c$d&e\"f<g>h i'ü%2F"));
        String[] conf = said(List.of(LAUNCHER, "conf", folder.toString())).split(" ", 2);
        assertEquals("0", conf[0], conf[1]);
        Path state = Path.of(conf[1].strip()).getParent();
        assertEquals(List.of(state + "/data"),
                List.copyOf(read(state.resolve("conf")).getTrimmedStringCollection("dfs.datanode.data.dir")));
        assertTrue(state.toString().matches("[^,:$&\"<>]*"), state.toString());
        assertEquals("1 namenode: not running\ndatanode: not running\n",
                said(List.of(LAUNCHER, "status", folder.toString())));
        for (String name : new String[] {"line\nend", "${user.home}"}) {
            String said = said(List.of(LAUNCHER, "conf", Files.createDirectory(work.resolve(name)).toString()));
            assertTrue(said.startsWith("1 zolt hdfs: Hadoop cannot name this folder"), said);
        }
        String said = said(List.of("env", "-C", work.toString(), "ZOLT_HDFS_STATE=near", LAUNCHER, "conf",
                folder.toString()));
        assertTrue(said.startsWith("0 " + work.resolve("near")), said);
        said = said(List.of("env", "ZOLT_HDFS_STATE=/a,b", LAUNCHER, "conf", folder.toString()));
        assertEquals("1 zolt hdfs: ZOLT_HDFS_STATE names a path with one of , : $ & < > \" or a control character\n", said);
    }

    /** Both servers, or none. */
    @Test
    void aStartThatEndsEarlyLeavesNothingBehind() throws Exception {
        Path state = configure("dfs.namenode.rpc-address=127.0.0.1:0", "dfs.namenode.http-address=127.0.0.1:0").getParent();
        byte[] sum = MessageDigest.getInstance("SHA-256").digest(state.toString().getBytes());
        Path mount = Path.of("/run/zolt-hdfs", HexFormat.of().formatHex(sum, 0, 8));
        String folder = work.resolve("folder").toString();
        for (String seconds : new String[] {"0.3", "2"}) {
            String said = said(List.of("timeout", seconds, LAUNCHER, "start", folder));
            assertTrue(said.startsWith("124 "), said);
            assertEquals("1 namenode: not running\ndatanode: not running\n", said(List.of(LAUNCHER, "status", folder)));
            assertFalse(Files.exists(mount), seconds);
        }
    }

    private static Set<String> words(String text, String pattern, String separator) {
        return Pattern.compile(pattern, Pattern.MULTILINE).matcher(text).results()
                .flatMap(found -> Stream.of(found.group(1).split(separator))).collect(Collectors.toCollection(TreeSet::new));
    }

    /** Its capabilities are those that the server keeps, and the two to make its mount and to give up the others. */
    @ParameterizedTest
    @ValueSource(strings = {"namenode", "datanode", "web"})
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
