package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * Locks that all services on a folder share, so that a look at a file's lease and what follows from it are one step. They
 * are locks (flock(2)) on files of the service's own, which no user can hold; the kernel gives them back when a process
 * ends. Held for a moment only, and one at a time, since files share them.
 */
public final class Locks {
    private static final Logger LOG = LoggerFactory.getLogger(Locks.class);

    private static final int COUNT = 64;
    private static final int OWNER_ONLY = 0600;

    private final byte[][] files = new byte[COUNT][];

    public Locks(ServiceFolder service) throws IOException {
        java.nio.file.Path folder = service.directory("locks");
        for (int i = 0; i < COUNT; i++) {
            files[i] = folder.resolve(Integer.toString(i)).toString().getBytes(StandardCharsets.UTF_8);
        }
        try (Hold tried = hold(0)) {
            return;
        } catch (SystemCallException e) {
            if (e.errno() == SystemCallException.EROFS) {
                LOG.warn("{} may only be read: so it is served", folder);
                return;
            }
            throw new IOException("Files in " + folder + " cannot be locked, which two writers of a file would need: "
                    + e.getMessage(), e);
        }
    }

    /** A lock, until it is closed. */
    static final class Hold implements AutoCloseable {
        private final int descriptor;

        private Hold(int descriptor) {
            this.descriptor = descriptor;
        }

        @Override
        public void close() {
            NativeFiles.close(descriptor);
        }
    }

    /** Waits for the lock of a file. */
    Hold hold(long inode) throws IOException {
        byte[] file = files[(int) Long.remainderUnsigned(inode, COUNT)];
        try (Acting own = Acting.service()) {
            Hold hold = new Hold(SystemCallException.check(NativeFiles.open(NativeFiles.NO_DIRECTORY, file,
                    NativeFiles.O_RDWR | NativeFiles.O_CREAT | NativeFiles.O_NOFOLLOW, OWNER_ONLY), "a lock"));
            int result = NativeFiles.lock(hold.descriptor);
            if (result < 0) {
                hold.close();
            }
            SystemCallException.check(result, "a lock");
            return hold;
        }
    }
}
