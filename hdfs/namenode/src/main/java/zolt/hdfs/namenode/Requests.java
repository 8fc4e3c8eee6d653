package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.HexFormat;
import org.apache.hadoop.ipc.Server;
import org.apache.hadoop.security.UserGroupInformation;
import zolt.hdfs.namespace.OpenFiles.Writer;

/** What a request tells of where it comes from. */
final class Requests {
    private Requests() {}

    /** The user of the client, as Hadoop has authenticated it; the service's own for a call from within. */
    static UserGroupInformation user() throws IOException {
        UserGroupInformation remote = Server.getRemoteUser();
        return remote != null ? remote : UserGroupInformation.getCurrentUser();
    }

    /** The address of the client; empty for a call from within. */
    static String machine() {
        String address = Server.getRemoteAddress();
        return address == null ? "" : address;
    }

    /** Whether the client has asked before, perhaps another NameNode, and heard no answer. */
    static boolean isRetry() {
        return Server.getCallRetryCount() > 0;
    }

    static Writer writer(String client) {
        return new Writer(client, machine(), call());
    }

    /** Tells this call from all others; a client that asks again, perhaps another NameNode, names it by the same. */
    private static String call() {
        return HexFormat.of().formatHex(Server.getClientId()) + ":" + Server.getCallId();
    }
}
