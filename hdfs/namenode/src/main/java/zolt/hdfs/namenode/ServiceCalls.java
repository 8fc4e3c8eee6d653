package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BatchedRemoteIterator.BatchedEntries;
import org.apache.hadoop.fs.BatchedRemoteIterator.BatchedListEntries;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.QuotaUsage;
import org.apache.hadoop.ha.HAServiceProtocol.HAServiceState;
import org.apache.hadoop.hdfs.protocol.BlockStoragePolicy;
import org.apache.hadoop.hdfs.protocol.CorruptFileBlocks;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.ECBlockGroupStats;
import org.apache.hadoop.hdfs.protocol.EncryptionZone;
import org.apache.hadoop.hdfs.protocol.ErasureCodingPolicy;
import org.apache.hadoop.hdfs.protocol.ErasureCodingPolicyInfo;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.DatanodeReportType;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.RollingUpgradeAction;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.SafeModeAction;
import org.apache.hadoop.hdfs.protocol.ReplicatedBlockStats;
import org.apache.hadoop.hdfs.protocol.RollingUpgradeInfo;
import org.apache.hadoop.hdfs.security.token.block.DataEncryptionKey;
import org.apache.hadoop.hdfs.server.blockmanagement.BlockStoragePolicySuite;
import org.apache.hadoop.hdfs.server.protocol.DatanodeStorageReport;
import org.apache.hadoop.ipc.RpcNoSuchMethodException;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.SafeMode;
import zolt.hdfs.namespace.Space;

/** The calls that ask about the service, and what of HDFS has one answer here. */
final class ServiceCalls {
    private final FsServerDefaults defaults;
    private final Datanodes datanodes;
    private final Space space;
    private final SafeMode safeMode;
    private final BlockStoragePolicySuite policies;

    ServiceCalls(Configuration conf, FsServerDefaults defaults, Datanodes datanodes, Space space, SafeMode safeMode) {
        this.defaults = defaults;
        this.datanodes = datanodes;
        this.space = space;
        this.safeMode = safeMode;
        policies = BlockStoragePolicySuite.createDefaultSuite(conf);
    }

    FsServerDefaults getServerDefaults() {
        return defaults;
    }

    /** That of the file system: all DataNodes have the same. */
    long[] getStats() throws IOException {
        return new long[] {space.total(), space.total() - space.free(), space.free(), 0, 0, 0, 0, 0, 0};
    }

    ReplicatedBlockStats getReplicatedBlockStats() {
        return new ReplicatedBlockStats(0, 0, 0, 0, 0, 0, 0L, 0L);
    }

    ECBlockGroupStats getECBlockGroupStats() {
        return new ECBlockGroupStats(0, 0, 0, 0, 0, 0L, 0L);
    }

    DatanodeInfo[] getDatanodeReport(DatanodeReportType type) {
        return datanodes.of(type).stream().map(Datanodes.Node::info).toArray(DatanodeInfo[]::new);
    }

    DatanodeStorageReport[] getDatanodeStorageReport(DatanodeReportType type) {
        return datanodes.of(type).stream().map(node -> new DatanodeStorageReport(node.info(), node.storages()))
                .toArray(DatanodeStorageReport[]::new);
    }

    DatanodeInfo[] getSlowDatanodeReport() {
        return new DatanodeInfo[0];
    }

    HAServiceState getHAServiceState() {
        return HAServiceState.ACTIVE;
    }

    /** Every NameNode answers from the file system itself. */
    void msync() {
        // Nothing can be behind.
    }

    /** Whoever may ask; only the superuser may change it. */
    boolean setSafeMode(SafeModeAction action, boolean isChecked) throws IOException {
        if (action == SafeModeAction.SAFEMODE_GET) {
            return safeMode.isOn();
        }
        Acting.now().requireSuperuser();
        safeMode.set(action == SafeModeAction.SAFEMODE_ENTER);
        return safeMode.isOn();
    }

    @Dispatch.Superuser
    void refreshNodes() {
        // There are no lists of hosts: a DataNode is known while it reports.
    }

    @Dispatch.Superuser
    void finalizeUpgrade() {
        // None is ever begun: there is no form of names here that another release could not read.
    }

    /** Whoever asks is told that there is none. */
    @Dispatch.Superuser
    RollingUpgradeInfo rollingUpgrade(RollingUpgradeAction action) {
        if (action != RollingUpgradeAction.QUERY) {
            throw new UnsupportedOperationException("This NameNode has no rolling upgrade: nothing of it is stored");
        }
        return null;
    }

    @Dispatch.Superuser
    boolean upgradeStatus() {
        return true;
    }

    BlockStoragePolicy[] getStoragePolicies() {
        return policies.getAllPolicies();
    }

    BlockStoragePolicy getStoragePolicy(String path) {
        return policies.getDefaultPolicy();
    }

    ErasureCodingPolicy getErasureCodingPolicy(String src) {
        return null;
    }

    ErasureCodingPolicyInfo[] getErasureCodingPolicies() {
        return new ErasureCodingPolicyInfo[0];
    }

    Map<String, String> getErasureCodingCodecs() {
        return Map.of();
    }

    EncryptionZone getEZForPath(String src) {
        return null;
    }

    BatchedEntries<EncryptionZone> listEncryptionZones(long prevId) {
        return new BatchedListEntries<>(List.of(), false);
    }

    /** The client counts for itself when it is told this. */
    QuotaUsage getQuotaUsage(String path) throws IOException {
        throw new RpcNoSuchMethodException("This NameNode has no quotas");
    }

    /** What is corrupt, the file system knows. */
    CorruptFileBlocks listCorruptFileBlocks(String path, String cookie) {
        return new CorruptFileBlocks();
    }

    DataEncryptionKey getDataEncryptionKey() {
        return null;
    }
}
