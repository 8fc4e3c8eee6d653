package zolt.test;

import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** The library in a virtual machine that runs out of memory, or is watched in what it holds of it. */
public final class Failing {
    private Failing() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
        // Or the body would be what loads the library, and the VM's own strings would fail first.
        try {
            Class.forName(ZOLTNative.class.getName());
        } catch (ClassNotFoundException e) {
            throw new LinkageError(e.getMessage(), e);
        }
    }

    /**
     * Runs the body with one call of a JNI function, the nth from 1, answering null with an
     * OutOfMemoryError pending. Strings made for log lines do not count; theirs is the function
     * "a log line's NewStringUTF".
     */
    public static native void run(String jniFunction, int nth, Body body);

    /**
     * What a body took from the VM: local references made, held at a time and left at the end;
     * characters of strings and elements of byte arrays, taken and not given back; and the times
     * that elements were given back in another way than "nothing was changed".
     */
    public record Taken(int references, int most, int referencesLeft, int strings, int stringsLeft,
            int arrays, int arraysLeft, int arraysWrittenBack) {}

    private static native int[] count(Body body);

    /** Runs the body twice and counts the second time: the first may load classes. */
    public static Taken takenBy(Body body) {
        body.run();
        int[] counts = count(body);
        return new Taken(counts[0], counts[1], counts[2], counts[3], counts[4], counts[5],
                counts[6], counts[7]);
    }

    /** How many references were left of those made in the last body that run() ended, however. */
    public static native int heldReferences();

    /**
     * Runs the body; what became of the byte arrays that Java lent it, in order: "lent", "released
     * MODE", and "thrown" for an exception, each "at" the number of calls of lsetxattr until then.
     */
    public static native String lendings(Body body);
}
