package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Map;
import java.util.NavigableMap;
import java.util.Optional;
import java.util.TreeMap;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BatchedRemoteIterator.BatchedEntries;
import org.apache.hadoop.fs.BatchedRemoteIterator.BatchedListEntries;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.OpenFileEntry;
import org.apache.hadoop.hdfs.protocol.OpenFilesIterator;
import org.apache.hadoop.hdfs.protocol.OpenFilesIterator.OpenFilesType;
import zolt.hdfs.namespace.HdfsPath;

/**
 * The files that are written through this NameNode: a memory that is bounded and may be lost. Whether one is still written,
 * the file itself says when it is looked at.
 */
final class WrittenFiles {
    private static final int MOST = 100_000;

    private final Parts parts;
    private final KnownPaths paths;
    private final int pageSize;
    /** By inode: where the writer runs. */
    private final NavigableMap<Long, String> machines = new TreeMap<>();

    WrittenFiles(Configuration conf, Parts parts, KnownPaths paths) {
        this.parts = parts;
        this.paths = paths;
        pageSize = Math.max(1, conf.getInt(DFSConfigKeys.DFS_NAMENODE_LIST_OPENFILES_NUM_RESPONSES,
                DFSConfigKeys.DFS_NAMENODE_LIST_OPENFILES_NUM_RESPONSES_DEFAULT));
    }

    /** The calls for them. */
    static final class Listing {
        private final WrittenFiles files;

        Listing(WrittenFiles files) {
            this.files = files;
        }

        @Dispatch.Superuser
        BatchedEntries<OpenFileEntry> listOpenFiles(long prevId) throws IOException {
            return files.list(prevId, OpenFilesIterator.FILTER_PATH_DEFAULT);
        }

        /** None keeps a DataNode from being retired: another one opens the same file. */
        @Dispatch.Superuser
        BatchedEntries<OpenFileEntry> listOpenFiles(long prevId, EnumSet<OpenFilesType> openFilesTypes, String path)
                throws IOException {
            return openFilesTypes.contains(OpenFilesType.ALL_OPEN_FILES) ? files.list(prevId, path)
                    : new BatchedListEntries<>(List.of(), false);
        }
    }

    /** A client of the machine writes a file. */
    void begun(long inode, HdfsPath path, String machine) {
        paths.put(inode, path);
        synchronized (machines) {
            if (machines.size() < MOST || machines.containsKey(inode)) {
                machines.put(inode, machine);
            }
        }
    }

    void ended(long inode) {
        synchronized (machines) {
            machines.remove(inode);
        }
    }

    int count() {
        synchronized (machines) {
            return machines.size();
        }
    }

    /** Forgets those that were closed or removed elsewhere; the look ends the leases of writers who were silent for long. */
    void sweep() {
        behind(0).forEach(this::look);
    }

    private BatchedEntries<OpenFileEntry> list(long previous, String path) throws IOException {
        String prefix = new Path(HdfsPath.of(path).toString()).toString();
        List<OpenFileEntry> listed = new ArrayList<>();
        for (Map.Entry<Long, String> each : behind(previous).entrySet()) {
            OpenFileEntry entry = look(each.getKey(), each.getValue()).orElse(null);
            if (entry != null && entry.getFilePath().startsWith(prefix)) {
                if (listed.size() == pageSize) {
                    return new BatchedListEntries<>(listed, true);
                }
                listed.add(entry);
            }
        }
        return new BatchedListEntries<>(listed, false);
    }

    private Map<Long, String> behind(long inode) {
        synchronized (machines) {
            return new TreeMap<>(machines.tailMap(inode, false));
        }
    }

    private Optional<OpenFileEntry> look(long inode, String machine) {
        HdfsPath path = paths.getIfThere(inode, parts.statuses());
        Optional<String> holder = path == null ? Optional.empty() : holder(path);
        if (holder.isEmpty()) {
            ended(inode);
        }
        return holder.map(client -> new OpenFileEntry(inode, path.toString(), client, machine));
    }

    private Optional<String> holder(HdfsPath path) {
        try {
            return parts.open().holder(path);
        } catch (IOException e) {
            return Optional.empty();  // gone meanwhile
        }
    }
}
