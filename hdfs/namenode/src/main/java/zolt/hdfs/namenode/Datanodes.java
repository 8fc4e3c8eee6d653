package zolt.hdfs.namenode;

import java.io.IOException;
import java.net.InetAddress;
import java.util.ArrayList;
import java.util.Collection;
import java.util.Comparator;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.function.LongSupplier;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo.DatanodeInfoBuilder;
import org.apache.hadoop.hdfs.protocol.DatanodeInfoWithStorage;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.DatanodeReportType;
import org.apache.hadoop.hdfs.server.protocol.DatanodeRegistration;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;
import org.apache.hadoop.net.CachedDNSToSwitchMapping;
import org.apache.hadoop.net.DNSToSwitchMapping;
import org.apache.hadoop.net.NetworkTopology;
import org.apache.hadoop.net.ScriptBasedMapping;
import org.apache.hadoop.util.ReflectionUtils;
import org.apache.hadoop.util.Time;

/** The DataNodes that report: known as long as they do, and forgotten without loss. */
final class Datanodes {
    private static final int MOST = 100_000;
    private static final long FORGOTTEN_MILLIS = TimeUnit.MINUTES.toMillis(10);

    /** One DataNode, as it last described itself. */
    static final class Node {
        private final DatanodeRegistration registration;
        private final String rack;
        private volatile StorageReport[] storages = {};
        private volatile int transfers;
        private volatile int keys;
        private volatile long lastHeard;
        private volatile long lastReported;
        private volatile long lastHeardDate = Time.now();

        private Node(DatanodeRegistration registration, String rack, int keys, long now) {
            this.registration = registration;
            this.rack = rack;
            this.keys = keys;
            lastHeard = now;
        }

        StorageReport[] storages() {
            return storages;
        }

        private boolean isOn(List<String> hosts) {
            return hosts.contains(registration.getHostName()) || hosts.contains(registration.getIpAddr());
        }

        DatanodeInfo info() {
            long capacity = 0;
            long used = 0;
            long remaining = 0;
            for (StorageReport storage : storages) {
                capacity += storage.getCapacity();
                used += storage.getDfsUsed();
                remaining += storage.getRemaining();
            }
            return new DatanodeInfoBuilder().setNodeID(registration).setCapacity(capacity).setDfsUsed(used)
                    .setRemaining(remaining).setBlockPoolUsed(used).setXceiverCount(transfers)
                    .setLastUpdate(lastHeardDate).setLastUpdateMonotonic(lastHeard)
                    .setNetworkLocation(rack)
                    .setLastBlockReportTime(lastReported).setLastBlockReportMonotonic(lastReported == 0 ? 0 : lastHeard)
                    .build();
        }

        /** The node with the storage that holds every block of the file system: the first, since all are the same. */
        DatanodeInfoWithStorage located() {
            StorageReport[] all = storages;
            String id = all.length == 0 ? "DS-" + registration.getDatanodeUuid() : all[0].getStorage().getStorageID();
            return new DatanodeInfoWithStorage(info(), id, StorageType.DISK);
        }
    }

    /** How long a DataNode may be silent until it counts as dead: ten of its heartbeats, in milliseconds. */
    private final long silence;
    private final LongSupplier clock;
    private final DNSToSwitchMapping racks;
    private final Map<String, Node> nodes = new LinkedHashMap<>();
    private int turn;

    Datanodes(Configuration conf) {
        this(conf, Time::monotonicNow);
    }

    /** @param clock milliseconds */
    Datanodes(Configuration conf, LongSupplier clock) {
        this.clock = clock;
        racks = ReflectionUtils.newInstance(conf.getClass(DFSConfigKeys.NET_TOPOLOGY_NODE_SWITCH_MAPPING_IMPL_KEY,
                ScriptBasedMapping.class, DNSToSwitchMapping.class), conf);
        long interval = 1000 * conf.getTimeDuration(DFSConfigKeys.DFS_HEARTBEAT_INTERVAL_KEY,
                DFSConfigKeys.DFS_HEARTBEAT_INTERVAL_DEFAULT, TimeUnit.SECONDS);
        silence = Math.max(10 * interval, 10_000);
    }

