package zolt.hdfs.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.hdfs.protocol.DirectoryListing;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.HdfsLocatedFileStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.hdfs.protocol.UnresolvedPathException;
import org.apache.hadoop.security.AccessControlException;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Attributes;
import zolt.hdfs.namespace.Contents;
import zolt.hdfs.namespace.Details;
import zolt.hdfs.namespace.Entry;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.Listings;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.Statuses;

/** The calls that read the namespace. */
final class StatusCalls {
    private static final String INODES = "/.reserved/.inodes/";
    private static final byte[] NO_NAME = {};

    private final Statuses statuses;
    private final Listings listings;
    private final Contents contents;
    private final Attributes attributes;
    private final OpenFiles open;
    private final FileStatuses forms;
    private final Locations locations;
    private final KnownPaths paths;
    private final int pageSize;

    StatusCalls(Parts parts, FileStatuses forms, Locations locations, KnownPaths paths, int pageSize) {
        statuses = parts.statuses();
        listings = parts.listings();
        contents = parts.contents();
        attributes = parts.attributes();
        open = parts.open();
        this.forms = forms;
        this.locations = locations;
        this.paths = paths;
        this.pageSize = pageSize;
    }

    HdfsFileStatus getFileInfo(String src) throws IOException {
        HdfsPath path = path(src);
        return status(path, whereFileStands(path, true), false, false);
    }

    HdfsFileStatus getFileLinkInfo(String src) throws IOException {
        HdfsPath path = path(src);
        return status(path, whereFileStands(path, false), false, false);
    }

    HdfsLocatedFileStatus getLocatedFileInfo(String src, boolean needBlockToken) throws IOException {
        HdfsPath path = path(src);
        Entry entry = whereFileStands(path, true);
        return (HdfsLocatedFileStatus) status(path, entry, true, needBlockToken);
    }

    /** HDFS tells its superuser that there is nothing below a file; everybody else is told what stands there. */
    private Entry whereFileStands(HdfsPath path, boolean resolve) throws IOException {
        try {
            return resolve ? statuses.get(path) : statuses.getLink(path);
        } catch (AccessControlException e) {
            if (Acting.now().superuser()) {
                return null;
            }
            throw e;
        }
    }

    private HdfsFileStatus status(HdfsPath path, Entry entry, boolean located, boolean signed) throws IOException {
        if (entry == null) {
            return null;
        }
        Details details = statuses.details(path, entry);
        return forms.of(path, NO_NAME, entry, details, located && entry.isFile() ? locations.of(path, signed) : null);
    }

    /** That of an entry of a directory. Nobody can open one whose name is no text, so that it is listed without blocks. */
    private HdfsFileStatus status(HdfsPath directory, Listings.Item item, boolean located) throws IOException {
        boolean locate = located && item.entry().isFile();
        HdfsPath path = locate || item.entry().isLink() ? directory.child(item.text()) : directory;
        LocatedBlocks blocks = !locate ? null
                : item.isText() ? locations.of(path, false) : Blocks.none(item.entry().size());
        return forms.of(path, item.name(), item.entry(), item.details(), blocks);
    }

    LocatedBlocks getBlockLocations(String src, long offset, long length) throws IOException {
        if (offset < 0 || length < 0) {
            throw new org.apache.hadoop.HadoopIllegalArgumentException(
                    "Negative offset or length is not supported. File: " + src);
        }
        return locations.toRead(path(src), offset, length);
    }

