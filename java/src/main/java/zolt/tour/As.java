package zolt.tour;

import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** The calling thread with the rights of a user, until it is closed. */
final class As implements AutoCloseable {
    private final long handle;

    private As(long handle) {
        this.handle = handle;
    }

    static As user(String name) {
        return new As(ZOLTNative.setFsUid(name));
    }

    @Override
    public void close() {
        ZOLTNative.setFsUid(handle);
    }
}
