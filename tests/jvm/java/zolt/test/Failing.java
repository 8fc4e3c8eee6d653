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
}
