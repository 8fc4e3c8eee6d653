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

    /** A byte array made after a log line. */
    static native byte[] logThenMake();

    static native int threshold();

    // The binding cache. Names of JNI functions that fail (answer null with an OutOfMemoryError).

    /** JniUtil::init with its n-th lookup failing, from 0; entries set afterwards. */
    static native int initFailing(int n);

    /** How many of the 24 entries are set. */
    static native int entriesSet();

    static native int init();

    static native void uninit();

    /** Whether IOException, NoSuchFile, AccessDenied, ZOLTNative, Log, LOG, the rest are set. */
    static native boolean[] set();

    /** JNI_OnLoad called again; then the threshold in [1] and the result in [0]. */
    static native int[] load();

    static native int findClass(String name);

    static native int methodId(Class<?> cls, String name, String signature, boolean instance);

    static native int fieldId(Class<?> cls, String name, String signature, boolean instance);

    /** As reading ZOLTNative.LOG fails. */
    static native int initWithUnreadableLog();

    /** The next native call below runs with this JNI function answering null. */
    static native byte[] toByteArrayFailing(String jniFunction, byte[] bytes);

    static native int getStringFailing(String jniFunction, String string);

    static native int getBytesFailing(String jniFunction, byte[] bytes);

    static native void logFailing(String jniFunction, String text);

    static native int raiseFailing(String jniFunction, String kind, String text);
}
