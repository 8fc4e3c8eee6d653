package zolt.hdfs.filesystem;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Collection;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.fs.BulkDelete;
import org.apache.hadoop.fs.BulkDeleteUtils;
import org.apache.hadoop.fs.Path;

/** Removes many files with one change of identity, each as {@code delete} does that goes into no directory. */
final class ZoltBulkDelete implements BulkDelete {
    /** As many as programs gather for an object store. */
    static final int PAGE = 1000;

    private final ZoltFileSystem files;
    private final Path base;

    private ZoltBulkDelete(ZoltFileSystem files, Path base) {
        this.files = files;
        this.base = base;
    }

    /** The interface is newer than the oldest Hadoop that the file system is for: that one never comes here. */
    static BulkDelete of(ZoltFileSystem files, Path base) {
        return new ZoltBulkDelete(files, base);
    }

    @Override
    public int pageSize() {
        return PAGE;
    }

    @Override
    public Path basePath() {
        return base;
    }

    @Override
    public List<Map.Entry<Path, String>> bulkDelete(Collection<Path> paths) throws IOException {
        BulkDeleteUtils.validateBulkDeletePaths(paths, PAGE, base);
        List<Path> leavesFirst = new ArrayList<>(paths);
        leavesFirst.sort(Comparator.comparingInt(Path::depth).reversed());
        return files.deleteEach(leavesFirst);
    }

    @Override
    public void close() {
        // Nothing is held between calls.
    }
}
