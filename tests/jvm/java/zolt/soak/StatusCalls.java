package zolt.soak;

import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.function.IntPredicate;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Outcome;
import zolt.test.status.StatusRecord;

/** Status records, links, and the setters of modes and times. */
final class StatusCalls {
    private static final byte UNTOUCHED = 0x55;
    private static final Short[] MODES = {0644, 0640, 0600, 0755, 01755};
    /** All half past a second, so that seconds and nanoseconds go together in any combination. */
    /** Whether the file system lets anybody set the mode that a file already has. */
    private static final boolean PRESENT_MODE_BY_ANYBODY = Boolean.getBoolean("soak.present.mode.by.anybody");
    private static final Long[] TIMES = {Tree.FIXED_TIME, 1_000_000_000_500L, 1_400_000_000_500L};
    private static final int HALF_SECOND = 500_000_000;

    private StatusCalls() {}

    static List<Call> all() {
        return List.of(StatusCalls::fixed, StatusCalls::fixed, StatusCalls::fixedFast,
                StatusCalls::unchanged, StatusCalls::link, StatusCalls::inode,
                StatusCalls::changing, StatusCalls::changing, StatusCalls::transientEntry,
                StatusCalls::setMode, StatusCalls::setTimes, StatusCalls::changed);
    }

    private static ByteBuffer cleared(Scene scene) {
        ByteBuffer buffer = scene.buffers.status();
        for (int i = 0; i < buffer.capacity(); i++) {
            buffer.put(i, UNTOUCHED);
        }
        return buffer;
    }

    private static boolean isUntouched(ByteBuffer buffer, int from, int to) {
        for (int i = from; i < to; i++) {
            if (buffer.get(i) != UNTOUCHED) {
                return false;
            }
        }
        return true;
    }

    static Answer<Integer> full(Scene scene, String path, boolean follow) {
        ByteBuffer buffer = cleared(scene);
        return scene.ask("getFileStatusNative", () -> ZOLTNative.getFileStatusNative(path, follow,
                true, buffer, 0, 0, 0, 0), path, follow);
    }

    private static Answer<Integer> fast(Scene scene, String path) {
        ByteBuffer buffer = cleared(scene);
        return scene.ask("getFileStatusFastNative",
                () -> ZOLTNative.getFileStatusFastNative(path, true, buffer, 0, 0), path);
    }

    /** What all records have to say of a file that is there. */
    private static void expectRecord(Answer<Integer> answer, ByteBuffer record, Long inode,
            int owner, IntPredicate mode, IntPredicate acl) {
        answer.mustBe(1);
        answer.check(inode == null || record.getLong(StatusRecord.INODE) == inode, "inode " + inode);
        answer.check(record.getInt(StatusRecord.UID) == owner
                && record.getInt(StatusRecord.GID) == owner, "owner " + owner);
        int found = record.getInt(StatusRecord.MODE);
        answer.check(mode.test(found), "another mode than " + Integer.toOctalString(found));
        int flag = record.getShort(StatusRecord.ACL);
        answer.check(acl.test(flag), "another ACL flag than " + flag);
        answer.check(isUntouched(record, StatusRecord.END, record.capacity()), "nothing after the record");
    }

    private static void expectFixed(Scene scene, Answer<Integer> answer, int user) {
        ByteBuffer record = scene.buffers.status();
        expectRecord(answer, record, scene.tree.inode(scene.tree.path(user, "fixed")),
                Users.id(user), mode -> mode == (StatusRecord.REGULAR | 0644), acl -> acl == 0);
        answer.check(record.getLong(StatusRecord.SIZE) == scene.tree.fixedSize(), "the size");
        answer.check(record.getLong(StatusRecord.MTIME) == Tree.FIXED_TIME / 1000
                && record.getInt(StatusRecord.MTIME + 8) == HALF_SECOND, "the time of a file that never changes");
    }

