package zolt.hdfs.namenode;

import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;

/** What tools ask by the protocol of NameNodes among themselves: which namespace this is. No NameNode here needs another. */
final class NamenodeCalls {
    private final NamespaceInfo namespace;

    NamenodeCalls(NamespaceInfo namespace) {
        this.namespace = namespace;
    }

    NamespaceInfo versionRequest() {
        return namespace;
    }
}
