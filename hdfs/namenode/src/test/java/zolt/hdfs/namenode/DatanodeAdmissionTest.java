package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.security.PrivilegedExceptionAction;
import java.time.Duration;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocolPB.DatanodeProtocolClientSideTranslatorPB;
import org.apache.hadoop.hdfs.security.token.block.ExportedBlockKeys;
import org.apache.hadoop.hdfs.server.common.HdfsServerConstants.NodeType;
import org.apache.hadoop.hdfs.server.common.StorageInfo;
import org.apache.hadoop.hdfs.server.protocol.DatanodeRegistration;
import org.apache.hadoop.hdfs.server.protocol.SlowDiskReports;
import org.apache.hadoop.hdfs.server.protocol.SlowPeerReports;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import zolt.hdfs.namespace.Caller;
import zolt.hdfs.namespace.Callers;

/** Who gets the keys that DataNodes get. */
class DatanodeAdmissionTest {
    private static DatanodeRegistration stranger() {
        return new DatanodeRegistration(new DatanodeID("127.0.0.1", "stranger", "11111111-2222-3333-4444-555555555555", 1,
                2, 3, 4),
                new StorageInfo(NodeType.DATA_NODE), new ExportedBlockKeys(), "3.5.0");
    }

    @Test
    void nobodyIsNoDataNode() throws Exception {
        Service service = Service.shared();
        UserGroupInformation.createRemoteUser("nobody").doAs((PrivilegedExceptionAction<Void>) () -> {
            DatanodeProtocolClientSideTranslatorPB node = new DatanodeProtocolClientSideTranslatorPB(
                    new InetSocketAddress("127.0.0.1", service.uri().getPort()), service.conf());
            try {
                assertRefused(node::versionRequest);
                assertRefused(() -> node.registerDatanode(stranger()));
                assertRefused(() -> node.sendHeartbeat(stranger(), new StorageReport[0], 0, 0, 0, 0, 0, null, false,
                        SlowPeerReports.EMPTY_REPORT, SlowDiskReports.EMPTY_REPORT));
                assertRefused(() -> node.errorReport(stranger(), 0, "text for the log"));
            } finally {
                node.close();
            }
            return null;
        });
    }

    private static void assertRefused(Executable call) {
        IOException refused = assertThrows(IOException.class, call);
        String name = refused instanceof RemoteException ? ((RemoteException) refused).getClassName()
                : refused.getClass().getName();
        assertEquals(AccessControlException.class.getName(), name, refused::toString);
    }

    /** Whether or not Hadoop's lists are turned on for everybody, which they are not here. */
    @Test
    void withKerberosItIsThePrincipal() throws Exception {
        Configuration conf = new HdfsConfiguration();
        conf.set("hadoop.security.authentication", "kerberos");
        conf.set(DFSConfigKeys.DFS_DATANODE_KERBEROS_PRINCIPAL_KEY, "dn/_HOST@EXAMPLE.COM");
        conf.set("hadoop.security.auth_to_local", "RULE:[2:$1](.*)");
        InetAddress here = InetAddress.getLoopbackAddress();
        UserGroupInformation.setConfiguration(conf);
        try {
            Callers callers = new Callers("root", "supergroup", Duration.ofSeconds(30));
            DatanodeAdmission admission = new DatanodeAdmission(conf, callers);
            String host = here.getCanonicalHostName();
            assertSame(Caller.SERVICE, admission.admit(user("dn/" + host + "@EXAMPLE.COM"), here));
            for (String other : new String[] {"dn/elsewhere@EXAMPLE.COM", "nobody/" + host + "@EXAMPLE.COM",
                "root/" + host + "@EXAMPLE.COM"}) {
                assertThrows(AccessControlException.class, () -> admission.admit(user(other), here), other);
            }
        } finally {
            UserGroupInformation.setConfiguration(new HdfsConfiguration());
        }
    }

    private static UserGroupInformation user(String principal) {
        return UserGroupInformation.createRemoteUser(principal);
    }
}
