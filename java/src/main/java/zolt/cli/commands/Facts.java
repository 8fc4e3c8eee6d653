package zolt.cli.commands;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Paths;
import java.nio.file.attribute.FileTime;
import java.time.Instant;
import java.time.format.DateTimeFormatter;
import java.time.format.DateTimeFormatterBuilder;
import java.time.format.SignStyle;
import java.time.temporal.ChronoField;
import java.util.Map;
import zolt.cli.output.Json;
import zolt.cli.output.Kind;
import zolt.fs.Accounts;
import zolt.fs.FileOperations;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

/**
 * What is known of one path: the status record, or for a symbolic link itself, of which the library has
 * no record, the attributes that Java reads.
 */
final class Facts {
    private static final int PERMISSION_BITS = 07777;
    private static final int YEAR_DIGITS = 4;
    private static final int MOST_YEAR_DIGITS = 10;

    long inode;
    long size;
    long uid;
    long gid;
    int mode;
    boolean acl;
    Instant accessed;
    Instant modified;
    Instant changed;
    /** Block size, replication and lease were asked for and could be read. */
    boolean full;
    long blockSize;
    int replication;
    int leaseLength;
    byte[] target;

    /** Of a path itself or, when following, of what it leads to. */
    static Facts of(String path, boolean follow, FileStatus reader) throws IOException {
        return follow || !isLink(path) ? ofTarget(path, true, reader) : ofLink(path);
    }

    /** A slash at the end follows a link, as in every call of the kernel; Java leaves it out. */
    static boolean isLink(String path) {
        return !path.endsWith("/") && Files.isSymbolicLink(Paths.get(path));
    }

    /** Of what a path leads to. */
    static Facts ofTarget(String path, boolean full, FileStatus reader) throws IOException {
        reader.readFast(path);
        boolean more = false;
        if (full && reader.type() == FileType.FILE) {
            try {
                reader.read(path);
                more = true;
            } catch (AccessDeniedException e) {
                // Whoever may see a file but not open it, and is no superuser, sees the rest.
                reader.readFast(path);
            }
        }
        Facts facts = new Facts();
        facts.inode = reader.inode();
        facts.size = reader.size();
        facts.uid = reader.uid();
        facts.gid = reader.gid();
        facts.mode = reader.mode();
        facts.acl = reader.hasAcl();
        facts.accessed = reader.accessTime();
        facts.modified = reader.modificationTime();
        facts.changed = reader.changeTime();
        facts.full = more;
        facts.blockSize = reader.blockSize();
        facts.replication = reader.replication();
        facts.leaseLength = reader.leaseLength();
        return facts;
    }

    /** Of a symbolic link itself. */
    static Facts ofLink(String path) throws IOException {
        Facts facts = new Facts();
        facts.inode = FileOperations.inode(path, false); // its failure says more than Java's
        facts.target = FileOperations.linkTarget(path);
        Map<String, Object> found = Files.readAttributes(Paths.get(path), "unix:*",
                LinkOption.NOFOLLOW_LINKS);
        facts.size = (Long) found.get("size");
        facts.uid = Integer.toUnsignedLong((Integer) found.get("uid"));
        facts.gid = Integer.toUnsignedLong((Integer) found.get("gid"));
        facts.mode = (Integer) found.get("mode");
        facts.accessed = ((FileTime) found.get("lastAccessTime")).toInstant();
        facts.modified = ((FileTime) found.get("lastModifiedTime")).toInstant();
        facts.changed = ((FileTime) found.get("ctime")).toInstant();
        return facts;
    }

    FileType type() {
        return FileType.ofMode(mode);
    }

    String octal() {
        return String.format("%04o", mode & PERMISSION_BITS);
    }

    /** As ls(1) has it: "drwxr-xr-x", with a "+" where there is an access control list. */
    String modeText() {
        return FileStatus.modeText(mode, acl);
    }

    Json putInto(Json json) {
        json.put("type", Kind.of(type())).put("inode", inode).put("size", size).put("mode", octal())
                .put("modeText", modeText()).put("owner", Accounts.userOrId(uid)).put("uid", uid)
                .put("group", Accounts.groupOrId(gid)).put("gid", gid).put("acl", acl)
                .put("accessed", accessed.toString()).put("modified", modified.toString())
                .put("changed", changed.toString());
        if (full) {
            json.put("blockSize", blockSize).put("replication", replication)
                    .put("leaseHolderBytes", leaseLength);
        }
        return target == null ? json : json.put("target", target);
    }

    /** A day as ls(1) and stat(1) show it, and a time: later years have more digits, and no sign. */
    static DateTimeFormatter times(String time) {
        return new DateTimeFormatterBuilder()
                .appendValue(ChronoField.YEAR, YEAR_DIGITS, MOST_YEAR_DIGITS, SignStyle.NORMAL)
                .appendPattern("-MM-dd " + time).toFormatter();
    }
}
