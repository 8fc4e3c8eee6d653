package zolt.hdfs.datanode;

import java.io.FileOutputStream;
import java.io.IOException;
import java.util.Optional;
import zolt.hdfs.namespace.HeldLease;

/**
 * The bytes of a block into its file, in place, as long as the lease that the file had at the start lasts. A DataNode
 * may hang with packets in its buffers while the client goes on without it; when it wakes up, the file may long be
 * another client's, or the same one's in another session. The lease is looked at before each packet.
 */
final class LeasedOutput extends FileOutputStream {
    private final BlockFile file;
    private final Optional<HeldLease> lease;
    private final Runnable closed;
    private long end;
    private boolean isClosed;

    /** Takes over the file. */
    private LeasedOutput(BlockFile file, long position, Optional<HeldLease> lease, Runnable closed) throws IOException {
        super(file.write(position));
        this.file = file;
        this.lease = lease;
        this.closed = closed;
        end = position;
    }

    /**
     * Opens a file for writing from a position on.
     *
     * @param session the session that may write; nothing for whichever has the lease
     * @param file is closed with the stream, and when it cannot be opened
     * @param closed is run when the stream is closed
     */
    static LeasedOutput open(BlockFile file, long position, Optional<String> session, Runnable closed)
            throws IOException {
        try {
            Optional<HeldLease> lease = file.lease();
            if (lease.isEmpty()) {
                throw new IOException("No client has a lease of " + file + ", so nothing is written to it");
            }
            if (session.isPresent() && !lease.get().isOf(session.get())) {
                throw new IOException("The lease of " + file + " is not that of session " + session.get());
            }
            return new LeasedOutput(file, position, lease, closed);
        } catch (IOException | RuntimeException e) {
            file.close();
            throw e;
        }
    }

    @Override
    public void write(int oneByte) throws IOException {
        write(new byte[] {(byte) oneByte}, 0, 1);
    }

    @Override
    public void write(byte[] bytes, int offset, int count) throws IOException {
        if (!lease.equals(file.lease())) {
            throw new IOException("The lease of " + file + " is another's by now, so nothing more is written to it");
        }
        super.write(bytes, offset, count);
        end += count;
    }

    /** Fails when the file was cut in the meantime: the client must not be told that all is there. */
    @Override
    public void close() throws IOException {
        if (!isClosed) {
            isClosed = true;
            try (file) {
                super.close();
                if (file.size() < end) {
                    throw new IOException("The file of " + file + " was cut while it was written");
                }
            } finally {
                closed.run();
            }
        }
    }
}
