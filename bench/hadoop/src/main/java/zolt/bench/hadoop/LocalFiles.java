package zolt.bench.hadoop;

import java.io.IOException;
import java.net.URI;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.concurrent.Callable;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RawLocalFileSystem;
import org.apache.hadoop.fs.permission.FsPermission;

/** Hadoop's own access to local files, as the benchmark asks for it: by name. */
public final class LocalFiles {
    private final RawLocalFileSystem files = new RawLocalFileSystem();

    private LocalFiles() throws IOException {
        files.initialize(URI.create("file:///"), new Configuration(false));
    }

    /** The operations on a file and on a directory; each answers as the benchmark's own ways do. */
    public static Map<String, Callable<Long>> operations(String file, String directory)
            throws IOException {
        RawLocalFileSystem files = new LocalFiles().files;
        Path path = new Path(file);
        Path folder = new Path(directory);
        FsPermission mode = new FsPermission((short) 0644);
        Map<String, Callable<Long>> operations = new LinkedHashMap<>();
        operations.put("getFileStatus", () -> sizeAndTime(files.getFileStatus(path)));
        operations.put("getFileStatus and owner", () -> {
            FileStatus status = files.getFileStatus(path);
            return sizeAndTime(status) + status.getOwner().length()
                    + status.getPermission().toShort();
        });
        operations.put("listStatus", () -> {
            long sum = 0;
            for (FileStatus status : files.listStatus(folder)) {
                sum += sizeAndTime(status);
            }
            return sum;
        });
        operations.put("setPermission", () -> {
            files.setPermission(path, mode);
            return 1L;
        });
        operations.put("setTimes", () -> {
            files.setTimes(path, 1500, 1500);
            return 1L;
        });
        operations.put("getXAttr", () -> (long) files.getXAttr(path, "user.name-0").length);
        return operations;
    }

    private static long sizeAndTime(FileStatus status) {
        return status.getLen() * 31 + status.getModificationTime() / 1000;
    }
}
