package zolt.hdfs.namenode;

import java.util.LinkedHashMap;
import java.util.Map;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.Renaming;

/** Where inodes were last seen: for a DataNode that has to open a file by its path. Bounded, and lost without harm. */
final class KnownPaths {
    private static final int MOST = 100_000;
    private static final float LOAD = 0.75f;

    private final Map<Long, String> paths = new LinkedHashMap<>(16, LOAD, true) {
        private static final long serialVersionUID = 1;

        @Override
        protected boolean removeEldestEntry(Map.Entry<Long, String> eldest) {
            return size() > MOST;
        }
    };

    synchronized void put(long inode, HdfsPath path) {
        paths.put(inode, path.toString());
    }

    /** Null for an inode that nobody asked about lately. */
    synchronized HdfsPath get(long inode) {
        String path = paths.get(inode);
        return path == null ? null : HdfsPath.of(path);
    }

    /** An entry has another path now, and so has all below it. */
    synchronized void moved(HdfsPath from, Renaming.Renamed where) {
        String to = where.to().toString();
        paths.computeIfPresent(where.entry().inode(), (inode, path) -> to);
        if (where.entry().isDirectory()) {
            String before = from.toString();
            String below = before + "/";
            paths.replaceAll((inode, path) -> path.startsWith(below) ? to + path.substring(before.length()) : path);
        }
    }
}
