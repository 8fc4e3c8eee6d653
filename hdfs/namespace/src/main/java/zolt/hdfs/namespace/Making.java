package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.EnumSet;
import java.util.Set;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsCreateModes;
import org.apache.hadoop.fs.permission.FsPermission;

/** Directories and links, and the directories above them. */
public final class Making {
    private static final int STICKY = 01000;
    private static final int OWNER_WRITE_SEARCH = 0300;
    private static final int BITS = 9;

    private final Folder folder;
    private final int mask;

    /** In a process that has no mask of its own. */
    public Making(Folder folder) {
        this(folder, 0);
    }

    /** The process's own mask, as proc(5) tells it: the call that answers it changes it. */
    public static int maskOfProcess() throws IOException {
        for (String line : Files.readAllLines(Path.of("/proc/self/status"), StandardCharsets.ISO_8859_1)) {
            if (line.startsWith("Umask:")) {
                return Integer.parseInt(line.substring(line.indexOf(':') + 1).trim(), Byte.SIZE);
            }
        }
        throw new IOException("/proc/self/status has no mask");
    }

    /** @param mask that of the process; what the client wants counts, and not the mask */
    public Making(Folder folder, int mask) {
        this.folder = folder;
        this.mask = mask;
    }

    /** Makes a directory; one that is there already will do. */
    public void directory(HdfsPath path, FsPermission mode, boolean parents) throws IOException {
        if (!isMade(path, mode)) {
            above(path, mode, parents);
            if (!isMade(path, mode)) {
                throw missing(path.parent());
            }
        }
    }

    /**
     * Makes what is missing above a path, so that its maker can go on below: with the right to write and search for
     * the owner, whatever the mode. First up to what is there, then down again: a path has up to 1,000 levels.
     */
    void above(HdfsPath path, FsPermission mode, boolean wanted) throws IOException {
        if (!wanted || path.isHidden()) {
            throw missing(path.parent());
        }
        FsPermission widened = widened(mode);
        int depth = path.depth() - 1;
        while (depth > 0 && !isMade(path.prefix(depth), widened)) {
            depth--;
        }
        while (++depth < path.depth()) {
            if (!isMade(path.prefix(depth), widened)) {
                throw missing(path.prefix(depth - 1));
            }
        }
    }

    /**
     * Makes what is missing above a file or a link: directories with the mode of the one that is there, as HDFS has it,
     * for the mode of a file is none for a directory.
     */
    void aboveFile(HdfsPath path, boolean wanted) throws IOException {
        int depth = path.depth() - 1;
        Entry there = folder.findToCreate(path.prefix(depth));
        while (there == null && depth > 0) {
            depth--;
            there = folder.findToCreate(path.prefix(depth));
        }
        above(path, new FsPermission((short) (there == null ? OWNER_WRITE_SEARCH : there.permissions())), wanted);
    }

    private static FileNotFoundException missing(HdfsPath parent) {
        return new FileNotFoundException("Parent directory doesn't exist: " + parent);
    }

    /** Whether the directory is there now, made or found; false where the one above it is missing. */
    private boolean isMade(HdfsPath path, FsPermission wanted) throws IOException {
        try {
            int mode = mode(path, wanted);
            Group.make(folder, path, name -> NativeFiles.makeDirectory(name, mode));
            if (isMasked(path, mode)) {
                unmask(path, mode);
            }
            return true;
        } catch (SystemCallException e) {
            if (e.errno() == SystemCallException.EEXIST) {
                return isDirectory(path);
            } else if (e.errno() == SystemCallException.ENOENT && !path.isHidden()) {
                return false;
            }
            throw folder.refusalToCreate(path, e, FsAction.WRITE);
        }
    }

    private boolean isDirectory(HdfsPath path) throws IOException {
        Entry there = folder.findToCreate(path);
        if (there == null) {
            return false;
        } else if (there.isLink()) {
            throw folder.link(path);
        } else if (!there.isDirectory()) {
            throw new FileAlreadyExistsException("Path is not a directory: " + path);
        }
        return true;
    }

    private static FsPermission widened(FsPermission mode) {
        FsPermission masked = new FsPermission((short) (mode.toShort() | OWNER_WRITE_SEARCH));
        return mode.getUnmasked() == null ? masked
                : FsCreateModes.create(masked, new FsPermission((short) (mode.getUnmasked()
                .toShort() | OWNER_WRITE_SEARCH)));
    }

    /**
     * The mode to make something with: the kernel itself combines the one that the client's mask has not narrowed
     * with a default access control list, and the client's mask does not count then.
     */
    int mode(HdfsPath path, FsPermission wanted) throws IOException {
        FsPermission unmasked = wanted.getUnmasked();
        boolean inherits = unmasked != null && !unmasked.equals(wanted) && !path.isRoot()
                && folder.hasDefaultAcl(path.parent());
        return (inherits ? unmasked : wanted).toShort() & (STICKY | 0777);
    }

    /** Whether the process's mask has taken something from what was just made; with a default list it takes nothing. */
    boolean isMasked(HdfsPath path, int mode) throws SystemCallException {
        return (mode & mask) != 0 && !folder.hasDefaultAcl(path.parent());
    }

    private void unmask(HdfsPath path, int mode) throws IOException {
        try (Place place = folder.place(path)) {
            int kept = Entry.of(place.descriptor()).handsGroupDown() ? Attributes.SET_GROUP_ID : 0;
            Files.setAttribute(Path.of(place.pinned()), "unix:mode", mode | kept);
        }
    }

    static FileAttribute<Set<PosixFilePermission>> permissions(int mode) {
        Set<PosixFilePermission> set = EnumSet.noneOf(PosixFilePermission.class);
        PosixFilePermission[] all = PosixFilePermission.values();
        for (int bit = 0; bit < BITS; bit++) {
            if ((mode >> BITS - 1 - bit & 1) != 0) {
                set.add(all[bit]);
            }
        }
        return PosixFilePermissions.asFileAttribute(set);
    }

    /** Makes a link to what is not looked at. */
    public void link(HdfsPath path, String target, boolean parents) throws IOException {
        try {
            Group.make(folder, path, name -> NativeFiles.makeLink(
                    folder.root().targetForKernel(target).getBytes(StandardCharsets.UTF_8), name));
        } catch (IOException e) {
            int errno = Errors.of(e);
            if (errno == SystemCallException.ENOENT) {
                aboveFile(path, parents);
                link(path, target, false);
            } else if (errno == SystemCallException.EEXIST) {
                throw new FileAlreadyExistsException("failed to create link " + path
                        + " either because the filename is invalid or the file exists");
            } else {
                throw folder.refusalToCreate(path, e, FsAction.WRITE);
            }
        }
    }
}
