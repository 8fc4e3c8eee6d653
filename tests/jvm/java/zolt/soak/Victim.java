package zolt.soak;

import java.io.IOException;
import java.util.List;
import java.util.SplittableRandom;
import java.util.concurrent.CountDownLatch;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.acl.AclBytes;
import zolt.test.acl.AclBytes.Entry;

/**
 * A virtual machine that sets lists, attributes and leases until it is killed. It says when it has
 * begun; the argument is the directory that {@link Kills} has prepared.
 */
final class Victim {
    private static final int WORKERS = 2 + Kills.LEASES;
    private static final int WARM = 50; // rounds of each before the parent hears of it
    private static final CountDownLatch BEGUN = new CountDownLatch(WORKERS);

    private Victim() {}

    private interface Work {
        void once(SplittableRandom random) throws Exception;
    }

    public static void main(String[] arguments) throws Exception {
        String dir = arguments[0];
        ZOLTNative.setFSConfig(false);
        endlessly(random -> attribute(dir, random));
        endlessly(random -> lists(dir, random));
        for (int i = 0; i < Kills.LEASES; i++) {
            String path = Kills.lease(dir, i);
            endlessly(random -> lease(path, random));
        }
        BEGUN.await();
        System.out.println("begun");
        System.in.read(); // the end of the input is that of a parent that has gone
        Runtime.getRuntime().halt(0);
    }

    private static void endlessly(Work work) {
        SplittableRandom random = new SplittableRandom();
        Thread thread = new Thread(() -> {
            try {
                for (int round = 0;; round++) {
                    work.once(random);
                    if (round == WARM) {
                        BEGUN.countDown();
                    }
                }
            } catch (Throwable e) {
                e.printStackTrace();
                Runtime.getRuntime().halt(1);
            }
        });
        thread.setDaemon(true);
        thread.start();
    }

    private static void attribute(String dir, SplittableRandom random) throws IOException {
        byte[] value = Kills.VALUES[random.nextInt(Kills.VALUES.length)];
        ZOLTNative.setExtendedAttribute(Kills.attributes(dir), Kills.NAME, value, (short) 0);
    }

    private static void lists(String dir, SplittableRandom random) throws IOException {
        ZOLTNative.setAcl(Kills.lists(dir), specification(random, AclBytes.ACCESS));
        ZOLTNative.setAcl(Kills.lists(dir), specification(random, AclBytes.DEFAULT));
    }

    private static byte[] specification(SplittableRandom random, int scope) {
        List<Entry> list =
                AclLists.specification(random.nextInt(AclLists.COUNT), scope, random.nextBoolean());
        return AclBytes.specification(list);
    }

    /** The life of a lease, up to either of its ends. */
    private static void lease(String path, SplittableRandom random) throws IOException {
        byte[] holder = Kills.HOLDERS[random.nextInt(Kills.HOLDERS.length)];
        ZOLTNative.setFileLeaseNative(path, true, holder);
        ZOLTNative.renewFileLeaseNative(path, true);
        if (random.nextBoolean()) {
            ZOLTNative.removeFileLeaseNative(path, true);
        } else {
            ZOLTNative.getFileLeaseNative(path, true, LeaseCalls.ROOM, LeaseCalls.LONG_AGO);
        }
    }
}
