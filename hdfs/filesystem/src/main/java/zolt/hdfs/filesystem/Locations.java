package zolt.hdfs.filesystem;

import java.io.IOException;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.security.AccessControlException;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.NodeHosts;
import zolt.hdfs.namespace.PlainFiles;

/**
 * On which hosts the blocks of files lie. The file system knows its nodes by numbers; a table gives them names. Without
 * one, every byte is as near to this host as to any other.
 */
final class Locations {
    private static final String LOCAL_HOST = "localhost";
    private static final String RACK = "/default-rack/";

    private final NodeHosts hosts;
    private final PlainFiles files;

    Locations(Configuration conf, PlainFiles files) {
        this.files = files;
        hosts = new NodeHosts(conf);
    }

    boolean knowsNodes() {
        return !hosts.isEmpty();
    }

    /** The blocks of a range of a file that the caller may read. */
    BlockLocation[] of(HdfsPath path, long start, long length) throws IOException {
        if (!knowsNodes()) {
            long size = files.size(path);
            return start >= size ? new BlockLocation[0]
                    : new BlockLocation[] {local(start, Math.min(length, size - start))};
        }
        List<zolt.fs.BlockLocation> blocks = files.blocks(path, start, length);
        BlockLocation[] located = new BlockLocation[blocks.size()];
        for (int i = 0; i < located.length; i++) {
            located[i] = of(blocks.get(i));
        }
        return located;
    }

    private BlockLocation of(zolt.fs.BlockLocation block) {
        String[] names = hosts.of(block).toArray(new String[0]);
        if (names.length == 0) {
            return local(block.offset(), block.length());
        }
        String[] racks = new String[names.length];
        for (int i = 0; i < names.length; i++) {
            racks[i] = RACK + names[i];
        }
        return new BlockLocation(names, names, racks, block.offset(), block.length());
    }

    private static BlockLocation local(long start, long length) {
        String[] host = {LOCAL_HOST};
        return new BlockLocation(host, host, start, length);
    }

    /** Those of a file in a listing, which is shown whether or not the caller may read it. */
    BlockLocation[] ofListed(HdfsPath path, FileStatus status) throws IOException {
        if (status.getLen() == 0) {
            return new BlockLocation[0];
        }
        try {
            return knowsNodes() ? of(path, 0, status.getLen()) : new BlockLocation[] {local(0, status.getLen())};
        } catch (AccessControlException e) {
            return new BlockLocation[] {local(0, status.getLen())};
        }
    }
}
