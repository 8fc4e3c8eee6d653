package zolt.hdfs.datanode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.InetSocketAddress;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSUtil;
import org.apache.hadoop.hdfs.NameNodeProxies;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.UserGroupInformation;

/**
 * Asks the NameNodes for the path of an inode: the target of the link /.reserved/.inodes/INODE, which they tell
 * the superuser. Each that has seen the path lately knows it, so all are asked, the last that knew first.
 */
final class NameNodePaths implements BlockFiles.Paths {
    private static final String INODES = "/.reserved/.inodes/";

    private final Configuration conf;
    private final List<ClientProtocol> nameNodes = new ArrayList<>();

    NameNodePaths(Configuration conf) {
        this.conf = conf;
    }

    @Override
    public String of(long inode) throws IOException {
        IOException failure = new FileNotFoundException("No NameNode knows inode " + inode);
        for (ClientProtocol nameNode : connected()) {
            try {
                String path = nameNode.getLinkTarget(INODES + Long.toUnsignedString(inode));
                prefer(nameNode);
                return path;
            } catch (RemoteException e) {
                failure = e.unwrapRemoteException(FileNotFoundException.class);
            } catch (IOException e) {
                failure = new IOException("The path of inode " + inode + " cannot be asked for", e);
            }
        }
        throw failure;
    }

    synchronized void close() {
        nameNodes.forEach(RPC::stopProxy);
        nameNodes.clear();
    }

    private synchronized void prefer(ClientProtocol nameNode) {
        if (nameNodes.indexOf(nameNode) > 0 && nameNodes.remove(nameNode)) {
            nameNodes.add(0, nameNode);
        }
    }

    private synchronized List<ClientProtocol> connected() throws IOException {
        if (nameNodes.isEmpty()) {
            for (Map<String, InetSocketAddress> service : DFSUtil.getNNServiceRpcAddressesForCluster(conf).values()) {
                for (InetSocketAddress address : service.values()) {
                    nameNodes.add(NameNodeProxies.createNonHAProxy(conf, address, ClientProtocol.class,
                            UserGroupInformation.getLoginUser(), false).getProxy());
                }
            }
        }
        return List.copyOf(nameNodes);
    }
}