    DirectoryListing getListing(String src, byte[] startAfter, boolean needLocation) throws IOException {
        HdfsPath path = path(src);
        Entry entry = statuses.get(path);
        if (entry == null) {
            return null;
        }
        if (!entry.isDirectory()) {
            return new DirectoryListing(new HdfsFileStatus[] {status(path, entry, needLocation, false)}, 0);
        }
        Listings.Page page = listings.list(path, after(startAfter), pageSize);
        java.util.List<HdfsFileStatus> items = new java.util.ArrayList<>(page.items().size());
        int left = page.items().size() + page.remaining();
        int locations = pageSize;
        for (Listings.Item item : page.items()) {
            if (locations <= 0) {
                break;
            }
            left--;
            try {
                HdfsFileStatus status = status(path, item, needLocation);
                items.add(status);
                locations -= blocksIn(status);
            } catch (FileNotFoundException | java.nio.file.NoSuchFileException e) {
                continue;  // removed since the directory was read
            }
        }
        return new DirectoryListing(items.toArray(new HdfsFileStatus[0]), left);
    }

    /** A page has at most so many blocks too, as with Hadoop's own NameNode, and those of one more file. */
    private static int blocksIn(HdfsFileStatus status) {
        LocatedBlocks blocks = status instanceof HdfsLocatedFileStatus
                ? ((HdfsLocatedFileStatus) status).getLocatedBlocks() : null;
        return blocks == null ? 0 : blocks.locatedBlockCount() * status.getReplication();
    }

    /** A client that goes on by inode number names the last entry by its whole path. */
    private static byte[] after(byte[] startAfter) {
        String text = new String(startAfter, StandardCharsets.UTF_8);
        return text.startsWith("/") ? text.substring(text.lastIndexOf('/') + 1).getBytes(StandardCharsets.UTF_8)
                : startAfter;
    }

    ContentSummary getContentSummary(String src) throws IOException {
        Contents.Sum sum = contents.of(path(src));
        return new ContentSummary.Builder().length(sum.length()).fileCount(sum.files() + sum.links())
                .directoryCount(sum.directories()).spaceConsumed(sum.copies())
                .erasureCodingPolicy(sum.directories() == 0 ? "Replicated" : "").build();
    }

    /** Where a client goes on that was refused because of a link, at the end of the path or before it. */
    String getLinkTarget(String src) throws IOException {
        if (src.startsWith(INODES)) {
            return pathOfInode(src);
        }
        try {
            return statuses.target(path(src));
        } catch (UnresolvedPathException e) {
            return e.getResolvedPath().toString();
        }
    }

    /** For a DataNode on a file system without handles. */
    private String pathOfInode(String src) throws IOException {
        Acting.now().requireSuperuser();
        HdfsPath path = paths.getIfThere(inode(src), statuses);
        if (path == null) {
            throw new FileNotFoundException("Nobody has asked for inode " + inode(src) + " lately");
        }
        return path.toString();
    }

    /** A path, or an inode number that was lately seen somewhere. */
    private HdfsPath path(String src) throws IOException {
        if (!src.startsWith(INODES)) {
            return HdfsPath.of(src);
        }
        String rest = src.substring(INODES.length());
        int slash = rest.indexOf('/');
        HdfsPath known = paths.get(inode(slash < 0 ? src : src.substring(0, INODES.length() + slash)));
        if (known == null) {
            throw new FileNotFoundException("File does not exist: " + src);
        }
        return slash < 0 ? known : HdfsPath.of((known.isRoot() ? "" : known.toString()) + rest.substring(slash));
    }

    private static long inode(String src) throws IOException {
        try {
            return Long.parseLong(src.substring(INODES.length()));
        } catch (NumberFormatException e) {
            throw new FileNotFoundException("File does not exist: " + src);
        }
    }

    boolean isFileClosed(String src) throws IOException {
        HdfsPath path = path(src);
        statuses.requireFile(path);
        return open.holder(path).isEmpty();
    }

    long getPreferredBlockSize(String filename) throws IOException {
        HdfsPath path = path(filename);
        return statuses.details(path, statuses.requireFile(path)).blockSize();
    }

    void checkAccess(String src, FsAction mode) throws IOException {
        attributes.check(path(src), mode);
    }

    Path getEnclosingRoot(String src) {
        return new Path("/");
    }
}
