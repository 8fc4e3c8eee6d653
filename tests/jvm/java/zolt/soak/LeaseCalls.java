package zolt.soak;

import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;

/** Leases that are taken, stamped, found expired and given up side by side. */
final class LeaseCalls {
    static final byte[][] HOLDERS = holders(20, 30, 40, 200);
    static final int ROOM = 256;
    static final String HOLDER = "user.lease.holder";
    static final String UPDATE = "user.lease.update";
    static final String BOTH = "user.lease.*";
    /** A limit that no lease is past, and one that all leases are past. */
    static final long NEVER = Long.MAX_VALUE;
    static final long LONG_AGO = Long.MIN_VALUE;

    private static final int TOO_SMALL = 8;

    private LeaseCalls() {}

    static List<Call> all() {
        return List.of(LeaseCalls::take, LeaseCalls::take, LeaseCalls::read, LeaseCalls::read,
                LeaseCalls::expire, LeaseCalls::renew, LeaseCalls::giveUp, LeaseCalls::removeHalf);
    }

    /** Each of a letter of its own. */
    static byte[][] holders(int... lengths) {
        byte[][] holders = new byte[lengths.length][];
        for (int i = 0; i < lengths.length; i++) {
            holders[i] = new byte[lengths[i]];
            Arrays.fill(holders[i], (byte) ('A' + i));
        }
        return holders;
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
        if (!scene.mayActAs(user)) {
            answer.mustThrow(Faults.EACCES, "setxattr failed for " + HOLDER);
        } else if (!answer.threw(Faults.EEXIST, HOLDER + " already exists")
                && !answer.threw(Faults.EEXIST, UPDATE + " already exists")) {
            answer.value();
        }
    }

    private static void read(Scene scene) {
        String path = path(scene, scene.somebody());
        int room = scene.random.nextInt(8) == 0 ? TOO_SMALL : ROOM;
        Answer<byte[]> answer = scene.ask("getFileLeaseNative",
                () -> ZOLTNative.getFileLeaseNative(path, true, room, NEVER), path, room, NEVER);
        if (answer.threw(Faults.ENODATA, UPDATE + " does not exist")
                || answer.threw(Faults.ENODATA, HOLDER + " does not exist")) {
            return;
        }
        if (room == TOO_SMALL) {
            answer.mustThrow(Faults.ERANGE, "getxattr failed for " + HOLDER);
        } else {
            answer.check(XattrCalls.isOne(HOLDERS, answer.value()), "one of the holders");
        }
    }

    private static void expire(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        Answer<byte[]> answer = scene.ask("getFileLeaseNative", () -> ZOLTNative.getFileLeaseNative(
                path, true, ROOM, LONG_AGO), path, ROOM, LONG_AGO);
        if (answer.threw(Faults.ENODATA, UPDATE + " does not exist")) {
            return;
        }
        if (!scene.mayActAs(user)) {
            answer.mustThrow(Faults.EACCES, "removexattr failed for " + BOTH);
        } else if (!answer.threw(Faults.ENODATA, BOTH + " does not exist")) {
            answer.mustBe(null);
        }
    }

    private static void renew(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        Answer<Void> answer = scene.tell("renewFileLeaseNative",
                () -> ZOLTNative.renewFileLeaseNative(path, true), path);
        if (scene.mayActAs(user)) {
            answer.value();
        } else {
            answer.mustThrow(Faults.EACCES, "setxattr failed for " + UPDATE);
        }
    }

    private static void giveUp(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        Answer<Void> answer = scene.tell("removeFileLeaseNative",
                () -> ZOLTNative.removeFileLeaseNative(path, true), path);
        if (!scene.mayActAs(user)) {
            answer.mustThrow(Faults.EACCES, "removexattr failed for " + BOTH);
        } else if (!answer.threw(Faults.ENODATA, BOTH + " does not exist")) {
            answer.value();
        }
    }

    /** The call that is not for leases: it removes, and raises all the same. */
    private static void removeHalf(Scene scene) {
        int user = scene.somebody();
        String path = path(scene, user);
        String name = scene.random.nextBoolean() ? HOLDER : UPDATE;
        Answer<Boolean> answer =
                scene.ask("removeXAttr", () -> ZOLTNative.removeXAttr(path, name), path, name);
        if (!scene.mayActAs(user)) {
            answer.mustThrow(Faults.EACCES, "removexattr failed for " + name);
        } else if (!answer.threw(Faults.ENODATA, name + " does not exist")) {
            answer.mustThrow(Faults.EINVAL, "It's not allowed to remove " + name);
        }
    }
}
