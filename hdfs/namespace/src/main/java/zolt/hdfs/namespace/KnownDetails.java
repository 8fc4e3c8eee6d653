package zolt.hdfs.namespace;

import java.util.concurrent.TimeUnit;

/**
 * The details of files that have not changed since: a change of any of them gives the file another change time. There
 * is room for a fixed number of files, each in one of the two places that its inode number gives it.
 */
final class KnownDetails {
    private static final int PAIRS = 1 << 17;
    private static final int LOCKS = 64;

    private static final int INODE = 0;
    private static final int DEVICE = 1;
    private static final int CHANGE_NANOS = 2;
    private static final int UNTIL = 3;
    private static final int VALUE = 4;
    private static final int WORDS = 5;

    /** Bits of a value: block size, then copies, then whether there is a list. */
    private static final int REPLICATION_AT = 32;
    private static final int ACL_AT = 48;

    /** Not every file system gives a file another change time with each change of its settings. */
    private static final long HOLDS_MILLIS = TimeUnit.SECONDS.toMillis(30);
    /** Within a tick of the file system's clock, of up to two seconds, two changes have the same time. */
    private static final long SETTLED_MILLIS = TimeUnit.SECONDS.toMillis(3);
    /** A time that is finer than a millisecond is of a Linux, whose clock ticks at least a hundred times a second. */
    private static final long FINE_SETTLED_MILLIS = 100;

    private final long[] words = new long[PAIRS * 2 * WORDS];
    private final Object[] locks = new Object[LOCKS];

    KnownDetails() {
        java.util.Arrays.setAll(locks, i -> new Object());
    }

    /** The first of the two places of a file, as a number of words. */
    private static int pairOf(Entry entry) {
        return ((int) (entry.inode() ^ entry.device() * 0x9E3779B97F4A7C15L >>> 40) & PAIRS - 1) * 2 * WORDS;
    }

    private Object lockOf(int pair) {
        return locks[pair / (2 * WORDS) % LOCKS];
    }

    private boolean isOf(int at, Entry entry) {
        return words[at + INODE] == entry.inode() && words[at + DEVICE] == entry.device();
    }

    /** Null where they are not known. */
    Details get(Entry entry) {
        int pair = pairOf(entry);
        synchronized (lockOf(pair)) {
            int at = isOf(pair, entry) ? pair : pair + WORDS;
            return isOf(at, entry) && words[at + CHANGE_NANOS] == entry.changeNanos()
                    && words[at + UNTIL] >= System.currentTimeMillis() ? unpacked(words[at + VALUE]) : null;
        }
    }

    private static Details unpacked(long value) {
        return new Details(value & 0xFFFFFFFFL, (int) (value >> REPLICATION_AT) & 0xFFFF, value >> ACL_AT != 0);
    }

    private static long packed(Details details) {
        return details.blockSize() | (long) details.replication() << REPLICATION_AT
                | (details.hasAcl() ? 1L << ACL_AT : 0);
    }

    private static long settledMillis(Entry entry) {
        return entry.changeNanos() % TimeUnit.MILLISECONDS.toNanos(1) == 0 ? SETTLED_MILLIS : FINE_SETTLED_MILLIS;
    }

    /** Keeps the details of just this version of a file; what is older in its two places goes. */
    void put(Entry entry, Details details) {
        long now = System.currentTimeMillis();
        if (now - TimeUnit.NANOSECONDS.toMillis(entry.changeNanos()) < settledMillis(entry)) {
            return;
        }
        int pair = pairOf(entry);
        synchronized (lockOf(pair)) {
            boolean second = isOf(pair + WORDS, entry)
                    || !isOf(pair, entry) && words[pair + WORDS + UNTIL] < words[pair + UNTIL];
            int at = second ? pair + WORDS : pair;
            words[at + INODE] = entry.inode();
            words[at + DEVICE] = entry.device();
            words[at + CHANGE_NANOS] = entry.changeNanos();
            words[at + UNTIL] = now + HOLDS_MILLIS;
            words[at + VALUE] = packed(details);
        }
    }
}
