package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.PathIOException;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.DSQuotaExceededException;
import org.apache.hadoop.hdfs.protocol.UnresolvedPathException;
import org.apache.hadoop.security.AccessControlException;

/**
 * The exceptions that clients of HDFS expect, for what the kernel refused. The kernel has decided already; the path
 * is walked afterwards only to say why, with the caller's own rights, so that nothing is told that the caller may not
 * know.
 */
final class Refusals {
    private static final int NAME_BYTES = 255;

    private final Folder folder;
    private final RefusalListener listener;

    Refusals(Folder folder, RefusalListener listener) {
        this.folder = folder;
        this.listener = listener;
    }

    IOException of(HdfsPath path, IOException failure, FsAction wanted, boolean creating) {
        int errno = Errors.of(failure);
        try {
            IOException found = onTheWay(path, errno, creating);
            if (found != null) {
                return found;
            }
        } catch (IOException e) {
            return e;
        }
        switch (errno) {
            case SystemCallException.ENOENT:
                return new FileNotFoundException("File does not exist: " + path);
            case SystemCallException.EACCES:
                return denied(path, wanted, creating);
            case SystemCallException.EPERM:
                return new AccessControlException(Acting.now().superuser()
                        ? "Permission denied. The file system refuses it to everybody, as of what is immutable: " + path
                        : "Permission denied. user=" + Acting.now().user() + " is not the owner of inode=" + path);
            case SystemCallException.EEXIST:
                return new FileAlreadyExistsException(path + " already exists");
            case SystemCallException.ENOTEMPTY:
                return new PathIsNotEmptyDirectoryException(path + " is non empty");
            case SystemCallException.ENAMETOOLONG:
                String parent = path.isRoot() ? "/" : path.parent().toString();
                return Acting.isGuest()
                        ? new PathIOException(parent, path.name() + " is longer than " + NAME_BYTES + " bytes")
                        : ServerExceptions.nameTooLong(NAME_BYTES, path.name().length(), parent, path.name());
            case SystemCallException.EDQUOT:
                return new DSQuotaExceededException("The quota of the file system is used up: " + path);
            default:
                return new IOException(failure.getMessage(), failure);
        }
    }

    /** What stands in the way before the end of the path: a link, a file, or a directory that may not be searched. */
    private IOException onTheWay(HdfsPath path, int errno, boolean creating) throws IOException {
        if (errno != SystemCallException.EACCES && errno != SystemCallException.ENOTDIR
                && errno != SystemCallException.ELOOP) {
            return null;
        }
        for (int depth = 0; depth < path.depth(); depth++) {
            HdfsPath here = path.prefix(depth);
            Entry entry;
            try {
                entry = folder.status(here);
            } catch (SystemCallException e) {
                return e.errno() == SystemCallException.EACCES ? searchDenied(here.parent()) : null;
            }
            if (entry.isLink()) {
                return link(path, depth);
            }
            if (!entry.isDirectory()) {
                String text = here + " (is not a directory)";
                return creating ? new ParentNotDirectoryException(text) : new AccessControlException(text);
            }
        }
        try {
            if (folder.status(path).isLink()) {
                return link(path, path.depth());
            }
        } catch (SystemCallException e) {
            return e.errno() == SystemCallException.EACCES ? searchDenied(path.parent()) : null;
        }
        return null;
    }

    /** By this exception the client goes on at the link's target. */
    IOException link(HdfsPath path, int depth) {
        HdfsPath link = path.prefix(depth);
        try {
            return new UnresolvedPathException(path.toString(), link.parent().toString(), path.remainder(depth),
                    folder.target(link));
        } catch (IOException e) {
            return new IOException("a link that cannot be read: " + link, e);
        }
    }

    private IOException searchDenied(HdfsPath directory) {
        return denied(directory, directory, FsAction.EXECUTE);
    }

    private IOException denied(HdfsPath path, FsAction wanted, boolean creating) {
        return denied(path, creating && !path.isRoot() ? path.parent() : path, wanted);
    }

    /** In the words of HDFS, as far as the caller may see whose the entry is. */
    private AccessControlException denied(HdfsPath path, HdfsPath refusing, FsAction wanted) {
        listener.refused(Acting.now(), refusing, wanted);
        StringBuilder text = new StringBuilder("Permission denied: user=").append(Acting.now().user())
                .append(", access=").append(wanted).append(", inode=\"").append(refusing).append('"');
        try {
            Entry entry = folder.status(refusing);
            text.append(':').append(folder.names().user(entry.uid())).append(':')
                    .append(folder.names().group(entry.gid())).append(':').append(entry.isDirectory() ? 'd' : '-')
                    .append(new FsPermission((short) entry.permissions()));
        } catch (IOException e) {
            text.append(" of ").append(path);
        }
        return new AccessControlException(text.toString());
    }
}
