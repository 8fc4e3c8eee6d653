package zolt.hdfs.namespace;

import java.lang.ref.Cleaner;

/** Closes what a program has opened and lost: a descriptor must not stay until the process ends. */
public final class Forgotten {
    private static final Cleaner CLEANER = Cleaner.create();

    private Forgotten() {}

    /** Begins the thread that closes: a thread has the identity of the one that begins it, which shall be no guest's. */
    public static void prepare() {
        CLEANER.getClass();
    }

    /** @param close must not know {@code opened}, and may be called more than once */
    public static Cleaner.Cleanable watch(Object opened, Runnable close) {
        return CLEANER.register(opened, close);
    }
}
