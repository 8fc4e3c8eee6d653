package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.Collection;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.HDFSPolicyProvider;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.ipc.GenericRefreshProtocol;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.ipc.RefreshCallQueueProtocol;
import org.apache.hadoop.ipc.RefreshRegistry;
import org.apache.hadoop.ipc.RefreshResponse;
import org.apache.hadoop.security.Groups;
import org.apache.hadoop.security.RefreshUserMappingsProtocol;
import org.apache.hadoop.security.authorize.AuthorizationException;
import org.apache.hadoop.security.authorize.ProxyUsers;
import org.apache.hadoop.security.authorize.RefreshAuthorizationPolicyProtocol;
import zolt.hdfs.namespace.Callers;

/** What an administrator has read anew, from the files of configuration and the databases of the system. */
final class Refreshing implements RefreshAuthorizationPolicyProtocol, RefreshUserMappingsProtocol,
        RefreshCallQueueProtocol, GenericRefreshProtocol {
    private final RPC.Server server;
    private final Callers callers;
    private final boolean authorizes;

    /** @param authorizes whether the server asks its lists who may call at all */
    Refreshing(RPC.Server server, Callers callers, boolean authorizes) {
        this.server = server;
        this.callers = callers;
        this.authorizes = authorizes;
    }

    private static Configuration read() {
        return new HdfsConfiguration();
    }

    @Override
    @Dispatch.Superuser
    public void refreshServiceAcl() throws IOException {
        if (!authorizes) {
            throw new AuthorizationException("Service Level Authorization not enabled!");
        }
        server.refreshServiceAcl(read(), new HDFSPolicyProvider());
    }

    @Override
    @Dispatch.Superuser
    public void refreshUserToGroupsMappings() {
        Groups.getUserToGroupsMappingService().refresh();
        callers.forget();
    }

    @Override
    @Dispatch.Superuser
    public void refreshSuperUserGroupsConfiguration() {
        ProxyUsers.refreshSuperUserGroupsConfiguration(read());
    }

    @Override
    @Dispatch.Superuser
    public void refreshCallQueue() {
        server.refreshCallQueue(read());
    }

    @Override
    @Dispatch.Superuser
    public Collection<RefreshResponse> refresh(String identifier, String[] args) {
        return RefreshRegistry.defaultRegistry().dispatch(identifier, args);
    }
}
