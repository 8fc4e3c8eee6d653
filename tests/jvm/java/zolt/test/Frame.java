package zolt.test;

/** The JNI frame of the library, called directly through a second copy in the test library. */
final class Frame {
    private Frame() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    static native void handleError(int errno, byte[] message);

    static native void handleXattrError(int errno, String operation, String name);

    /** Throws a C++ exception of that kind through the native boundary. The neutral value is 42. */
    static native int raise(String kind, String text);

    /** Makes an earlier exception pending and then throws as above. */
    static native int raiseOver(String kind, String text);

    static native int getString(String string, byte[][] out);

    static native int getString(byte[] bytes, byte[][] out);

    static native byte[] toByteArray(byte[] bytes);

    static native byte[] streamToByteArray(byte[] bytes, int putPosition);

    static native void log(String text, int level);

    /** Logs at error between a failing call and its report; errno afterwards. */
    static native int logKeepsErrno(int errno);

    /** Makes an exception with that text pending, logs, and returns. */
    static native void logWhilePending(String text);

    /** A byte array made after a log line, in a library whose logger has never thrown before. */
    static native byte[] logThenMake();

    static native int threshold();

    /** Logs at error on a thread that the virtual machine does not know. */
    static native void logUnattached(String text);

    /** The native of that name, called in the second copy; its alwaysSuper afterwards. */
    static native boolean setFSConfig(boolean alwaysSuper);

    /** The same; defaultBlockSize and defaultReplication afterwards. */
    static native long[] setDefaultBlockSizeReplication(long blockSize, int replication);
}
