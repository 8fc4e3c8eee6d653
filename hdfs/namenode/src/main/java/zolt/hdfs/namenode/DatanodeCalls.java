package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ThreadLocalRandom;
import org.apache.hadoop.ha.HAServiceProtocol.HAServiceState;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.server.protocol.BlockReportContext;
import org.apache.hadoop.hdfs.server.protocol.DatanodeCommand;
import org.apache.hadoop.hdfs.server.protocol.DatanodeProtocol;
import org.apache.hadoop.hdfs.server.protocol.DatanodeRegistration;
import org.apache.hadoop.hdfs.server.protocol.HeartbeatResponse;
import org.apache.hadoop.hdfs.server.protocol.KeyUpdateCommand;
import org.apache.hadoop.hdfs.server.protocol.NNHAStatusHeartbeat;
import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;
import org.apache.hadoop.hdfs.server.protocol.RegisterCommand;
import org.apache.hadoop.hdfs.server.protocol.SlowDiskReports;
import org.apache.hadoop.hdfs.server.protocol.SlowPeerReports;
import org.apache.hadoop.hdfs.server.protocol.StorageBlockReport;
import org.apache.hadoop.hdfs.server.protocol.StorageReceivedDeletedBlocks;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;
import org.apache.hadoop.hdfs.server.protocol.VolumeFailureSummary;
import org.apache.hadoop.ipc.Server;
import org.apache.hadoop.util.Time;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/** What DataNodes ask and tell. The blocks that they report are in the file system anyway: nothing of it is kept. */
final class DatanodeCalls implements DatanodeProtocol {
    private static final Logger LOG = LoggerFactory.getLogger(DatanodeCalls.class);

    private final NamespaceInfo namespace;
    private final Datanodes datanodes;
    private final BlockKeys keys;

    DatanodeCalls(NamespaceInfo namespace, Datanodes datanodes, BlockKeys keys) {
        this.namespace = namespace;
        this.datanodes = datanodes;
        this.keys = keys;
    }

    @Override
    public NamespaceInfo versionRequest() {
        return namespace;
    }

    @Override
    public DatanodeRegistration registerDatanode(DatanodeRegistration registration) throws IOException {
        datanodes.register(registration, Server.getRemoteIp(), keys.version());
        registration.setExportedKeys(keys.exported());
        LOG.info("DataNode {} has registered", registration);
        return registration;
    }

    @Override
    public HeartbeatResponse sendHeartbeat(DatanodeRegistration registration, StorageReport[] reports,
            long dnCacheCapacity, long dnCacheUsed, int xmitsInProgress, int xceiverCount, int failedVolumes,
            VolumeFailureSummary volumeFailureSummary, boolean requestFullBlockReportLease, SlowPeerReports slowPeers,
            SlowDiskReports slowDisks) throws IOException {
        List<DatanodeCommand> commands = new ArrayList<>();
        if (!datanodes.heard(registration, reports, xceiverCount)) {
            commands.add(RegisterCommand.REGISTER);
        } else if (datanodes.needsKeys(registration, keys.version())) {
            commands.add(new KeyUpdateCommand(keys.exported()));
        }
        long lease = requestFullBlockReportLease ? ThreadLocalRandom.current().nextLong(1, Long.MAX_VALUE) : 0;
        return new HeartbeatResponse(commands.toArray(new DatanodeCommand[0]),
                new NNHAStatusHeartbeat(HAServiceState.ACTIVE, Time.now()), null, lease);
    }

    @Override
    public DatanodeCommand blockReport(DatanodeRegistration registration, String poolId, StorageBlockReport[] reports,
            BlockReportContext context) {
        datanodes.reported(registration);
        return null;
    }

    @Override
    public DatanodeCommand cacheReport(DatanodeRegistration registration, String poolId, List<Long> blockIds) {
        return null;
    }

    @Override
    public void blockReceivedAndDeleted(DatanodeRegistration registration, String poolId,
            StorageReceivedDeletedBlocks[] blocks) {
        // The file system has the bytes.
    }

    @Override
    public void errorReport(DatanodeRegistration registration, int errorCode, String msg) {
        LOG.warn("DataNode {} reports error {}: {}", registration, errorCode, msg);
    }

    @Override
    public void reportBadBlocks(LocatedBlock[] blocks) {
        LOG.warn("A DataNode cannot read {} blocks", blocks.length);
    }

    @Override
    public void commitBlockSynchronization(ExtendedBlock block, long newgenerationstamp, long newlength,
            boolean closeFile, boolean deleteblock, DatanodeID[] newtargets, String[] newtargetstorages) {
        // A lease ends without the help of DataNodes.
    }
}
