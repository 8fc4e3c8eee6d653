package zolt.test.xattr;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** A file that may have a lease. */
public abstract class LeaseFixture extends XattrFixture {
    static final String HOLDER = "the holder";
    static final byte[] ME = bytes(HOLDER);

    public static String stamp(long clock) {
        return new String(ByteBuffer.allocate(Long.BYTES).order(ByteOrder.nativeOrder())
                .putLong(clock).array(), ISO_8859_1);
    }

    String holder() throws IOException {
        return stored("user.lease.holder");
    }

    /** The stamp of the lease; null when there is none. */
    Long update() throws IOException {
        String stamp = stored("user.lease.update");
        if (stamp == null) {
            return null;
        }
        assertEquals(Long.BYTES, stamp.length());
        return ByteBuffer.wrap(bytes(stamp)).order(ByteOrder.nativeOrder()).getLong();
    }

    byte[] get(int holderSize, long limit) throws IOException {
        return ZOLTNative.getFileLeaseNative(path, false, holderSize, limit);
    }
}
