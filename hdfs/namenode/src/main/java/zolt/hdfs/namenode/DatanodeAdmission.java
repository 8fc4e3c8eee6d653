package zolt.hdfs.namenode;

import java.io.IOException;
import java.net.InetAddress;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HDFSPolicyProvider;
import org.apache.hadoop.hdfs.server.protocol.DatanodeProtocol;
import org.apache.hadoop.ipc.Server;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.security.authorize.ServiceAuthorizationManager;
import zolt.hdfs.namespace.Caller;
import zolt.hdfs.namespace.Callers;

/**
 * Who may be a DataNode: it is given the keys that sign every block, and clients send it their bytes. With Kerberos that
 * is the principal of {@code dfs.datanode.kerberos.principal}, whom Hadoop's own list of callers does not exclude, and
 * that list is asked even where it is not turned on for others. Without Kerberos it is the superuser.
 */
final class DatanodeAdmission implements Dispatch.Admission {
    private final Configuration conf;
    private final Callers callers;
    private final ServiceAuthorizationManager lists = new ServiceAuthorizationManager();
    private final boolean hasPrincipal;

    DatanodeAdmission(Configuration conf, Callers callers) {
        this.conf = conf;
        this.callers = callers;
        hasPrincipal = UserGroupInformation.isSecurityEnabled()
                && conf.get(DFSConfigKeys.DFS_DATANODE_KERBEROS_PRINCIPAL_KEY) != null;
        lists.refresh(conf, new HDFSPolicyProvider());
    }

    @Override
    public Caller caller() throws IOException {
        return admit(Requests.user(), Server.getRemoteIp());
    }

    /** The service itself, for a user who may; AccessControlException for another one. */
    Caller admit(UserGroupInformation user, InetAddress from) throws IOException {
        if (hasPrincipal) {
            lists.authorize(user, DatanodeProtocol.class, conf, from);
        } else {
            callers.of(user.getShortUserName()).requireSuperuser();
        }
        return Caller.SERVICE;
    }
}
