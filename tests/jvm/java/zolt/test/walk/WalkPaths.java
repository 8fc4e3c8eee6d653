package zolt.test.walk;

import static zolt.test.walk.Place.AS_ALICE;
import static zolt.test.walk.Rule.answer;
import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.same;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Scenario.all;
import static zolt.test.walk.Scenario.harmless;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Level;
import zolt.test.Log;

/** Links, permissions and times, and the diagnosis of a path. */
final class WalkPaths {
    private WalkPaths() {}

    /** The report on one component: its owner and group by name, and its list. */
    private static List<Scenario.Step> report(String... aclOfDirectory) {
        return all(
                harmless("sysconf", "getpwuid_r", "sysconf", "getgrgid_r", "acl_get_file"),
                WalkAcl.dump(false, false, false),
                harmless("acl_free"),
                harmless(aclOfDirectory));
    }

    /** Nothing in a diagnosis makes a difference, but the end of it to the identity. */
    private static List<Scenario.Step> diagnosis() {
        if (Log.nativeThreshold() != Level.TRACE) {
            return List.of();
        }
        return all(
                harmless("lstat", "getgroups", "getgroups", "lstat"),
                report("acl_get_file", "acl_get_entry", "acl_free"),
                harmless("setfsuid", "setfsgid", "lstat"),
                report(),
                harmless("setfsuid", "setfsgid"));
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path link = place.link("dangling", "/no/where");
        Path file = place.file("settable", 0);
        Path locked = place.closed("locked", "file");
        String path = file.toString();
        return List.of(
            new Scenario("getLinkTargetNative: a link")
                .call(() -> ZOLTNative.getLinkTargetNative(link.toString(), 100))
                .steps(
                    string(),
                    step("readlink", error("")
                        .on(Fault.ONE_LESS, answer(Place.bytes("/no/wher")))
                        .on(Fault.NONE, answer(Place.bytes("")))),
                    step("NewByteArray", vmError())),
            new Scenario("getLinkTargetNative: no link")
                .call(() -> ZOLTNative.getLinkTargetNative(path, 100))
                .steps(
                    string(),
                    step("readlink", error("").unaltered()),
                    step("ThrowNew", vmError())),
            new Scenario("setPermission: a file")
                .prepare(() -> Files.setPosixFilePermissions(file,
                        PosixFilePermissions.fromString("rw-r-----")))
                .state(() -> Files.getAttribute(file, "unix:mode"))
                .call(() -> ZOLTNative.setPermission(path, (short) 0755))
                .steps(
                    string(),
                    step("chmod", error(path))),
            new Scenario("setPermission: a file that is not Alice's")
                .as("alice")
                .call(() -> ZOLTNative.setPermission(path, (short) 0755))
                .steps(
                    string(),
                    step("chmod", error(path)),
                    step("ThrowNew", vmError())),
            new Scenario("setTimes: a file")
                .prepare(() -> Files.setLastModifiedTime(file, FileTime.fromMillis(5000)))
                .state(() -> Files.getLastModifiedTime(file))
                .call(() -> ZOLTNative.setTimes(path, 1500, -1))
                .steps(
                    string(),
                    step("utimensat", error(path))),
            new Scenario("getFailedPathNative: a path that is closed to Alice")
                .as("alice")
                .does(() -> ZOLTNative.getFailedPathNative(locked + "/file", true))
                .withoutMemory(same(), same().as(AS_ALICE))
                .steps(
                    string(),
                    diagnosis()));
    }
}