    private static void fixed(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, scene.random.nextBoolean() ? "fixed" : "link");
        Answer<Integer> answer = full(scene, path, true);
        expectFixed(scene, answer, user);
        ByteBuffer record = scene.buffers.status();
        answer.check(record.getInt(StatusRecord.BLOCK_SIZE) == OtherCalls.BLOCK_SIZE, "the default block size");
        answer.check(record.getShort(StatusRecord.REPLICATION) == OtherCalls.REPLICATION, "the default replication");
        answer.check(record.getShort(StatusRecord.LEASE) == 0, "no lease");
    }

    private static void fixedFast(Scene scene) {
        int user = scene.somebody();
        Answer<Integer> answer = fast(scene, scene.tree.path(user, "fixed"));
        expectFixed(scene, answer, user);
        ByteBuffer record = scene.buffers.status();
        answer.check(isUntouched(record, StatusRecord.BLOCK_SIZE, StatusRecord.ATIME)
                        && isUntouched(record, StatusRecord.REPLICATION, StatusRecord.END),
                "no block size, replication and lease");
    }

    private static void unchanged(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "fixed");
        ByteBuffer buffer = cleared(scene);
        long never = Long.MAX_VALUE;
        Answer<Integer> answer = scene.ask("getFileStatusNative",
                () -> ZOLTNative.getFileStatusNative(path, true, true, buffer, never, 0, never, 0),
                path, "not changed");
        answer.mustBe(0);
        answer.check(isUntouched(buffer, 0, buffer.capacity()), "an untouched buffer");
        scene.ask("isCMTimeChangedNative", () -> ZOLTNative.isCMTimeChangedNative(path, true, never,
                0, never, 0), path, "not changed").mustBe(false);
    }

    private static void link(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "link");
        int length = scene.random.nextInt(10);
        byte[] target = "fixed".substring(0, Math.min(length, 5)).getBytes(StandardCharsets.UTF_8);
        scene.ask("getLinkTargetNative", () -> ZOLTNative.getLinkTargetNative(path, length), path,
                length).mustBe(target);
        full(scene, path, false).mustThrow(Faults.ELOOP, path);
    }

    private static void inode(Scene scene) {
        String path = scene.tree.path(scene.somebody(), scene.oneOf(Tree.FILES));
        scene.ask("getINum", () -> ZOLTNative.getINum(path, true), path)
                .mustBe(scene.tree.inode(path));
        scene.tell("getFailedPathNative", () -> ZOLTNative.getFailedPathNative(path, true), path)
                .value();
    }

    /** The record of a file on which others work at this moment. */
    private static void changing(Scene scene) {
        int user = scene.somebody();
        String name = scene.oneOf(Tree.FILES);
        String path = scene.tree.path(user, name);
        boolean fast = scene.random.nextBoolean();
        Answer<Integer> answer = fast ? fast(scene, path) : full(scene, path, true);
        ByteBuffer record = scene.buffers.status();
        boolean listed = name.startsWith("acl");
        expectRecord(answer, record, scene.tree.inode(path), Users.id(user),
                mode -> listed ? AclLists.isMode(mode & ~StatusRecord.REGULAR) : isMode(name, mode & ~StatusRecord.REGULAR),
                acl -> acl == 0 || listed && acl == StatusRecord.HAS_ACL);
        answer.check(!name.equals("times") || isTime(record), "one of the times set");
        if (!fast) {
            int length = record.getShort(StatusRecord.LEASE);
            answer.check(name.startsWith("lease") ? LeaseCalls.isLength(length) : length == 0,
                    "another lease length than " + length);
        }
    }

    private static boolean isMode(String name, int mode) {
        return name.equals("mode") ? List.of(MODES).contains((short) mode) : mode == 0644;
    }

    private static boolean isTime(ByteBuffer record) {
        return List.of(TIMES).contains(record.getLong(StatusRecord.MTIME) * 1000 + 500)
                && record.getInt(StatusRecord.MTIME + 8) == HALF_SECOND;
    }

    private static void transientEntry(Scene scene) {
        int user = scene.somebody();
        String name = ChurnCalls.name(scene);
        String path = scene.tree.path(user, "churn/" + name);
        if (name.startsWith("l")) {
            Answer<byte[]> target = scene.ask("getLinkTargetNative",
                    () -> ZOLTNative.getLinkTargetNative(path, 100), path);
            if (!target.threw(Faults.ENOENT, "")) {
                target.mustBe(ChurnCalls.TARGET.getBytes(StandardCharsets.UTF_8));
            }
            return;
        }
        Answer<Integer> answer = scene.random.nextBoolean() ? fast(scene, path)
                : full(scene, path, false);
        if (!answer.threw(Faults.ENOENT, path)) {
            int mode = name.startsWith("d") ? StatusRecord.DIRECTORY | 0755 : StatusRecord.REGULAR | 0644;
            expectRecord(answer, scene.buffers.status(), null, 0, found -> found == mode,
                    acl -> acl == 0);
        }
    }

    private static void setMode(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "mode");
        short mode = scene.oneOf(MODES);
        Answer<Boolean> answer = scene.ask("setPermission",
                () -> ZOLTNative.setPermission(path, mode), path, mode);
        Outcome refusal = Outcome.error(Faults.EPERM, path);
        if (PRESENT_MODE_BY_ANYBODY && !scene.mayActAs(user)) {
            answer.must(refusal, Outcome.TRUE);
        } else {
            answer.mustOf(user, refusal, Outcome.TRUE);
        }
    }

    private static void setTimes(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "times");
        long mtime = scene.oneOf(TIMES);
        long atime = scene.random.nextBoolean() ? scene.oneOf(TIMES) : -1;
        Answer<Boolean> answer = scene.ask("setTimes",
                () -> ZOLTNative.setTimes(path, mtime, atime), path, mtime, atime);
        answer.mustOf(user, Outcome.error(Faults.EPERM, path), Outcome.TRUE);
        scene.ask("setTimes", () -> ZOLTNative.setTimes(path, -1, -1), path, -1, -1).mustBe(true);
    }

    private static void changed(Scene scene) {
        String path = scene.tree.path(scene.somebody(), scene.oneOf(Tree.FILES));
        scene.ask("isCMTimeChangedNative",
                () -> ZOLTNative.isCMTimeChangedNative(path, true, 0, 0, 0, 0), path).mustBe(true);
    }
}
