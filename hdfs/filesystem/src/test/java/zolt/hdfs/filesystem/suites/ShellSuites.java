package zolt.hdfs.filesystem.suites;

import org.apache.hadoop.cli.CLITestHelper;
import org.apache.hadoop.cli.CLITestHelperDFS;
import org.apache.hadoop.cli.util.CLICommand;
import org.apache.hadoop.cli.util.CommandExecutor;
import org.apache.hadoop.test.GenericTestUtils;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.slf4j.LoggerFactory;
import org.slf4j.event.Level;
import zolt.hdfs.filesystem.TestFolder;

/** Hadoop's own scripts for its shell, which it runs against its own HDFS. */
final class ShellSuites {
    private ShellSuites() {}

    abstract static class Script extends CLITestHelperDFS {
        private final String file;
        private final String leftOut;

        /** @param leftOut a pattern for what is asked of HDFS alone */
        Script(String file, String leftOut) {
            this.file = file;
            this.leftOut = leftOut;
        }

        @BeforeEach
        @Override
        public void setUp() throws Exception {
            super.setUp();
            GenericTestUtils.setLogLevel(LoggerFactory.getLogger(CLITestHelper.class), Level.INFO);  // says what fails
            testsFromConfigFile.removeIf(each -> each.getTestDesc().matches(leftOut));
            TestFolder.configure(conf);
            username = System.getProperty("user.name");
            conf.set("fs.zolt.root", TestFolder.make("scripts", "supergroup").toString());
        }

        @AfterEach
        @Override
        public void tearDown() throws Exception {
            super.tearDown();
        }

        @Override
        protected String getTestFile() {
            return file;
        }

        @Override
        protected String expandCommand(String command) {
            return super.expandCommand(command.replaceAll("NAMENODE", TestFolder.NAME.toString())
                    .replaceAll("#LF#", System.lineSeparator()));
        }

        @Override
        protected CommandExecutor.Result execute(CLICommand command) throws Exception {
            return command.getExecutor(TestFolder.NAME.toString(), conf).executeCommand(command.getCmd());
        }

        @Test
        @Override
        public void testAll() {
            super.testAll();
        }
    }

    static class Acls extends Script {
        Acls() {
            super("testAclCLIWithPosixAclInheritance.xml", "");
        }
    }

    static class XAttrs extends Script {
        XAttrs() {
            // Attributes of HDFS's own, by which it keeps files from its superuser, or shows those of encrypted files.
            super("testXAttrConf.xml", ".*(unreadable by superuser|of raw namespace).*");
        }
    }
}
