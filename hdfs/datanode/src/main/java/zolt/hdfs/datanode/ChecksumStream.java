package zolt.hdfs.datanode;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.EOFException;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.util.zip.CRC32;
import java.util.zip.CRC32C;
import java.util.zip.Checksum;
import org.apache.hadoop.hdfs.server.datanode.BlockMetadataHeader;
import org.apache.hadoop.util.DataChecksum;
import org.apache.hadoop.util.DirectBufferPool;

/**
 * What a DataNode of Hadoop's own keeps in a file beside each block: a header and the checksum of each chunk. Here
 * the checksums are computed from the bytes while the stream is read, as many as are wanted: first those of a
 * few chunks, as for a short read, then more at a time.
 */
final class ChecksumStream extends InputStream {
    private static final int FIRST_CHUNKS = 8;
    private static final int MOST_CHUNKS = 256;
    private static final DirectBufferPool BUFFERS = new DirectBufferPool();

    private final FileInputStream in;
    private final FileChannel channel;
    private final long start;
    private final long length;
    private final DataChecksum checksum;
    private final byte[] header;

    private long position;
    private byte[] sums = {};
    private long sumsAt;
    private int chunks = FIRST_CHUNKS;

    /**
     * The checksums of a part of a file.
     *
     * @param in is closed with this stream
     */
    ChecksumStream(FileInputStream in, long start, long length, DataChecksum checksum) throws IOException {
        this.in = in;
        this.channel = in.getChannel();
        this.start = start;
        this.length = length;
        this.checksum = checksum;
        ByteArrayOutputStream bytesOfHeader = new ByteArrayOutputStream();
        BlockMetadataHeader.writeHeader(new DataOutputStream(bytesOfHeader), checksum);
        header = bytesOfHeader.toByteArray();
        sumsAt = header.length;
    }

    /** How long the stream is in all. */
    long size() {
        return header.length + chunksIn(length) * checksum.getChecksumSize();
    }

    /** Goes to a position, without reading what is before it. */
    void seek(long newPosition) {
        position = newPosition;
    }

    @Override
    public int read() throws IOException {
        byte[] one = new byte[1];
        return read(one, 0, 1) < 0 ? -1 : one[0] & 0xff;
    }

    @Override
    public int read(byte[] target, int offset, int count) throws IOException {
        if (count == 0) {
            return 0;
        }
        if (position < header.length) {
            return copy(header, (int) position, target, offset, count);
        }
        if (position >= size()) {
            return -1;
        }
        if (position < sumsAt || position >= sumsAt + sums.length) {
            compute();
        }
        return copy(sums, (int) (position - sumsAt), target, offset, count);
    }

    @Override
    public long skip(long count) {
        long skipped = Math.max(0, Math.min(count, size() - position));
        position += skipped;
        return skipped;
    }

    @Override
    public void close() throws IOException {
        in.close();
    }

    private int copy(byte[] source, int from, byte[] target, int offset, int count) {
        int copied = Math.min(count, source.length - from);
        System.arraycopy(source, from, target, offset, copied);
        position += copied;
        return copied;
    }

    /** Computes the checksums from the one at the position on. */
    private void compute() throws IOException {
        int chunkSize = checksum.getBytesPerChecksum();
        int sumSize = checksum.getChecksumSize();
        long chunk = (position - header.length) / sumSize;
        long from = chunk * chunkSize;
        int count = (int) Math.min((long) chunks * chunkSize, length - from);
        // The pool keeps buffers by their size: only a few sizes are asked for.
        ByteBuffer bytes = BUFFERS.getBuffer(chunks * chunkSize);
        try {
            readFully(bytes.limit(count), start + from);
            sums = sumsOf(bytes.flip());
            sumsAt = header.length + chunk * sumSize;
        } finally {
            BUFFERS.returnBuffer(bytes);
        }
        chunks = Math.min(chunks * 2, MOST_CHUNKS);
    }

    /** The virtual machine has the checksum in machine code, for memory outside of the heap too: nothing is copied. */
    private byte[] sumsOf(ByteBuffer bytes) {
        int end = bytes.limit();
        ByteBuffer computed = ByteBuffer.allocate((int) chunksIn(end) * checksum.getChecksumSize());
        Checksum sum = checksum.getChecksumType() == DataChecksum.Type.CRC32C ? new CRC32C() : new CRC32();
        while (bytes.position() < end) {
            sum.reset();
            sum.update(bytes.limit(Math.min(end, bytes.position() + checksum.getBytesPerChecksum())));
            computed.putInt((int) sum.getValue());
        }
        return computed.array();
    }

    private void readFully(ByteBuffer target, long from) throws IOException {
        while (target.hasRemaining()) {
            if (channel.read(target, from + target.position()) < 0) {
                throw new EOFException("The file was cut while it was read");
            }
        }
    }

    private long chunksIn(long count) {
        return (count + checksum.getBytesPerChecksum() - 1) / checksum.getBytesPerChecksum();
    }
}
