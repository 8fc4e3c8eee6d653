package zolt.soak;

import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Outcome;
import zolt.test.Said;

/** Leases that are taken, stamped, found expired and given up side by side. */
final class LeaseCalls {
    static final byte[][] HOLDERS = XattrCalls.values('A', 20, 30, 40, 200);
    static final int ROOM = 256;
    /** A limit that no lease is past, and one that all leases are past. */
    static final long NEVER = Long.MAX_VALUE;
    static final long LONG_AGO = Long.MIN_VALUE;

    private static final int TOO_SMALL = 8;
    private static final Outcome NO_UPDATE = absent(Said.UPDATE);
    private static final Outcome NO_HOLDER = absent(Said.HOLDER);
    private static final Outcome NO_LEASE = absent(Said.LEASE);
    private static final Outcome NOT_REMOVED =
            Outcome.attributeError(Faults.EACCES, "removexattr", Said.LEASE);

    private LeaseCalls() {}

    static List<Call> all() {
        return List.of(LeaseCalls::take, LeaseCalls::take, LeaseCalls::read, LeaseCalls::read,
                LeaseCalls::expire, LeaseCalls::renew, LeaseCalls::giveUp, LeaseCalls::removeHalf);
    }

    private static Outcome absent(String name) {
        return Outcome.attributeError(Faults.ENODATA, "", name);
    }

    /** Whether a status record may show this length of a holder. */
    static boolean isLength(int length) {
        return length == 0 || Arrays.stream(HOLDERS).anyMatch(each -> each.length == length);
    }

    private static String path(Scene scene, int user) {
        return scene.tree.path(user, scene.random.nextBoolean() ? "lease0" : "lease1");
    }

    private static void take(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        byte[] holder = scene.oneOf(HOLDERS);
        Answer<Void> answer = scene.tell("setFileLeaseNative",
                () -> ZOLTNative.setFileLeaseNative(path, true, holder), path, holder);
        answer.mustOf(user, Outcome.attributeError(Faults.EACCES, "setxattr", Said.HOLDER),
                Outcome.NOTHING, Outcome.attributeError(Faults.EEXIST, "setxattr", Said.HOLDER),
                Outcome.attributeError(Faults.EEXIST, "setxattr", Said.UPDATE));
    }

    private static void read(Scene scene) {
        String path = path(scene, scene.somebody());
        int room = scene.random.nextInt(8) == 0 ? TOO_SMALL : ROOM;
        Answer<byte[]> answer = scene.ask("getFileLeaseNative",
                () -> ZOLTNative.getFileLeaseNative(path, true, room, NEVER), path, room, NEVER);
        if (room == TOO_SMALL) {
            answer.must(NO_UPDATE, NO_HOLDER,
                    Outcome.attributeError(Faults.ERANGE, "getxattr", Said.HOLDER));
        } else if (answer.thrown != null) {
            answer.must(NO_UPDATE, NO_HOLDER);
        } else {
            answer.check(XattrCalls.isOne(HOLDERS, answer.value()), "one of the holders");
        }
    }

    private static void expire(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        Answer<byte[]> answer = scene.ask("getFileLeaseNative", () -> ZOLTNative.getFileLeaseNative(
                path, true, ROOM, LONG_AGO), path, ROOM, LONG_AGO);
        answer.must(NO_UPDATE, scene.mayActAs(user) ? Outcome.NOTHING : NOT_REMOVED,
                scene.mayActAs(user) ? NO_LEASE : NOT_REMOVED);
    }

    private static void renew(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        Answer<Void> answer = scene.tell("renewFileLeaseNative",
                () -> ZOLTNative.renewFileLeaseNative(path, true), path);
        answer.mustOf(user, Outcome.attributeError(Faults.EACCES, "setxattr", Said.UPDATE),
                Outcome.NOTHING);
    }

    private static void giveUp(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        Answer<Void> answer = scene.tell("removeFileLeaseNative",
                () -> ZOLTNative.removeFileLeaseNative(path, true), path);
        answer.mustOf(user, NOT_REMOVED, Outcome.NOTHING, NO_LEASE);
    }

    /** The call that is not for leases: it removes, and raises all the same. */
    private static void removeHalf(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        String name = scene.random.nextBoolean() ? Said.HOLDER : Said.UPDATE;
        Answer<Boolean> answer =
                scene.ask("removeXAttr", () -> ZOLTNative.removeXAttr(path, name), path, name);
        answer.mustOf(user, Outcome.attributeError(Faults.EACCES, "removexattr", name),
                Outcome.error(Faults.EINVAL, Said.KEPT + name),
                Outcome.attributeError(Faults.ENODATA, "removexattr", name));
    }
}
