package zolt.test.walk;

import static zolt.test.walk.Place.AS_DAEMON;
import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.openError;
import static zolt.test.walk.Rule.requestError;
import static zolt.test.walk.Rule.same;
import static zolt.test.walk.Rule.statError;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Scenario.harmless;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.Said;

/** The status of a file, in its full and its fast form, and what else a stat tells. */
final class WalkStatus {
    private static final ByteBuffer BUFFER = Place.direct(100);

    private WalkStatus() {}

    private static Scenario full(String circumstances, Path path, boolean withLease) {
        return new Scenario("getFileStatusNative: " + circumstances)
                .prepare(() -> Place.fill(BUFFER))
                .state(() -> Place.content(BUFFER))
                .call(() -> ZOLTNative.getFileStatusNative(path.toString(), true, withLease, BUFFER,
                        0, 0, 0, 0));
    }

    /** The identity at the end of a diagnosis, which is made at trace. */
    private static Rule diagnosed(Rule rule) {
        return Log.nativeThreshold() == Level.TRACE ? rule.as(AS_DAEMON) : rule;
    }

    private static List<Scenario.Step> buffer(String path) {
        return Scenario.buffer(error(Faults.EINVAL, path));
    }

    /** The switch to the superuser, and its end, which leaves the superuser where it fails. */
    private static List<Scenario.Step> superuser() {
        return List.of(step("setfsuid", error("setfsuid error: 4294967295 -> 0")),
                step("setfsgid", error("setfsgid error: 4294967295 -> 0")));
    }

    private static List<Scenario.Step> superusersEnd(String superuser) {
        return List.of(step("setfsuid", same().as(superuser)),
                step("setfsgid", same().as(superuser)));
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path leased = place.file("leased", 5);
        Path plain = place.file("plain", 5);
        Path directory = place.directory("directory", "one", "two");
        Path link = place.link("link", "plain");
        String path = leased.toString();
        String far = directory + "/.".repeat(300) + "/none";
        ZOLTNative.setFileLeaseNative(path, true, Place.bytes("holder"));
        return List.of(
            new Scenario("getFileStatusFormatNative: the table")
                .call(() -> ZOLTNative.getFileStatusFormatNative())
                .steps(step("NewIntArray", vmError())),
            full("a leased file, for Alice", leased, true)
                .as("alice")
                .steps(
                    string(),
                    buffer(path),
                    step("stat", statError(path)),
                    superuser(),
                    step("open", openError(path)),
                    step("zolt_fstat_x", error(path)),
                    step("zolt_fcntl", requestError(path)
                        .done(record -> Place.with(Place.with(record, 28, 0, 0, 0, 0), 84, 0, 0))
                        .on(Fault.ONE_LESS, same())
                        .on(Fault.NONE, same())),
                    step("fgetxattr", error(path).done(record -> Place.with(record, 84, 0, 0))
                        .on(Fault.errno(Faults.ENODATA),
                            same().done(record -> Place.with(record, 84, 0, 0)))
                        .on(Fault.ONE_LESS, same().done(record -> Place.with(record, 84, 5, 0)))
                        .on(Fault.NONE, same().done(record -> Place.with(record, 84, 0, 0)))
                        .on(Fault.ONE_MORE, same().done(record -> Place.with(record, 84, 7, 0)))),
                    harmless("close"),
                    superusersEnd(AS_DAEMON)),
            full("a directory, for the service itself", directory, true)
                .steps(
                    string(),
                    buffer(directory.toString()),
                    step("stat", statError(directory.toString())),
                    superuser(),
                    step("open", openError(directory.toString())),
                    step("zolt_fstat_x", error(directory.toString())),
                    harmless("close", "setfsuid", "setfsgid")),
            full("where nothing is switched", plain, false)
                .prepare(() -> {
                    Place.fill(BUFFER);
                    ZOLTNative.setFSConfig(true);
                })
                .cleanUp(() -> ZOLTNative.setFSConfig(false))
                .steps(
                    string(),
                    buffer(plain.toString()),
                    step("open", openError(plain.toString())),
                    step("zolt_fstat_x", error(plain.toString())),
                    step("zolt_fcntl", requestError(plain.toString())
                        .done(record -> Place.with(record, 28, 0, 0, 0, 0))
                        .on(Fault.ONE_LESS, same())
                        .on(Fault.NONE, same())),
                    harmless("close")),
            new Scenario("getFileStatusNative: an unchanged file")
                .prepare(() -> Place.fill(BUFFER))
                .state(() -> Place.content(BUFFER))
                .as("alice")
                .call(() -> ZOLTNative.getFileStatusNative(path, true, true, BUFFER, 1L << 40, 0,
                        1L << 40, 0))
                .steps(
                    string(),
                    buffer(path),
                    step("stat", statError(path)),
                    superuser(),
                    step("open", openError(path)),
                    step("zolt_fstat_x", error(path)),
                    harmless("close"),
                    superusersEnd(AS_DAEMON)),
            new Scenario("getFileStatusFastNative: a file, for Alice")
                .prepare(() -> Place.fill(BUFFER))
                .state(() -> Place.content(BUFFER))
                .as("alice")
                .call(() -> ZOLTNative.getFileStatusFastNative(path, true, BUFFER, 0, 0))
                .steps(
                    string(),
                    buffer(path),
                    step("zolt_stat_x", diagnosed(error(path)))),
            new Scenario("isCMTimeChangedNative: a file")
                .as("alice")
                .call(() -> ZOLTNative.isCMTimeChangedNative(path, true, 0, 0, 0, 0))
                .steps(
                    string(),
                    step("lstat", statError(path))),
            new Scenario("isCMTimeChangedNative: a link that is followed")
                .call(() -> ZOLTNative.isCMTimeChangedNative(link.toString(), true, 0, 0, 0, 0))
                .steps(
                    string(),
                    step("lstat", statError(link.toString())),
                    step("stat", statError(link.toString()))),
            new Scenario("getINum: a file, for Alice")
                .as("alice")
                .call(() -> ZOLTNative.getINum(path, true))
                .steps(
                    string(),
                    step("lstat", statError(Said.INODE + path))),
            new Scenario("getINum: a path that is not there")
                .call(() -> ZOLTNative.getINum(path + ".none", true))
                .steps(
                    string(),
                    step("lstat", statError(Said.INODE + path + ".none")),
                    step("ThrowNew", vmError())),
            new Scenario("getINum: a path that is not there, and a text that takes memory")
                .call(() -> ZOLTNative.getINum(far, true))
                .steps(
                    string(),
                    step("lstat", statError(Said.INODE + far)),
                    step("ThrowNew", vmError())));
    }
}
