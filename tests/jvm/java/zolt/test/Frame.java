package zolt.test;

/** The JNI frame of the library, called directly through a second copy in the test library. */
public final class Frame {
    private Frame() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    public static native void handleError(int errno, byte[] message);

    public static native void handleXattrError(int errno, String operation, String name);

    /** Throws a C++ exception of that kind through the native boundary. The neutral value is 42. */
    public static native int raise(String kind, String text);

    /** Makes an earlier exception pending and then throws as above. */
    public static native int raiseOver(String kind, String text);

    public static native int getString(String string, byte[][] out);

    public static native int getString(byte[] bytes, byte[][] out);

    public static native byte[] toByteArray(byte[] bytes);

    public static native byte[] streamToByteArray(byte[] bytes, int putPosition);

    public static native void log(String text, int level);

    /** Logs at error between a failing call and its report; errno afterwards. */
    public static native int logKeepsErrno(int errno);

    /** Makes an exception with that text pending, logs, and returns. */
    public static native void logWhilePending(String text);

    /** A byte array made after a log line, in a library whose logger has never thrown before. */
    public static native byte[] logThenMake();

    public static native int threshold();

    /** Logs at error on a thread that the virtual machine does not know. */
    public static native void logUnattached(String text);

    /** The native of that name, called in the second copy; its alwaysSuper afterwards. */
    public static native boolean setFSConfig(boolean alwaysSuper);

    /** The same; defaultBlockSize and defaultReplication afterwards. */
    public static native long[] setDefaultBlockSizeReplication(long blockSize, int replication);
}
