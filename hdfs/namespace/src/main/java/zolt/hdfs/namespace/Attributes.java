package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Instant;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.security.AccessControlException;
import zolt.fs.FileOperations;

/** Mode, owners, times, copies: with the rights of the caller, as the kernel gives them. */
public final class Attributes {
    private static final long KEEP = -1;
    private static final int MOST_COPIES = 512;
    private static final int KNOWN = 01777;
    static final int SET_GROUP_ID = 02000;

    private final Folder folder;

    public Attributes(Folder folder) {
        this.folder = folder;
    }

    @FunctionalInterface
    private interface Change {
        void on(Place place) throws IOException;
    }

    /** Changes what the path holds now, which is no link, and stays that until the change is done. */
    private void change(HdfsPath path, FsAction wanted, Change change) throws IOException {
        try (Place place = folder.held(path)) {
            try {
                change.on(place);
            } catch (IOException e) {
                throw folder.refusal(path, e, wanted);
            }
        }
    }

    /** Sets the bits that HDFS knows. A directory that hands its group down goes on to do so. */
    public void mode(HdfsPath path, int mode) throws IOException {
        change(path, FsAction.WRITE, place -> {
            int kept = place.entry().handsGroupDown() ? SET_GROUP_ID : 0;
            Files.setAttribute(Path.of(place.pinned()), "unix:mode", mode & KNOWN | kept);
        });
    }

    /**
     * Gives an entry away, or to another group; null leaves one as it is. Only the superuser gives away; an owner
     * takes another of its groups.
     */
    public void owner(HdfsPath path, String user, String group) throws IOException {
        Entry entry = folder.require(path);
        Caller caller = Acting.now();
        if (!caller.superuser()) {
            if (entry.uid() != caller.uid()) {
                throw new AccessControlException("Permission denied. user=" + caller.user()
                        + " is not the owner of inode=" + path);
            }
            if (user != null && !user.equals(caller.user())) {
                throw new AccessControlException("User " + caller.user()
                        + " is not a super user (non-super user cannot change owner).");
            }
            if (group != null && !caller.isIn(Names.gid(group))) {
                throw new AccessControlException("User " + caller.user() + " does not belong to " + group);
            }
        }
        int gid = group == null ? -1 : Names.gid(group);
        int uid = user == null ? -1 : Names.uid(user);
        change(path, FsAction.WRITE, place -> {
            Path file = Path.of(place.pinned());
            if (group != null) {
                Files.setAttribute(file, "unix:gid", gid);
            }
            if (user != null) {
                Files.setAttribute(file, "unix:uid", uid);
            }
        });
    }

    /** Sets times in milliseconds; -1 leaves one as it is. */
    public void times(HdfsPath path, long modified, long accessed) throws IOException {
        change(path, FsAction.WRITE, place -> FileOperations.setTimes(place.pinned(), time(modified),
                time(accessed)));
    }

    private static Instant time(long millis) {
        return millis == KEEP ? null : Instant.ofEpochMilli(millis);
    }

    /** A number of copies that a file may have. */
    public static short requireCopies(String path, short copies) {
        if (copies < 1 || copies > MOST_COPIES) {
            throw new HadoopIllegalArgumentException("Requested replication factor of " + copies
                    + (copies < 1 ? " is less than the required minimum of 1" : " exceeds maximum of " + MOST_COPIES)
                    + " for " + path);
        }
        return copies;
    }

    /** Sets the number of copies of a file; false for a directory. */
    public boolean replication(HdfsPath path, int copies) throws IOException {
        if (!folder.require(path).isFile()) {
            return false;
        }
        try (WritableFile file = WritableFile.open(folder, path); Acting own = Acting.service()) {
            FileOperations.setReplication(file.name(), copies, false);
            return true;
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, FsAction.WRITE);
        }
    }

    /** Answers when the caller may do this; else AccessControlException. The kernel decides. */
    public void check(HdfsPath path, FsAction action) throws IOException {
        Entry entry = folder.findResolved(path);
        if (entry == null) {
            throw new FileNotFoundException("Path not found: " + path);
        }
        try (Place place = folder.place(path)) {
            int result = NativeFiles.mayAccess(place.bytes(), action.ordinal());
            SystemCallException.check(result, path.toString());
        } catch (SystemCallException e) {
            throw folder.refusal(path, e, action);
        }
    }
}
