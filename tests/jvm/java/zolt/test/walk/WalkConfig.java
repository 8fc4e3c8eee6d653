package zolt.test.walk;

import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.noMemory;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Scenario.harmless;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;

/** The settings and the mount table. */
final class WalkConfig {
    private WalkConfig() {}

    static List<Scenario> scenarios(Place place) throws IOException {
        Path table = place.file("mtab", 0);
        Scenario.Action mounts = () -> {
            Files.writeString(table, "first /mnt ext4 rw 0 0\nsecond /mnt/longer-than-a-short-string zolt rw 0 0\n");
            Faults.mountTable(table.toString());
        };
        Rule notThere = error(Faults.ENOENT, "zolt");
        return List.of(
            new Scenario("setDefaultBlockSizeReplication: good and bad values")
                .does(() -> ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 0))
                .steps(),
            new Scenario("setFSConfig: off")
                .call(() -> ZOLTNative.setFSConfig(false))
                .steps(),
            new Scenario("getFsName: the second line of the table")
                .prepare(mounts)
                .call(() -> ZOLTNative.getFsName("/mnt/longer-than-a-short-string", "zolt"))
                .withoutMemory(noMemory(), notThere)
                .steps(
                    string(),
                    string(),
                    step("setmntent", (fault, calm, before) -> notThere.ending(fault, calm, before)),
                    step("getmntent_r", notThere),
                    step("getmntent_r", notThere),
                    step("endmntent", Rule.same()),
                    step("NewStringUTF", notThere)),
            new Scenario("getFsName: not in the table")
                .prepare(mounts)
                .call(() -> ZOLTNative.getFsName("/none", "zolt"))
                .steps(
                    string(),
                    string(),
                    step("setmntent", notThere),
                    harmless("getmntent_r", "getmntent_r", "getmntent_r", "endmntent"),
                    step("ThrowNew", vmError())));
    }
}
