package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.HadoopIllegalArgumentException;

/**
 * The bytes of some files behind those of another, and the files gone: HDFS does that with names alone, a file system
 * copies.
 */
public final class Joining {
    private final Folder folder;
    private final OpenFiles open;
    private final Removing removing;

    public Joining(Folder folder, OpenFiles open, Removing removing) {
        this.folder = folder;
        this.open = open;
        this.removing = removing;
    }

    /** Joins; when it fails before all bytes are there, the target is as it was, and so are the sources. */
    public void join(HdfsPath target, List<HdfsPath> sources, OpenFiles.Writer writer) throws IOException {
        Entry into = folder.requireFile(target);
        check(target, into, sources);
        try (WritableFile file = WritableFile.open(folder, target)) {
            open.whileLeased(target, file, writer, () -> copy(file, sources));
        }
        for (HdfsPath source : sources) {
            removing.remove(source, false);
        }
    }

    private void check(HdfsPath target, Entry into, List<HdfsPath> sources) throws IOException {
        if (sources.isEmpty()) {
            throw new HadoopIllegalArgumentException("No sources given");
        }
        Set<Long> inodes = new HashSet<>();
        for (HdfsPath source : sources) {
            Entry entry = folder.requireFile(source);
            if (entry.isSameAs(into)) {
                throw new HadoopIllegalArgumentException("concat: the src file " + source
                        + " is the same with the target file " + target);
            }
            if (!source.parent().equals(target.parent())) {
                throw new HadoopIllegalArgumentException("Source file " + source
                        + " is not in the same directory with the target " + target);
            }
            if (entry.size() == 0 || open.holder(source).isPresent()) {
                throw new HadoopIllegalArgumentException("concat: source file " + source
                        + " is invalid or empty or underConstruction");
            }
            if (!inodes.add(entry.inode())) {
                throw new HadoopIllegalArgumentException("concat: at least two of the source files are the same");
            }
        }
    }

    private void copy(WritableFile target, List<HdfsPath> sources) throws IOException {
        try (FileChannel to = channel(target.name(), StandardOpenOption.WRITE)) {
            long size = to.size();
            try {
                for (HdfsPath source : sources) {
                    append(source, to);
                }
                to.force(true);
            } catch (IOException e) {
                to.truncate(size);
                throw e;
            }
        }
    }

    /** The kernel has let the caller read the one file and write the other. */
    private void append(HdfsPath source, FileChannel to) throws IOException {
        try (OpenedFile file = OpenedFile.toRead(folder, source);
                FileChannel from = channel(Place.nameOf(file.descriptor()), StandardOpenOption.READ)) {
            to.position(to.size());
            long size = from.size();
            for (long done = 0; done < size;) {
                long now = from.transferTo(done, size - done, to);
                if (now <= 0) {
                    throw new IOException(source + " has become shorter");
                }
                done += now;
            }
        }
    }

    private static FileChannel channel(String name, StandardOpenOption how) throws IOException {
        try (Acting own = Acting.service()) {
            return FileChannel.open(Path.of(name), how);
        }
    }
}
