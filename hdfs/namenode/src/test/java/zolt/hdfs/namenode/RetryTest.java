package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.InetSocketAddress;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Options.Rename;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.NameNodeProxiesClient;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.Client;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.security.UserGroupInformation;
import org.junit.jupiter.api.Test;

/** Clients that heard no answer, and ask a NameNode that does not know what was answered. */
class RetryTest {
    /** The next call of this thread is one that was made so often before. */
    private static void repeated(int before) {
        Client.setCallIdAndRetryCount(Client.nextCallId(), before, null);
    }

    @Test
    void whatIsDoneIsAnsweredAsDone() throws Exception {
        Service service = Service.shared();
        Configuration conf = service.conf();
        ClientProtocol namenode = NameNodeProxiesClient.createNonHAProxyWithClientProtocol(
                new InetSocketAddress("127.0.0.1", service.uri().getPort()), conf, UserGroupInformation.getCurrentUser(),
                false, null);
        try (FileSystem client = service.client()) {
            client.create(new Path("/retry/to")).close();
            assertFalse(namenode.rename("/retry/from", "/retry/to"));
            repeated(1);
            assertTrue(namenode.rename("/retry/from", "/retry/to"));
            repeated(0);
            assertThrows(IOException.class, () -> namenode.rename2("/retry/from", "/retry/to", Rename.NONE));
            repeated(1);
            namenode.rename2("/retry/from", "/retry/to", Rename.NONE);
            repeated(0);
            assertFalse(namenode.delete("/retry/from", false));
            repeated(1);
            assertTrue(namenode.delete("/retry/from", false));
            client.delete(new Path("/retry"), true);
        } finally {
            RPC.stopProxy(namenode);
        }
    }
}
