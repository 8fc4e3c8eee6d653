package zolt.test;

/** The library in a virtual machine that runs out of memory, or is watched in what it holds of it. */
final class Failing {
    private Failing() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    /**
     * Runs the body with one call of a JNI function, the nth from 1, answering null with an
     * OutOfMemoryError pending. Strings made for log lines do not count.
     */
    static native void run(String jniFunction, int nth, Runnable body);

    /** Runs the body; the most local references that were held at a time of those made in it. */
    static native int mostReferences(Runnable body);

    /** How many of them were left when the last body above ended, however it ended. */
    static native int heldReferences();

    /**
     * Runs the body; what became of the byte arrays that Java lent it, in order: "lent", "released
     * MODE", and "thrown" for an exception, each "at" the number of calls of lsetxattr until then.
     */
    static native String lendings(Runnable body);
}
