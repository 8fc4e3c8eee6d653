package zolt.soak;

import java.nio.ByteBuffer;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Said;
import zolt.test.acl.AclBytes;
import zolt.test.status.StatusRecord;

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
            refuse(scene, scene.tree.path(owner, "private"), "secret", Faults.EACCES);
        } else {
            Answer<Integer> answer =
                    StatusCalls.full(scene, scene.tree.path(owner, "private/secret"), false);
            answer.mustBe(1);
            answer.check(scene.buffers.status().getLong(StatusRecord.SIZE) == owner + 1, "the owner's own file");
        }
    }

    private static void missing(Scene scene) {
        String dir = scene.tree.path(scene.somebody(), "never");
        refuse(scene, dir, "there", Faults.ENOENT);
    }

    private static void refuse(Scene scene, String dir, String name, int errno) {
        String path = dir + "/" + name;
        switch (scene.random.nextInt(5)) {
            case 0:
                status(scene, path, errno);
                break;
            case 1:
                directory(scene, dir, path, errno);
                break;
            case 2:
                attributes(scene, path, errno);
                break;
            case 3:
                leases(scene, path, errno);
                break;
            default:
                lists(scene, path, errno);
        }
    }

    private static void status(Scene scene, String path, int errno) {
        ByteBuffer buffer = scene.buffers.status();
        StatusCalls.full(scene, path, scene.random.nextBoolean()).mustThrow(errno, path);
        scene.ask("getFileStatusFastNative", () -> ZOLTNative.getFileStatusFastNative(path, true,
                buffer, 0, 0), path).mustThrow(errno, path);
        scene.ask("isCMTimeChangedNative", () -> ZOLTNative.isCMTimeChangedNative(path, true, 0, 0,
                0, 0), path).mustThrow(errno, path);
        scene.ask("getINum", () -> ZOLTNative.getINum(path, false), path)
                .mustThrow(errno, Said.INODE + path);
        scene.tell("getFailedPathNative", () -> ZOLTNative.getFailedPathNative(path, true), path)
                .value();
        scene.ask("getLinkTargetNative", () -> ZOLTNative.getLinkTargetNative(path, 10), path)
                .mustThrow(errno, "");
        scene.ask("setPermission", () -> ZOLTNative.setPermission(path, (short) 0777), path)
                .mustThrow(errno, path);
        scene.ask("setTimes", () -> ZOLTNative.setTimes(path, 1, 1), path).mustThrow(errno, path);
    }

    private static void directory(Scene scene, String dir, String path, int errno) {
        ListingCalls.end(scene);
        ByteBuffer entries = scene.buffers.entries();
        scene.ask("getDirentsNative", () -> ZOLTNative.getDirentsNative(dir, entries, false, false),
                dir).mustThrow(errno, Said.DIRECTORY);
        scene.ask("getDirentCountNative", () -> ZOLTNative.getDirentCountNative(dir), dir)
                .mustBe(0);
        scene.tell("getBlockLocationsNative", () -> ZOLTNative.getBlockLocationsNative(path, 2,
                true, 0, -1, null, scene.buffers.locations()), path).mustThrow(errno, path);
        scene.ask("setReplication", () -> ZOLTNative.setReplication(path, (short) 2, true), path)
                .mustThrow(errno, Said.OPEN + path);
        scene.ask("setBGF", () -> ZOLTNative.setBGF(path, 2), path)
                .mustThrow(errno, Said.OPEN + path);
    }

    private static void attributes(Scene scene, String path, int errno) {
        scene.ask("setExtendedAttribute", () -> ZOLTNative.setExtendedAttribute(path, NAME, VALUE,
                (short) 0), path).mustThrow(errno, "setxattr failed for " + NAME);
        scene.ask("getXAttr", () -> ZOLTNative.getXAttr(path, NAME), path)
                .mustThrow(errno, "getxattr failed for " + NAME);
        Answer<?> some = scene.ask("getXAttrs",
                () -> ZOLTNative.getXAttrs(path, new String[] {NAME}).size(), path);
        some.check(some.thrown == null && some.value().equals(0), "an empty map");
        // The probe's errno is not looked at, so that a length is asked for that nobody has.
        scene.ask("dumpXAttrs", () -> ZOLTNative.dumpXAttrs(path), path)
                .mustThrow(Faults.ENOMEM, "listxattr failed");
        scene.ask("removeXAttr", () -> ZOLTNative.removeXAttr(path, NAME), path)
                .mustThrow(errno, "removexattr failed for " + NAME);
    }

    private static void leases(Scene scene, String path, int errno) {
        scene.tell("setFileLeaseNative", () -> ZOLTNative.setFileLeaseNative(path, true, VALUE),
                path).mustThrow(errno, "setxattr failed for " + Said.HOLDER);
        scene.ask("getFileLeaseNative", () -> ZOLTNative.getFileLeaseNative(path, true, 10, 10),
                path).mustThrow(errno, "getxattr failed for " + Said.UPDATE);
        scene.tell("renewFileLeaseNative", () -> ZOLTNative.renewFileLeaseNative(path, true), path)
                .mustThrow(errno, "setxattr failed for " + Said.UPDATE);
        scene.tell("removeFileLeaseNative", () -> ZOLTNative.removeFileLeaseNative(path, true),
                path).mustThrow(errno, "removexattr failed for " + Said.LEASE);
    }

    private static void lists(Scene scene, String path, int errno) {
        byte[] spec = AclBytes.specification(AclLists.whole(0, AclBytes.ACCESS));
        scene.ask("getAclStatus", () -> ZOLTNative.getAclStatus(path, false), path)
                .mustThrow(errno, path);
        scene.tell("setAcl", () -> ZOLTNative.setAcl(path, spec), path).mustThrow(errno, path);
        scene.tell("modifyAclEntries", () -> ZOLTNative.modifyAclEntries(path, spec), path)
                .mustThrow(errno, path);
        scene.tell("removeAclEntries", () -> ZOLTNative.removeAclEntries(path, spec), path)
                .mustThrow(errno, path);
        scene.tell("removeDefaultAcl", () -> ZOLTNative.removeDefaultAcl(path, true), path)
                .mustThrow(errno, path);
        scene.tell("removeAcl", () -> ZOLTNative.removeAcl(path, true), path)
                .mustThrow(errno, path);
    }
}