    /** Notes a DataNode, in the place of one at its address; those that have long been dead are forgotten. */
    void register(DatanodeRegistration registration, InetAddress from, int keys) throws IOException {
        if (from != null) {
            registration.setIpAddr(from.getHostAddress());
            registration.setPeerHostName(from.getHostName());
        }
        register(registration, rackOf(registration), keys);
    }

    /** By whatever tells Hadoop's own NameNode, which may be a script. */
    private String rackOf(DatanodeID node) {
        boolean byAddress = racks instanceof CachedDNSToSwitchMapping;
        List<String> found = racks.resolve(List.of(byAddress ? node.getIpAddr() : node.getHostName()));
        return found == null || found.isEmpty() ? NetworkTopology.DEFAULT_RACK : found.get(0);
    }

    private synchronized void register(DatanodeRegistration registration, String rack, int keys) throws IOException {
        nodes.values().removeIf(node -> silentFor(node) > FORGOTTEN_MILLIS
                || node.registration.getXferAddr().equals(registration.getXferAddr()));
        if (nodes.size() >= MOST) {
            throw new IOException("too many DataNodes");
        }
        nodes.put(registration.getDatanodeUuid(), new Node(registration, rack, keys, clock.getAsLong()));
    }

    /** Notes a heartbeat; false for a node that has to register. */
    boolean heard(DatanodeID id, StorageReport[] storages, int transfers) {
        Node node = node(id.getDatanodeUuid());
        if (node == null || !node.registration.getXferAddr().equals(id.getXferAddr())) {
            return false;
        }
        node.storages = storages;
        node.transfers = transfers;
        node.lastHeardDate = Time.now();
        node.lastHeard = clock.getAsLong();
        return true;
    }

    /** Notes that a node has reported its blocks, of which it has none of its own. */
    void reported(DatanodeID id) {
        Node node = node(id.getDatanodeUuid());
        if (node != null) {
            node.lastReported = Time.now();
        }
    }

    /** Whether the node has not been given these keys yet; it is now. */
    boolean needsKeys(DatanodeID id, int version) {
        Node node = node(id.getDatanodeUuid());
        if (node == null || node.keys == version) {
            return false;
        }
        node.keys = version;
        return true;
    }

    private synchronized Node node(String uuid) {
        return nodes.get(uuid);
    }

    private long silentFor(Node node) {
        return clock.getAsLong() - node.lastHeard;
    }

    synchronized List<Node> of(DatanodeReportType type) {
        List<Node> all = new ArrayList<>();
        for (Node node : nodes.values()) {
            boolean live = silentFor(node) < silence;
            if (type == DatanodeReportType.ALL || type == (live ? DatanodeReportType.LIVE : DatanodeReportType.DEAD)) {
                all.add(node);
            }
        }
        return all;
    }

    /**
     * Some live nodes: first those on some hosts, and of the same rank those on the client's machine, and the others in
     * turn.
     *
     * @param near names or addresses of hosts
     * @param without nodes not to take
     */
    List<DatanodeInfoWithStorage> choose(int most, List<String> near, String client,
            Collection<? extends DatanodeID> without) {
        Set<String> excluded = new HashSet<>();
        without.forEach(id -> excluded.add(id.getXferAddr()));
        List<Node> live = of(DatanodeReportType.LIVE);
        live.removeIf(node -> excluded.contains(node.registration.getXferAddr()));
        if (live.isEmpty()) {
            return List.of();
        }
        java.util.Collections.rotate(live, next(live.size()));
        live.sort(Comparator.comparing((Node node) -> !node.isOn(near))
                .thenComparing(node -> !node.registration.getIpAddr().equals(client)));
        return live.stream().limit(most).map(Node::located).toList();
    }

    private synchronized int next(int size) {
        turn = (turn + 1) % Math.max(1, size);
        return turn;
    }
}
