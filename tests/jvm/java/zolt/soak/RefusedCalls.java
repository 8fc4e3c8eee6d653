package zolt.soak;

import java.nio.ByteBuffer;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Every native that takes a path, on one that leads through another user's private directory and on
 * one that is not there: the answer is always the same.
 */
final class RefusedCalls {
    private static final String NAME = "user.any";
    private static final byte[] VALUE = {1, 2, 3};

    private RefusedCalls() {}

    static List<Call> all() {
        return List.of(RefusedCalls::shut, RefusedCalls::shut, RefusedCalls::missing);
    }

    private static void shut(Scene scene) {
        int owner = scene.random.nextInt(Users.COUNT);
        if (!scene.mayActAs(owner)) {
            refuse(scene, scene.tree.path(owner, "private"), "secret", Failure.EACCES);
        } else {
            Answer<Integer> answer =
                    StatusCalls.full(scene, scene.tree.path(owner, "private/secret"), false);
            answer.mustBe(1);
            answer.check(scene.buffers.status().getLong(8) == owner + 1, "the owner's own file");
        }
    }

    private static void missing(Scene scene) {
        String dir = scene.tree.path(scene.somebody(), "never");
        refuse(scene, dir, "there", Failure.ENOENT);
    }

    private static void refuse(Scene scene, String dir, String name, Failure failure) {
        String path = dir + "/" + name;
        switch (scene.random.nextInt(5)) {
            case 0:
                status(scene, path, failure);
                break;
            case 1:
                directory(scene, dir, path, failure);
                break;
            case 2:
                attributes(scene, path, failure);
                break;
            case 3:
                leases(scene, path, failure);
                break;
            default:
                lists(scene, path, failure);
        }
    }

    private static void status(Scene scene, String path, Failure failure) {
        ByteBuffer buffer = scene.buffers.status();
        StatusCalls.full(scene, path, scene.random.nextBoolean()).mustThrow(failure, path);
        scene.ask("getFileStatusFastNative", () -> ZOLTNative.getFileStatusFastNative(path, true,
                buffer, 0, 0), path).mustThrow(failure, path);
        scene.ask("isCMTimeChangedNative", () -> ZOLTNative.isCMTimeChangedNative(path, true, 0, 0,
                0, 0), path).mustThrow(failure, path);
        scene.ask("getINum", () -> ZOLTNative.getINum(path, false), path)
                .mustThrow(failure, "stat failed for " + path);
        scene.tell("getFailedPathNative", () -> ZOLTNative.getFailedPathNative(path, true), path)
                .value();
        scene.ask("getLinkTargetNative", () -> ZOLTNative.getLinkTargetNative(path, 10), path)
                .mustThrow(failure, "");
        scene.ask("setPermission", () -> ZOLTNative.setPermission(path, (short) 0777), path)
                .mustThrow(failure, path);
        scene.ask("setTimes", () -> ZOLTNative.setTimes(path, 1, 1), path).mustThrow(failure, path);
    }

    private static void directory(Scene scene, String dir, String path, Failure failure) {
        ListingCalls.end(scene);
        ByteBuffer entries = scene.buffers.entries();
        scene.ask("getDirentsNative", () -> ZOLTNative.getDirentsNative(dir, entries, false, false),
                dir).mustThrow(failure, "failed to open directory");
        scene.ask("getDirentCountNative", () -> ZOLTNative.getDirentCountNative(dir), dir)
                .mustBe(0);
        scene.tell("getBlockLocationsNative", () -> ZOLTNative.getBlockLocationsNative(path, 2,
                true, 0, -1, null, scene.buffers.locations()), path).mustThrow(failure, path);
        scene.ask("setReplication", () -> ZOLTNative.setReplication(path, (short) 2, true), path)
                .mustThrow(failure, "failed to open " + path);
        scene.ask("setBGF", () -> ZOLTNative.setBGF(path, 2), path)
                .mustThrow(failure, "failed to open " + path);
    }

    private static void attributes(Scene scene, String path, Failure failure) {
        scene.ask("setExtendedAttribute", () -> ZOLTNative.setExtendedAttribute(path, NAME, VALUE,
                (short) 0), path).mustThrow(failure, "setxattr failed for " + NAME);
        scene.ask("getXAttr", () -> ZOLTNative.getXAttr(path, NAME), path)
                .mustThrow(failure, "getxattr failed for " + NAME);
        Answer<?> some = scene.ask("getXAttrs",
                () -> ZOLTNative.getXAttrs(path, new String[] {NAME}).size(), path);
        some.check(some.thrown == null && some.value().equals(0), "an empty map");
        // The probe's failure is not looked at, so that a length is asked for that nobody has.
        scene.ask("dumpXAttrs", () -> ZOLTNative.dumpXAttrs(path), path)
                .mustThrow(Failure.ENOMEM, "listxattr failed");
        scene.ask("removeXAttr", () -> ZOLTNative.removeXAttr(path, NAME), path)
                .mustThrow(failure, "removexattr failed for " + NAME);
    }

    private static void leases(Scene scene, String path, Failure failure) {
        scene.tell("setFileLeaseNative", () -> ZOLTNative.setFileLeaseNative(path, true, VALUE),
                path).mustThrow(failure, "setxattr failed for " + LeaseCalls.HOLDER);
        scene.ask("getFileLeaseNative", () -> ZOLTNative.getFileLeaseNative(path, true, 10, 10),
                path).mustThrow(failure, "getxattr failed for " + LeaseCalls.UPDATE);
        scene.tell("renewFileLeaseNative", () -> ZOLTNative.renewFileLeaseNative(path, true), path)
                .mustThrow(failure, "setxattr failed for " + LeaseCalls.UPDATE);
        scene.tell("removeFileLeaseNative", () -> ZOLTNative.removeFileLeaseNative(path, true),
                path).mustThrow(failure, "removexattr failed for " + LeaseCalls.BOTH);
    }

    private static void lists(Scene scene, String path, Failure failure) {
        byte[] spec = AclBytes.specification(AclLists.whole(0, AclBytes.ACCESS));
        scene.ask("getAclStatus", () -> ZOLTNative.getAclStatus(path, false), path)
                .mustThrow(failure, path);
        scene.tell("setAcl", () -> ZOLTNative.setAcl(path, spec), path).mustThrow(failure, path);
        scene.tell("modifyAclEntries", () -> ZOLTNative.modifyAclEntries(path, spec), path)
                .mustThrow(failure, path);
        scene.tell("removeAclEntries", () -> ZOLTNative.removeAclEntries(path, spec), path)
                .mustThrow(failure, path);
        scene.tell("removeDefaultAcl", () -> ZOLTNative.removeDefaultAcl(path, true), path)
                .mustThrow(failure, path);
        scene.tell("removeAcl", () -> ZOLTNative.removeAcl(path, true), path)
                .mustThrow(failure, path);
    }
}
