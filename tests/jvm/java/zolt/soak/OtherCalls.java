package zolt.soak;

import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Said;

/** Configuration, always the same, and the names and ids of users. */
final class OtherCalls {
    static final int BLOCK_SIZE = 1 << 20;
    static final int REPLICATION = 3;

    private static final int[] FORMAT = ZOLTNative.getFileStatusFormatNative();

    private OtherCalls() {}

    static List<Call> all() {
        return List.of(OtherCalls::configure, OtherCalls::mounts, OtherCalls::names);
    }

    static void configure(Scene scene) {
        scene.ask("setFSConfig", () -> ZOLTNative.setFSConfig(false), false).mustBe(1);
        scene.tell("setDefaultBlockSizeReplication", () ->
                ZOLTNative.setDefaultBlockSizeReplication(BLOCK_SIZE, REPLICATION)).value();
        Answer<int[]> answer = scene.ask("getFileStatusFormatNative",
                () -> ZOLTNative.getFileStatusFormatNative());
        answer.check(Arrays.equals(answer.value(), FORMAT), "the same table");
    }

    private static void mounts(Scene scene) {
        scene.ask("getFsName", () -> ZOLTNative.getFsName("/proc", "proc"), "/proc", "proc")
                .mustBe("proc");
        scene.ask("getFsName", () -> ZOLTNative.getFsName("/proc", "zolt"), "/proc", "zolt")
                .mustThrow(Faults.ENOENT, "zolt");
    }

    private static void names(Scene scene) {
        int user = scene.random.nextInt(Users.COUNT);
        String name = Users.name(user);
        int id = Users.id(user);
        scene.ask("getUid", () -> ZOLTNative.getUid(name), name).mustBe(id);
        scene.ask("getGid", () -> ZOLTNative.getGid(name), name).mustBe(id);
        scene.ask("getUser", () -> ZOLTNative.getUser(id), id).mustBe(name);
        scene.ask("getGroup", () -> ZOLTNative.getGroup(id), id).mustBe(name);
        scene.ask("getUid", () -> ZOLTNative.getUid("soak-nobody"), "soak-nobody")
                .mustThrow(Faults.EINVAL, Said.unknown("user", "soak-nobody"));
    }
}
