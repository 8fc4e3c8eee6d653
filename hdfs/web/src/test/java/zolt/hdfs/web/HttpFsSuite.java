package zolt.hdfs.web;

import static org.junit.Assume.assumeFalse;

import java.io.IOException;
import java.io.InputStream;
import java.lang.reflect.Method;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Collection;
import java.util.EnumSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.http.client.BaseTestHttpFSWith;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.test.TestHdfsHelper;
import org.junit.AfterClass;
import org.junit.Before;
import org.junit.BeforeClass;
import org.junit.runner.RunWith;
import org.junit.runners.Parameterized;
import org.mockito.Mockito;

/** HttpFS's own tests of its server, with its own client, on {@code zolt://}. */
@RunWith(Parameterized.class)
public class HttpFsSuite extends BaseTestHttpFSWith {
    /** Snapshots, quotas, erasure coding, encryption and storage policies: zolt:// has none. */
    private static final Set<Operation> NOT_THERE = EnumSet.of(Operation.QUOTA_USAGE, Operation.ENCRYPTION,
            Operation.STORAGEPOLICY, Operation.ERASURE_CODING, Operation.CREATE_SNAPSHOT, Operation.RENAME_SNAPSHOT,
            Operation.DELETE_SNAPSHOT, Operation.ALLOW_SNAPSHOT, Operation.DISALLOW_SNAPSHOT,
            Operation.DISALLOW_SNAPSHOT_EXCEPTION, Operation.FILE_STATUS_ATTR, Operation.GET_SNAPSHOT_DIFF,
            Operation.GET_SNAPSHOTTABLE_DIRECTORY_LIST, Operation.GET_SNAPSHOT_LIST, Operation.SETECPOLICY,
            Operation.SATISFYSTORAGEPOLICY, Operation.GET_SNAPSHOT_DIFF_LISTING, Operation.GETECPOLICIES,
            Operation.GETECCODECS);
    /** The tests of these cast to HDFS's class, and so does HttpFS for all but GETSTATUS. */
    private static final Set<Operation> OF_HDFS = EnumSet.of(Operation.GET_SERVERDEFAULTS, Operation.CHECKACCESS,
            Operation.GETSTATUS, Operation.GETTRASHROOTS);
    /**
     * CREATE wants blocks of 100 MiB, and the file systems of the tests have up to 4. LIST_STATUS_BATCH wants an iterator's
     * entries by name, which zolt:// has as the directory has them.
     */
    private static final Set<Operation> OTHERWISE = EnumSet.of(Operation.CREATE, Operation.LIST_STATUS_BATCH);
    /** Only a superuser may: the tests run them as one, whom the mini cluster knows by its group. */
    private static final Set<Operation> OF_SUPERUSERS = EnumSet.of(Operation.SET_OWNER, Operation.SET_XATTR,
            Operation.GET_XATTRS, Operation.REMOVE_XATTR, Operation.LIST_XATTRS);

    private static ClassLoader before;
    private static int tests;

    private final Operation operation;
    private final Path directory = new Path("/tmp/http-" + tests++);

    public HttpFsSuite(Operation operation) {
        super(operation);
        this.operation = operation;
        // What the tests want of a mini cluster is its configuration.
        hdfsTestHelper = new TestHdfsHelper() {
            @Override
            public MiniDFSCluster getMiniDFSCluster() {
                Configuration conf = getProxiedFSConf();
                // As the base class sets it for the server.
                conf.set(HdfsClientConfigKeys.DFS_WEBHDFS_ACL_PERMISSION_PATTERN_KEY, ".*");
                MiniDFSCluster cluster = Mockito.mock(MiniDFSCluster.class);
                Mockito.when(cluster.getConfiguration(0)).thenReturn(conf);
                return cluster;
            }
        };
    }

    @Parameterized.Parameters(name = "{0}")
    public static Collection<Object[]> operations() {
        List<Object[]> all = new ArrayList<>();
        for (Operation each : Operation.values()) {
            if (!NOT_THERE.contains(each) && !OF_HDFS.contains(each) && !OTHERWISE.contains(each)) {
                all.add(new Object[] {each});
            }
        }
        return all;
    }

    /** The tests look for the application of the server in a folder, where Jetty gives it the first part of its paths. */
    @BeforeClass
    public static void unpack() throws IOException {
        FileSystem.enableSymlinks();
        java.nio.file.Path web = java.nio.file.Path.of(System.getProperty("zolt.test.state"), "web");
        java.nio.file.Path file = web.resolve("webapp/WEB-INF/web.xml");
        Files.createDirectories(file.getParent());
        try (InputStream in = HttpFsSuite.class.getResourceAsStream("/webapps/webhdfs/WEB-INF/web.xml")) {
            Files.writeString(file, new String(in.readAllBytes()).replace("/webhdfs/*", "/*"));
        }
        before = Thread.currentThread().getContextClassLoader();
        Thread.currentThread().setContextClassLoader(new URLClassLoader(new URL[] {web.toUri().toURL()}, before));
    }

    @AfterClass
    public static void restore() {
        Thread.currentThread().setContextClassLoader(before);
    }

    /** Everybody may make something at the root, and nothing of an earlier user is there. */
    @Before
    public void clear() throws IOException {
        try (FileSystem files = FileSystem.newInstance(getProxiedFSConf())) {
            for (String name : new String[] {"/tmp", "/test", "/testACL", "/aclFileTestCustom"}) {
                files.delete(new Path(name), true);
            }
            FsPermission all = new FsPermission((short) 01777);
            files.mkdirs(new Path("/tmp"));
            files.setPermission(new Path("/tmp"), all);
            files.setPermission(new Path("/"), all);
        }
    }

    /** The second part of LIST_STATUS wants links in listings, where zolt:// shows what they lead to. */
    @Override
    public void testOperation() throws Exception {
        if (operation != Operation.LIST_STATUS) {
            super.testOperation();
            return;
        }
        for (String part : new String[] {"createHttpFSServer", "testListStatus"}) {
            Method method = BaseTestHttpFSWith.class.getDeclaredMethod(part);
            method.setAccessible(true);
            method.invoke(this);
        }
    }

    @Override
    public void testOperationDoAs() throws Exception {
        assumeFalse("its second part is for HDFS", operation == Operation.LIST_STATUS);
        assumeFalse("an ordinary user may not, and here the kernel decides", OF_SUPERUSERS.contains(operation));
        super.testOperationDoAs();
    }

    /** A folder of whomever the test runs as. */
    @Override
    protected Path getProxiedFSTestDir() {
        try (FileSystem files = FileSystem.newInstance(getProxiedFSConf())) {
            Path own = new Path(directory, UserGroupInformation.getCurrentUser().getShortUserName());
            files.mkdirs(own);
            return own;
        } catch (IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
    }

    @Override
    protected String getProxiedFSURI() {
        return "zolt:///";
    }

    @Override
    protected Configuration getProxiedFSConf() {
        return TestHdfsHelper.getHdfsConf();
    }
}
