package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.UUID;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The bytes of some files behind those of another, and the files gone: HDFS does that with names alone, a file system
 * copies.
 */
public final class Joining {
    private static final Logger LOG = LoggerFactory.getLogger(Joining.class);
    /** So much is copied between two signs of life. */
    private static final long CHUNK = 64 << 20;

    private final Folder folder;
    private final OpenFiles open;
    private final Leases leases;
    private final Holders holders;
    private final Removing removing;

    public Joining(Folder folder, OpenFiles open, Holders holders, Removing removing) {
        this.folder = folder;
        this.open = open;
        this.holders = holders;
        this.removing = removing;
        leases = open.leases();
    }

    /** A file that is to be joined, as it is while nobody else may write it. */
    private record Source(HdfsPath path, Entry entry, Session session) {}

    /**
     * Joins. When that fails or is broken off, the target has what it had, and behind it the sources that are gone; one
     * source at most, whose bytes the target has, may be there still.
     */
    public void join(HdfsPath target, List<HdfsPath> paths, String machine) throws IOException {
        Entry into = folder.requireFile(target);
        check(folder, target, into, paths, source -> open.holder(source).isPresent());
        String call = UUID.randomUUID().toString();
        OpenFiles.Writer writer = new OpenFiles.Writer("concat-" + call, machine, call);
        List<Source> sources = new ArrayList<>();
        try (WritableFile file = WritableFile.open(folder, target)) {
            Session session = leases.take(file.descriptor(), writer, true, what(target, machine));
            try {
                for (HdfsPath path : paths) {
                    sources.add(take(path, writer));
                }
                List<Long> ends = copy(file, sources, writer);
                for (int i = 0; i < sources.size(); i++) {
                    leases.keep(file.descriptor(), session, ends.get(i + 1));
                    removeOrForget(file, session, sources.get(i), ends.get(i));
                }
            } finally {
                release(sources);
                leases.endIfHeld(file.descriptor(), session);
            }
        } finally {
            holders.forget(writer.client());
        }
    }

    private static String what(HdfsPath path, String machine) {
        return "Failed to CONCAT_FILE " + path + " for " + machine;
    }

    private Source take(HdfsPath path, OpenFiles.Writer writer) throws IOException {
        try (OpenedFile file = OpenedFile.toRead(folder, path)) {
            Session session = leases.take(file.descriptor(), writer, false, what(path, writer.machine()));
            return new Source(path, Entry.of(file.descriptor()), session);
        }
    }

    /** Removes a source, when it is still what was copied; one that stays is no part of the target. */
    private void removeOrForget(WritableFile target, Session session, Source source, long end) throws IOException {
        try (OpenedFile file = open(source, OpenedFile.toName(folder, source.path))) {
            leases.end(file.descriptor(), source.session, () -> {
                requireSame(source, Entry.of(file.descriptor()));
                removing.remove(source.path, false);
            });
        } catch (IOException e) {
            Entry there = folder.find(source.path);
            if (there != null && there.isSameAs(source.entry)) {
                leases.keep(target.descriptor(), session, end);
            }
            throw e;
        }
    }

    /** A lease that cannot be given back ends by itself. */
    private void release(List<Source> sources) {
        for (Source source : sources) {
            try (OpenedFile file = OpenedFile.toName(folder, source.path)) {
                if (file.entry().isSameAs(source.entry)) {
                    leases.endIfHeld(file.descriptor(), source.session);
                }
            } catch (IOException e) {
                LOG.debug("The lease of {} is left", source.path, e);
            }
        }
    }

    private static OpenedFile open(Source source, OpenedFile file) throws IOException {
        try {
            requireSame(source, file.entry());
            return file;
        } catch (IOException e) {
            file.close();
            throw e;
        }
    }

    private static void requireSame(Source source, Entry now) throws IOException {
        if (!now.isSameAs(source.entry) || now.size() != source.entry.size()
                || now.modifyNanos() != source.entry.modifyNanos()) {
            throw new IOException(source.path + " was changed while it was joined");
        }
    }

    /** Tells whether a file is being written. */
    @FunctionalInterface
    interface Written {
        boolean is(HdfsPath path) throws IOException;
    }

    static void check(Folder folder, HdfsPath target, Entry into, List<HdfsPath> sources, Written written)
            throws IOException {
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
            if (entry.size() == 0 || written.is(source)) {
                throw new HadoopIllegalArgumentException("concat: source file " + source
                        + " is invalid or empty or underConstruction");
            }
            if (!inodes.add(entry.inode())) {
                throw new HadoopIllegalArgumentException("concat: at least two of the source files are the same");
            }
        }
    }

    /** Copies, and answers where the target ended before, and where it ends behind each source. */
    private List<Long> copy(WritableFile target, List<Source> sources, OpenFiles.Writer writer) throws IOException {
        try (FileChannel to = target.channel()) {
            List<Long> ends = new ArrayList<>(List.of(to.size()));
            to.position(to.size());
            for (Source source : sources) {
                try (OpenedFile file = open(source, OpenedFile.toRead(folder, source.path));
                        FileChannel from = FileChannel.open(Path.of(NativeFiles.nameOf(file.descriptor())),
                                StandardOpenOption.READ)) {
                    copy(source, from, to, writer);
                }
                ends.add(to.position());
            }
            to.force(true);
            return ends;
        }
    }

    private void copy(Source source, FileChannel from, FileChannel to, OpenFiles.Writer writer) throws IOException {
        long size = source.entry.size();
        for (long done = 0; done < size;) {
            holders.touch(writer.client());
            long now = from.transferTo(done, Math.min(CHUNK, size - done), to);
            if (now <= 0) {
                throw new IOException(source.path + " has become shorter");
            }
            done += now;
        }
    }
}
