package zolt.hdfs.namespace;

import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.conf.Configuration;
import zolt.fs.BlockLocation;

/** On which host each node of the file system is: the file system has numbers, and Hadoop's schedulers have hosts. */
public final class NodeHosts {
    /** Pairs of a node's number and its host: {@code 0=host0,1=host1}. */
    public static final String KEY = "fs.zolt.nodes";

    private final Map<Integer, String> hosts = new HashMap<>();

    public NodeHosts(Configuration conf) {
        for (String pair : conf.getTrimmedStrings(KEY)) {
            int equals = pair.indexOf('=');
            try {
                hosts.put(Integer.parseInt(pair.substring(0, Math.max(0, equals)).trim()),
                        pair.substring(equals + 1).trim());
            } catch (NumberFormatException e) {
                throw new HadoopIllegalArgumentException(KEY + " has " + pair + ", which is not NUMBER=HOST");
            }
        }
    }

    /** Whether no host is known. */
    public boolean isEmpty() {
        return hosts.isEmpty();
    }

    /** The hosts that hold a block, those that hold most of it first; the nodes without a known host are left out. */
    public List<String> of(BlockLocation block) {
        return block.nodes().stream().map(hosts::get).filter(Objects::nonNull).distinct().toList();
    }
}
