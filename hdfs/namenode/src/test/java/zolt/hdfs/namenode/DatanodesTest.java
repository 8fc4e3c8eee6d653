package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.DatanodeReportType;
import org.apache.hadoop.hdfs.security.token.block.ExportedBlockKeys;
import org.apache.hadoop.hdfs.server.common.HdfsServerConstants.NodeType;
import org.apache.hadoop.hdfs.server.common.StorageInfo;
import org.apache.hadoop.hdfs.server.protocol.DatanodeRegistration;
import org.junit.jupiter.api.Test;

/** How long DataNodes are known. */
class DatanodesTest {
    private final AtomicLong now = new AtomicLong();
    private final Datanodes nodes = new Datanodes(new Configuration(), now::get);

    private void register(int port) throws Exception {
        nodes.register(new DatanodeRegistration(new DatanodeID("127.0.0.1", "host", "uuid-" + port, port, 0, 0, 0),
                new StorageInfo(NodeType.DATA_NODE), new ExportedBlockKeys(), "3.5.0"), null, 1);
    }

    @Test
    void aSilentOneDiesAndIsForgotten() throws Exception {
        register(1);
        assertEquals(1, nodes.of(DatanodeReportType.LIVE).size());
        now.set(TimeUnit.MINUTES.toMillis(9));
        assertEquals(1, nodes.of(DatanodeReportType.DEAD).size());
        register(2);
        assertEquals(2, nodes.of(DatanodeReportType.ALL).size());
        now.set(TimeUnit.MINUTES.toMillis(11));
        register(3);
        assertEquals(2, nodes.of(DatanodeReportType.ALL).size());
    }

    @Test
    void anAddressHasOne() throws Exception {
        register(1);
        nodes.register(new DatanodeRegistration(new DatanodeID("127.0.0.1", "host", "another", 1, 0, 0, 0),
                new StorageInfo(NodeType.DATA_NODE), new ExportedBlockKeys(), "3.5.0"), null, 1);
        assertEquals(1, nodes.of(DatanodeReportType.ALL).size());
    }
}
