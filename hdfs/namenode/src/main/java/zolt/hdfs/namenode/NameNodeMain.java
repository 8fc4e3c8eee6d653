package zolt.hdfs.namenode;

import java.io.IOException;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.security.SecurityUtil;
import org.apache.hadoop.security.UserGroupInformation;
import zolt.hdfs.datanode.ZoltDataNode;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.Root;
import zolt.hdfs.namespace.SystemCallException;

/**
 * The process of a NameNode: {@code NameNodeMain FOLDER [MOUNT]}, with Hadoop's configuration on the class path. MOUNT is
 * where this process has the folder, when that is not at its own path.
 */
public final class NameNodeMain {
    private NameNodeMain() {}

    public static void main(String[] arguments) throws Exception {
        if (arguments.length != 1 && arguments.length != 2) {
            System.err.println("usage: NameNodeMain FOLDER [MOUNT]");
            System.exit(2);
        }
        try {
            start(arguments[0], arguments[arguments.length - 1]).join();
        } catch (IOException e) {
            System.err.println("zolt: " + e.getMessage());
            System.exit(1);
        }
    }

    private static NameNodeServer start(String folder, String mount) throws IOException {
        // A class that is first needed in a request is loaded with the rights of its caller, who may not read the jars:
        // they are open from here on, since each is looked into for what none has.
        NameNodeMain.class.getClassLoader().getResource("no/such/resource");
        // Before the first thread that serves: each has what its maker has.
        SystemCallException.check(NativeFiles.confine(), "the capabilities of the service");
        // Modes are the client's, which has a mask of its own.
        NativeFiles.umask(0);
        HdfsConfiguration conf = ZoltDataNode.configuration();
        NameNodeServer.chooseAmongNameNodes(conf);
        UserGroupInformation.setConfiguration(conf);
        SecurityUtil.login(conf, DFSConfigKeys.DFS_NAMENODE_KEYTAB_FILE_KEY,
                DFSConfigKeys.DFS_NAMENODE_KERBEROS_PRINCIPAL_KEY);
        return new NameNodeServer(conf, Root.open(folder, mount));
    }
}
