package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import org.apache.hadoop.fs.InvalidPathException;
import org.apache.hadoop.fs.Options.Rename;
import org.apache.hadoop.fs.permission.FsPermission;
import zolt.hdfs.namespace.Entry;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.Joining;
import zolt.hdfs.namespace.Renaming;

/**
 * The calls that change the tree of names. A client that heard no answer asks again, where nobody may know what was
 * answered: then it is told that it was done when things are as if it had been.
 */
final class TreeCalls {
    private final Parts parts;
    private final KnownPaths paths;

    TreeCalls(Parts parts, KnownPaths paths) {
        this.parts = parts;
        this.paths = paths;
    }

    @Dispatch.Changes("create directory")
    boolean mkdirs(String src, FsPermission masked, boolean createParent) throws IOException {
        parts.making().directory(HdfsPath.toCreate(src), masked, createParent);
        return true;
    }

    @Dispatch.Changes("delete")
    boolean delete(String src, boolean recursive) throws IOException {
        HdfsPath path = HdfsPath.of(src);
        return parts.removing().remove(path, recursive) || Requests.isRetry() && parts.statuses().getLink(path) == null;
    }

    @Dispatch.Changes("rename")
    boolean rename(String src, String dst) throws IOException {
        HdfsPath from = HdfsPath.of(src);
        HdfsPath to = HdfsPath.toCreate(dst);
        Optional<Renaming.Renamed> renamed = parts.renaming().rename(from, to);
        if (renamed.isEmpty()) {
            renamed = done(from, to);
        }
        if (renamed.isPresent()) {
            paths.moved(from, renamed.get().to());
        }
        return renamed.isPresent();
    }

    @Dispatch.Changes("rename")
    void rename2(String src, String dst, Rename... options) throws IOException {
        HdfsPath from = HdfsPath.of(src);
        HdfsPath to = HdfsPath.toCreate(dst);
        if (done(from, to).isEmpty()) {
            parts.renaming().rename(from, to, Arrays.asList(options).contains(Rename.OVERWRITE));
        }
        paths.moved(from, to);
    }

    private Optional<Renaming.Renamed> done(HdfsPath from, HdfsPath to) throws IOException {
        Entry there = Requests.isRetry() && parts.statuses().getLink(from) == null ? parts.statuses().getLink(to) : null;
        return there == null ? Optional.empty() : Optional.of(new Renaming.Renamed(there, to));
    }

    @Dispatch.Changes("concat")
    void concat(String trg, String[] srcs) throws IOException {
        List<HdfsPath> sources = new ArrayList<>();
        for (String src : srcs) {
            sources.add(HdfsPath.of(src));
        }
        new Joining(parts.folder(), parts.open(), parts.holders(), parts.removing()).join(HdfsPath.of(trg), sources,
                Requests.machine());
    }

    @Dispatch.Changes("create symlink")
    void createSymlink(String target, String link, FsPermission dirPerm, boolean createParent) throws IOException {
        if (target.isEmpty() || target.startsWith("/.reserved")) {
            throw new InvalidPathException("Invalid target name: " + target);
        }
        parts.making().link(HdfsPath.toCreate(link), target, createParent);
    }
}
