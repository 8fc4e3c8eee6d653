package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.hdfs.DFSUtil;
import org.apache.hadoop.hdfs.protocol.ReconfigurationProtocol;
import org.apache.hadoop.hdfs.protocol.proto.DatanodeProtocolProtos.DatanodeProtocolService;
import org.apache.hadoop.hdfs.protocol.proto.NamenodeProtocolProtos.NamenodeProtocolService;
import org.apache.hadoop.hdfs.protocol.proto.ReconfigurationProtocolProtos.ReconfigurationProtocolService;
import org.apache.hadoop.hdfs.protocolPB.DatanodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.DatanodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.protocolPB.NamenodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.NamenodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.protocolPB.ReconfigurationProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.ReconfigurationProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.server.protocol.DatanodeProtocol;
import org.apache.hadoop.hdfs.server.protocol.NamenodeProtocol;
import org.apache.hadoop.ipc.GenericRefreshProtocol;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.ipc.RefreshCallQueueProtocol;
import org.apache.hadoop.ipc.proto.GenericRefreshProtocolProtos.GenericRefreshProtocolService;
import org.apache.hadoop.ipc.proto.RefreshCallQueueProtocolProtos.RefreshCallQueueProtocolService;
import org.apache.hadoop.ipc.protocolPB.GenericRefreshProtocolPB;
import org.apache.hadoop.ipc.protocolPB.GenericRefreshProtocolServerSideTranslatorPB;
import org.apache.hadoop.ipc.protocolPB.RefreshCallQueueProtocolPB;
import org.apache.hadoop.ipc.protocolPB.RefreshCallQueueProtocolServerSideTranslatorPB;
import org.apache.hadoop.security.RefreshUserMappingsProtocol;
import org.apache.hadoop.security.authorize.RefreshAuthorizationPolicyProtocol;
import org.apache.hadoop.security.proto.RefreshAuthorizationPolicyProtocolProtos.RefreshAuthorizationPolicyProtocolService;
import org.apache.hadoop.security.proto.RefreshUserMappingsProtocolProtos.RefreshUserMappingsProtocolService;
import org.apache.hadoop.security.protocolPB.RefreshAuthorizationPolicyProtocolPB;
import org.apache.hadoop.security.protocolPB.RefreshAuthorizationPolicyProtocolServerSideTranslatorPB;
import org.apache.hadoop.security.protocolPB.RefreshUserMappingsProtocolPB;
import org.apache.hadoop.security.protocolPB.RefreshUserMappingsProtocolServerSideTranslatorPB;
import org.apache.hadoop.thirdparty.protobuf.BlockingService;
import org.apache.hadoop.tools.GetUserMappingsProtocol;
import org.apache.hadoop.tools.proto.GetUserMappingsProtocolProtos.GetUserMappingsProtocolService;
import org.apache.hadoop.tools.protocolPB.GetUserMappingsProtocolPB;
import org.apache.hadoop.tools.protocolPB.GetUserMappingsProtocolServerSideTranslatorPB;

/** The protocols that the server has beside that of clients. */
final class Protocols {
    private final Configuration conf;
    private final RPC.Server server;
    private final Dispatch.State state;

    Protocols(Configuration conf, RPC.Server server, Dispatch.State state) {
        this.conf = conf;
        this.server = server;
        this.state = state;
    }

    private void add(Class<?> protocol, BlockingService service) throws IOException {
        DFSUtil.addInternalPBProtocol(conf, protocol, service, server);
    }

    void datanodes(DatanodeCalls calls, Dispatch.Admission admission) throws IOException {
        int most = conf.getInt(CommonConfigurationKeys.IPC_MAXIMUM_DATA_LENGTH,
                CommonConfigurationKeys.IPC_MAXIMUM_DATA_LENGTH_DEFAULT);
        DatanodeProtocol served = Dispatch.serve(DatanodeProtocol.class, List.of(calls), admission, state);
        add(DatanodeProtocolPB.class, DatanodeProtocolService.newReflectiveBlockingService(
                new DatanodeProtocolServerSideTranslatorPB(served, most)));
    }

    void namenodes(NamenodeCalls calls, Dispatch.Admission admission) throws IOException {
        NamenodeProtocol served = Dispatch.serve(NamenodeProtocol.class, List.of(calls), admission, state);
        add(NamenodeProtocolPB.class, NamenodeProtocolService.newReflectiveBlockingService(
                new NamenodeProtocolServerSideTranslatorPB(served)));
    }

    void groups(GroupsOfUsers calls, Dispatch.Admission admission) throws IOException {
        GetUserMappingsProtocol served = Dispatch.serve(GetUserMappingsProtocol.class, List.of(calls), admission, state);
        add(GetUserMappingsProtocolPB.class, GetUserMappingsProtocolService.newReflectiveBlockingService(
                new GetUserMappingsProtocolServerSideTranslatorPB(served)));
    }

    /** There is nothing to reconfigure, and it is said by the protocol by which one asks. */
    void reconfiguration(Dispatch.Admission admission) throws IOException {
        ReconfigurationProtocol served = Dispatch.serve(ReconfigurationProtocol.class, List.of(new Reconfiguration()),
                admission, state);
        add(ReconfigurationProtocolPB.class, ReconfigurationProtocolService.newReflectiveBlockingService(
                new ReconfigurationProtocolServerSideTranslatorPB(served)));
    }

    private static final class Reconfiguration {
        @Dispatch.Superuser
        List<String> listReconfigurableProperties() {
            return List.of();
        }
    }

    void refreshing(Refreshing calls, Dispatch.Admission admission) throws IOException {
        List<Object> subjects = List.of(calls);
        add(RefreshAuthorizationPolicyProtocolPB.class,
                RefreshAuthorizationPolicyProtocolService.newReflectiveBlockingService(
                        new RefreshAuthorizationPolicyProtocolServerSideTranslatorPB(Dispatch.serve(
                                RefreshAuthorizationPolicyProtocol.class, subjects, admission, state))));
        add(RefreshUserMappingsProtocolPB.class, RefreshUserMappingsProtocolService.newReflectiveBlockingService(
                new RefreshUserMappingsProtocolServerSideTranslatorPB(Dispatch.serve(
                        RefreshUserMappingsProtocol.class, subjects, admission, state))));
        add(RefreshCallQueueProtocolPB.class, RefreshCallQueueProtocolService.newReflectiveBlockingService(
                new RefreshCallQueueProtocolServerSideTranslatorPB(Dispatch.serve(
                        RefreshCallQueueProtocol.class, subjects, admission, state))));
        add(GenericRefreshProtocolPB.class, GenericRefreshProtocolService.newReflectiveBlockingService(
                new GenericRefreshProtocolServerSideTranslatorPB(Dispatch.serve(
                        GenericRefreshProtocol.class, subjects, admission, state))));
    }
}
