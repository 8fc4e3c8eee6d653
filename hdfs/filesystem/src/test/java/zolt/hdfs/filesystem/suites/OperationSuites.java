package zolt.hdfs.filesystem.suites;

import java.io.IOException;
import java.net.URI;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.FSMainOperationsBaseTest;
import org.apache.hadoop.fs.FileContext;
import org.apache.hadoop.fs.FileContextMainOperationsBaseTest;
import org.apache.hadoop.fs.FileContextPermissionBase;
import org.apache.hadoop.fs.FileContextTestHelper;
import org.apache.hadoop.fs.FileContextTestWrapper;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FileSystemContractBaseTest;
import org.apache.hadoop.fs.FileSystemTestWrapper;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.SymlinkBaseTest;
import org.apache.hadoop.fs.permission.FsPermission;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Disabled;
import zolt.hdfs.filesystem.TestFolder;

/** Hadoop's own suites of the operations of its two interfaces to a file system. */
final class OperationSuites {
    private OperationSuites() {}

    static class FileSystemContract extends FileSystemContractBaseTest {
        @BeforeEach
        void connect() throws IOException {
            Configuration conf = TestFolder.conf();
            conf.set(CommonConfigurationKeys.FS_PERMISSIONS_UMASK_KEY, TEST_UMASK);
            fs = FileSystem.newInstance(TestFolder.NAME, conf);
        }

        @Override
        protected String getDefaultWorkingDirectory() {
            return "/user/root";
        }

        @Override
        protected int getGlobalTimeout() {
            return 60_000;
        }
    }

    static class MainOperations extends FSMainOperationsBaseTest {
        MainOperations() {
            super("/tmp/main");
        }

        @Override
        protected FileSystem createFileSystem() throws IOException {
            return FileSystem.newInstance(TestFolder.NAME, TestFolder.conf());
        }

        @Override
        @Disabled("the suite runs as the superuser, who may list every directory")
        public void testListStatusThrowsExceptionForUnreadableDir() {
            // Nor does Hadoop's own NameNode refuse it.
        }

        @Override
        @Disabled("the suite runs as the superuser, who may list every directory")
        public void testGlobStatusThrowsExceptionForUnreadableDir() {
            // Nor does Hadoop's own NameNode refuse it.
        }
    }

    static class ContextMainOperations extends FileContextMainOperationsBaseTest {
        @BeforeEach
        void connect() throws Exception {
            fc = FileContext.getFileContext(TestFolder.NAME, TestFolder.conf());
            super.setUp();
        }

        @Override
        public void setUp() {
            // connect() does it, when there is something to connect with.
        }

        @Override
        protected FileContextTestHelper createFileContextHelper() {
            return new FileContextTestHelper("/tmp/context");
        }

        @Override
        protected Path getDefaultWorkingDirectory() {
            return new Path("zolt:/user/root");
        }

        @Override
        protected boolean listCorruptedBlocksSupported() {
            return false;
        }
    }

    static class ContextPermission extends FileContextPermissionBase {
        @Override
        protected FileContextTestHelper getFileContextHelper() {
            return new FileContextTestHelper("/tmp/permission");
        }

        @Override
        protected FileContext getFileContext() throws Exception {
            return FileContext.getFileContext(TestFolder.NAME, TestFolder.conf());
        }
    }

    /** Links, by either interface. */
    abstract static class Symlinks extends SymlinkBaseTest {
        static Configuration open() {
            FileSystem.enableSymlinks();
            Configuration conf = TestFolder.conf();
            conf.set(FsPermission.UMASK_LABEL, "000");
            return conf;
        }

        @Override
        protected String getScheme() {
            return "zolt";
        }

        @Override
        protected String testBaseDir1() {
            return "/test1";
        }

        @Override
        protected String testBaseDir2() {
            return "/test2";
        }

        @Override
        protected URI testURI() {
            return TestFolder.NAME;
        }

        @Override
        @Disabled("a link's text is a path that the kernel follows, with no scheme and no host")
        public void testCreateLinkUsingFullyQualPaths() {
            // The suite wants the scheme back that was given, but from local files.
        }

        @Override
        @Disabled("a link's text is a path that the kernel follows, with no scheme and no host")
        public void testCreateLinkUsingPartQualPath1() {
            // Nor does the suite ask it of local files.
        }

        @Override
        @Disabled("a link's text is a path that the kernel follows, with no scheme and no host")
        public void testCreateLinkUsingPartQualPath2() {
            // Nor does the suite ask it of local files.
        }

        @Override
        @Disabled("a status has the path that was asked for, and not that of the link's target")
        public void testStatLinkToFile() {
            // Nor does the suite ask it of local files.
        }

        @Override
        @Disabled("a status has the path that was asked for, and not that of the link's target")
        public void testStatRelLinkToFile() {
            // Nor does the suite ask it of local files.
        }

        @Override
        @Disabled("a status has the path that was asked for, and not that of the link's target")
        public void testAccessFileViaInterSymlinkRelTarget() {
            // Nor does the suite ask it of local files.
        }
    }

    static class SymlinksOfFileSystem extends Symlinks {
        @BeforeAll
        static void connect() throws IOException {
            wrapper = new FileSystemTestWrapper(FileSystem.newInstance(TestFolder.NAME, open()), "/tmp/links");
        }

        @Override
        @Disabled("FileSystem#create makes parent directories, so that dangling links to directories are followed")
        public void testCreateFileViaDanglingLinkParent() {
            // Nor does Hadoop run it for its own HDFS.
        }
    }

    static class SymlinksOfContext extends Symlinks {
        @BeforeAll
        static void connect() throws IOException {
            Configuration conf = open();
            wrapper = new FileContextTestWrapper(FileContext.getFileContext(TestFolder.NAME, conf), "/tmp/links");
        }

        @Override
        @Disabled("zolt:///file is a whole name: no host belongs to it, as the suite wants of all but local files")
        public void testCreateLinkUsingAbsPaths() {
            // By the other interface the suite allows it.
        }

        @Override
        @Disabled("zolt:///file is a whole name: no host belongs to it, as the suite wants of all but local files")
        public void testCreateLinkUsingRelPaths() {
            // By the other interface the suite allows it.
        }
    }
}
