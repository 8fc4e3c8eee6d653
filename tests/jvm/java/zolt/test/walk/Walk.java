package zolt.test.walk;

import java.util.Arrays;

/**
 * One call of a native with every step seen that can fail: the functions of libc, libacl and the
 * client that the library calls, and those of the virtual machine. One of them can be made to fail,
 * or an allocation to find no memory. The natives are those of the built library.
 */
final class Walk {
    private Walk() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    /** What the library took and did not give back; elements may also be given back wrongly. */
    record Left(int descriptors, int streams, int mountTables, int acls, int allocations,
            int strings, int arrays, int arraysWrittenBack, int references) {}

    /** Runs a body undisturbed. What it throws is the answer; null for nothing. */
    static Throwable run(Runnable body) {
        return run(body, 0, 0, 0, 0, 0);
    }

    /** The same with step number {@code step}, from 1, going wrong as the fault says. */
    static Throwable run(Runnable body, int step, Fault fault) {
        return run(body, step, fault.errno(), fault.altered(), 0, 0);
    }

    /** The same with a later step, {@code second}, failing too. */
    static Throwable run(Runnable body, int step, Fault fault, int second) {
        return run(body, step, fault.errno(), fault.altered(), 0, second);
    }

    /** The same with allocation number {@code allocation}, from 1, finding no memory. */
    static Throwable runWithoutMemory(Runnable body, int allocation) {
        return run(body, 0, 0, 0, allocation, 0);
    }

    private static native Throwable run(Runnable body, int step, int errno, int altered,
            int allocation, int second);

    /** The functions of the last run's steps, in order. */
    static native String[] steps();

    /** The number of allocations in the last run. */
    static native int allocations();

    static Left leftOver() {
        int[] left = left();
        return new Left(left[0], left[1], left[2], left[3], left[4], left[5], left[6], left[7],
                left[8]);
    }

    private static native int[] left();

    /** The names in a directory in the order in which the system lists them, "." and ".." too. */
    static native String[] entries(String directory);

    /** The calling thread's identity as "fsuid:fsgid groups". */
    static String identityNow() {
        int[] ids = identity();
        return ids[0] + ":" + ids[1] + " "
                + Arrays.toString(Arrays.copyOfRange(ids, 2, ids.length));
    }

    private static native int[] identity();

    /** Gives the calling thread the ids of the service, whatever came before. */
    static native void becomeDaemon();
}
