package zolt.hdfs.namenode.suites;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import org.apache.hadoop.cli.CLITestHelperDFS;
import org.apache.hadoop.cli.util.CLICommand;
import org.apache.hadoop.cli.util.CLITestData;
import org.apache.hadoop.cli.util.CommandExecutor;
import org.apache.hadoop.cli.util.ComparatorData;
import org.apache.hadoop.fs.CommonConfigurationKeysPublic;
import org.apache.hadoop.fs.FileSystem;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

/**
 * Hadoop's own tests of its commands: each entry of its files is a test. An entry that this service answers
 * otherwise stands here with the reason, and it is a failure when it passes after all.
 */
final class CommandSuites {
    private CommandSuites() {}

    /** One file of entries. */
    private static final class Entries extends CLITestHelperDFS {
        private final String file;
        private final Map<String, String> others;
        private String namenode;

        Entries(String file, Map<String, String> others) {
            this.file = file;
            this.others = others;
        }

        @Override
        protected String getTestFile() {
            return file;
        }

        @Override
        protected String expandCommand(String command) {
            return super.expandCommand(command.replace("NAMENODE", namenode).replace("#LF#", System.lineSeparator()));
        }

        @Override
        protected CommandExecutor.Result execute(CLICommand command) throws Exception {
            return command.getExecutor(namenode, conf).executeCommand(command.getCmd());
        }

        List<DynamicTest> run() throws Exception {
            setUp();
            conf = Cluster.commandsConf();
            conf.setLong(CommonConfigurationKeysPublic.HADOOP_SHELL_SAFELY_DELETE_LIMIT_NUM_FILES, 5);
            namenode = FileSystem.getDefaultUri(conf).toString();
            username = System.getProperty("user.name");
            testAll();
            return results();
        }

        private List<DynamicTest> results() {
            List<DynamicTest> tests = new ArrayList<>();
            Map<String, Integer> seen = new HashMap<>();
            Set<String> unused = new HashSet<>(Cluster.STOCK ? Set.of() : others.keySet());
            for (CLITestData entry : testsFromConfigFile) {
                String what = numbered(entry.getTestDesc(), seen.merge(entry.getTestDesc(), 1, Integer::sum));
                String reason = Cluster.STOCK ? null : others.get(what);
                unused.remove(what);
                tests.add(DynamicTest.dynamicTest(reason == null ? what : what + " (otherwise here: " + reason + ")", () -> {
                    if (reason == null) {
                        assertTrue(entry.getTestResult(), () -> told(entry));
                    } else {
                        assertFalse(entry.getTestResult(), "it passes: the reason has gone");
                    }
                }));
            }
            tests.add(DynamicTest.dynamicTest("every reason is of an entry", () -> assertEquals(Set.of(), unused)));
            return tests;
        }

        /** Some entries have the same description. */
        private static String numbered(String what, int time) {
            return time == 1 ? what : what + " (" + time + ")";
        }

        private String told(CLITestData entry) {
            StringBuilder text = new StringBuilder();
            for (CLICommand command : entry.getTestCommands()) {
                text.append("\n  ").append(expandCommand(command.getCmd()));
            }
            for (ComparatorData one : entry.getComparatorData()) {
                text.append("\n  wanted (").append(one.getComparatorType()).append("): ")
                        .append(expandCommand(one.getExpectedOutput())).append("\n  said: ").append(one.getActualOutput());
            }
            return text.toString();
        }
    }

    static class Shell {
        private static final List<String> QUOTAS = List.of(
            "count: directory using absolute path with -q option",
            "setSpaceQuota -storageType: directory with quota by storage type",
            "count: directory using relative path with -q option",
            "count: absolute path to multiple directories using globbing with -q option",
            "count: relative path to multiple directories using globbing with -q option",
            "count: absolute path to multiple directories without globbing with -q option",
            "count: relative path to multiple directories without globbing with -q option",
            "count: Test for directory using hdfs:// path with -q option",
            "count: Test for hdfs:// path - multiple directories using globbing with -q option",
            "count: Test for hdfs:// path - multiple directories without globbing with -q option",
            "count: Test for directory using Namenode's path with -q option",
            "count: Test for Namenode's path - multiple directories using globbing with -q option",
            "count: Test for Namenode's path - multiple directories without globbing with -q option",
            "count: directory using -q and -h options",
            "verifying error messages for quota commands - setting quota on a file",
            "verifying error messages for quota commands - setting quota on non-existing file",
            "verifying error messages for quota commands - exceeding quota",
            "verifying error messages for quota commands - clearQuota on non existing file",
            "verifying error messages for quota commands - using globing",
            "verifying error messages for quota commands - setting quota using globing",
            "clrSpaceQuota: Namenode is already in safemode",
            "setQuota",
            "setSpaceQuota",
            "Verifying setQuota operation is not permitted in safemode",
            "Verifying clrQuota operation is not permitted in safemode",
            "Verifying setSpaceQuota operation is not permitted in safemode",
            "Verifying clrSpaceQuota operation is not permitted in safemode");
        private static final List<String> SNAPSHOTS = List.of("allowSnapshot", "disallowSnapshot", "createSnapshot",
            "renameSnapshot", "deleteSnapshot");
        private static final List<String> IMAGES = List.of("saveNamespace: to save the namespace when safemode is ON",
            "saveNamespace: to save the namespace when safemode is OFF", "rollEdits: test rollEdits admin command",
            "metasave: to save metadata");

        @TestFactory
        List<DynamicTest> testHDFSConf() throws Exception {
            Map<String, String> others = new HashMap<>();
            QUOTAS.forEach(entry -> others.put(entry, "no quotas: those of the file system are its administrator's"));
            SNAPSHOTS.forEach(entry -> others.put(entry, "no snapshots: POSIX has none"));
            IMAGES.forEach(entry -> others.put(entry, "nothing is kept in memory that could be saved"));
            others.put("setBalancerBandwidth", "nothing is balanced: every DataNode has every block");
            return new Entries("testHDFSConf.xml", others).run();
        }
    }

    static class Acls {
        @TestFactory
        List<DynamicTest> testAclCLIWithPosixAclInheritance() throws Exception {
            return new Entries("testAclCLIWithPosixAclInheritance.xml", Map.of()).run();
        }
    }

    static class ExtendedAttributes {
        /** One entry gets a file into the machine's own folder. */
        private static final Path FETCHED = Path.of("/tmp/file1");

        private static final String UNREADABLE = "no security.hdfs.unreadable.by.superuser: the kernel lets root read";
        private static final String RAW = "no encryption zones, for which there are /.reserved/raw and raw. attributes";

        @TestFactory
        List<DynamicTest> testXAttrConf() throws Exception {
            boolean wasThere = Files.exists(FETCHED);
            try {
                return new Entries("testXAttrConf.xml", Map.of(
                        "setfattr : Add the unreadable by superuser xattr to security namespace", UNREADABLE,
                        "setfattr : Try to delete the unreadable by superuser xattr from security namespace", UNREADABLE,
                        "setfattr : Try to read a file protected by the unreadable by superuser xattr", UNREADABLE,
                        "setfattr : Try to add a value to the unreadable by superuser xattr", UNREADABLE,
                        "setfattr : Add an xattr of raw namespace (2)", RAW,
                        "setfattr : Remove an xattr of raw namespace", RAW)).run();
            } finally {
                if (!wasThere) {
                    Files.deleteIfExists(FETCHED);
                }
            }
        }
    }

    static class SafeDelete {
        @TestFactory
        List<DynamicTest> testDeleteConf() throws Exception {
            return new Entries("testDeleteConf.xml", Map.of()).run();
        }
    }
}
