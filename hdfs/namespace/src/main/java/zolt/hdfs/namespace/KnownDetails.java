package zolt.hdfs.namespace;

import java.util.concurrent.TimeUnit;

/**
 * The details of files that have not changed since: a change of any of them gives the file another change time. There
 * is room for a fixed number of files, each in the place that its inode number gives it.
 */
final class KnownDetails {
    private static final int PLACES = 1 << 17;
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

    private final long[] words = new long[PLACES * WORDS];
    private final Object[] locks = new Object[LOCKS];

    KnownDetails() {
        java.util.Arrays.setAll(locks, i -> new Object());
    }

    private static int placeOf(Entry entry) {
        return (int) (entry.inode() ^ entry.device() * 0x9E3779B97F4A7C15L >>> 40) & PLACES - 1;
    }

    /** Null where they are not known. */
    Details get(Entry entry) {
        int place = placeOf(entry);
        int at = place * WORDS;
        long value;
        synchronized (locks[place % LOCKS]) {
            if (words[at + INODE] != entry.inode() || words[at + DEVICE] != entry.device()
                    || words[at + CHANGE_NANOS] != entry.changeNanos()
                    || words[at + UNTIL] < System.currentTimeMillis()) {
                return null;
            }
            value = words[at + VALUE];
        }
        return new Details(value & 0xFFFFFFFFL, (int) (value >> REPLICATION_AT) & 0xFFFF, value >> ACL_AT != 0);
    }

    /** Keeps the details of just this version of a file. */
    void put(Entry entry, Details details) {
        long now = System.currentTimeMillis();
        if (now - TimeUnit.NANOSECONDS.toMillis(entry.changeNanos()) < SETTLED_MILLIS) {
            return;
        }
        int place = placeOf(entry);
        int at = place * WORDS;
        synchronized (locks[place % LOCKS]) {
            words[at + INODE] = entry.inode();
            words[at + DEVICE] = entry.device();
            words[at + CHANGE_NANOS] = entry.changeNanos();
            words[at + UNTIL] = now + HOLDS_MILLIS;
            words[at + VALUE] = details.blockSize() | (long) details.replication() << REPLICATION_AT
                    | (details.hasAcl() ? 1L << ACL_AT : 0);
        }
    }
}
