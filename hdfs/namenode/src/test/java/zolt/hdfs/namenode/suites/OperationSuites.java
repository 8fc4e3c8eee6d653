package zolt.hdfs.namenode.suites;

import java.io.IOException;
import java.net.URI;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.FSMainOperationsBaseTest;
import org.apache.hadoop.fs.FileContext;
import org.apache.hadoop.fs.FileContextMainOperationsBaseTest;
import org.apache.hadoop.fs.FileContextTestHelper;
import org.apache.hadoop.fs.FileContextTestWrapper;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FileSystemContractBaseTest;
import org.apache.hadoop.fs.FileSystemTestWrapper;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.SymlinkBaseTest;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.ipc.RemoteException;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Disabled;

/** Hadoop's own suites of the operations of its two interfaces to a file system. */
final class OperationSuites {
    private OperationSuites() {}

    static class FileSystemContract extends FileSystemContractBaseTest {
        @BeforeEach
        void connect() throws IOException {
            Configuration conf = Cluster.conf();
            conf.set(CommonConfigurationKeys.FS_PERMISSIONS_UMASK_KEY, TEST_UMASK);
            fs = Cluster.client(conf);
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
            return Cluster.client(Cluster.conf());
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
            fc = FileContext.getFileContext(FileSystem.getDefaultUri(Cluster.conf()), Cluster.conf());
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
            return new Path(FileSystem.getDefaultUri(Cluster.conf()).toString(), "/user/root");
        }

        @Override
        protected IOException unwrapException(IOException e) {
            return e instanceof RemoteException ? ((RemoteException) e).unwrapRemoteException() : e;
        }

        @Override
        protected boolean listCorruptedBlocksSupported() {
            return true;
        }
    }

    /** Links, by either interface. */
    abstract static class Symlinks extends SymlinkBaseTest {
        static Configuration open() {
            FileSystem.enableSymlinks();
            Configuration conf = Cluster.conf();
            conf.set(FsPermission.UMASK_LABEL, "000");
            return conf;
        }

        @Override
        protected String getScheme() {
            return "hdfs";
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
            return FileSystem.getDefaultUri(Cluster.conf());
        }

        @Override
        protected IOException unwrapException(IOException e) {
            return e instanceof RemoteException ? ((RemoteException) e).unwrapRemoteException() : e;
        }
    }

    static class SymlinksOfFileSystem extends Symlinks {
        @BeforeAll
        static void connect() throws IOException {
            wrapper = new FileSystemTestWrapper(Cluster.client(open()), "/tmp/links");
        }

        @Override
        @Disabled("the client goes round two links until its stack is full, before Hadoop's own NameNode too")
        public void testRecursiveLinks() {
            // By the other interface the client counts.
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
            wrapper = new FileContextTestWrapper(FileContext.getFileContext(FileSystem.getDefaultUri(conf), conf),
                    "/tmp/links");
        }
    }
}
