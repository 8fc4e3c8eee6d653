package zolt.test.walk;

import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.noMemory;
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
import zolt.test.Said;
import zolt.test.status.StatusRecord;

/** Block locations of every kind, replication and the block group factor. */
final class WalkBlocks {
    private static final ByteBuffer STATUS = Place.direct(102);
    private static final ByteBuffer LOCATIONS = Place.direct(48);

    private WalkBlocks() {}

    private static String state() {
        return Ending.text(Place.content(STATUS)) + Ending.text(Place.content(LOCATIONS));
    }

    private static Scenario locations(String circumstances, Path path, int type, ByteBuffer status,
            ByteBuffer locations) {
        return new Scenario("getBlockLocationsNative: " + circumstances)
                .prepare(() -> {
                    Place.fill(STATUS);
                    Place.fill(LOCATIONS);
                    ZOLTNative.getFileStatusNative(path.toString(), true, false, STATUS, 0, 0, 0, 0);
                })
                .state(WalkBlocks::state)
                .does(() -> ZOLTNative.getBlockLocationsNative(path.toString(), type, true, 0, 12288, status,
                            locations));
    }

    private static List<Scenario.Step> buffer(String path) {
        return Scenario.buffer(error(Faults.EINVAL, path));
    }

    /** A request whose reply is of blocks: fewer are asked for again, none end the walk. */
    private static Scenario.Step map(Rule failed, Rule none) {
        return step("zolt_fcntl", failed.on(Fault.ONE_LESS, same()).on(Fault.NONE, none));
    }

    private static String noLocations(String state) {
        return state.substring(0, 2 * STATUS.capacity()) + "ff".repeat(LOCATIONS.capacity());
    }

    /** The first blocks, of two copies each, and nothing after them. */
    private static String first(String state, int blocks) {
        int words = 2 * STATUS.capacity() + 2 * 16 * blocks;
        return state.substring(0, words) + "ee".repeat(LOCATIONS.capacity() - 16 * blocks);
    }

    private static Scenario set(String name, Path path) {
        return new Scenario(name)
                .prepare(() -> {
                    ZOLTNative.setReplication(path.toString(), (short) 1, true);
                    ZOLTNative.setBGF(path.toString(), 1);
                })
                .state(() -> {
                    Place.fill(STATUS);
                    ZOLTNative.getFileStatusNative(path.toString(), true, false, STATUS, 0, 0, 0, 0);
                    return STATUS.getInt(StatusRecord.BLOCK_SIZE) + " "
                            + STATUS.getShort(StatusRecord.REPLICATION);
                });
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path file = place.file("blocks", 12000);
        Path directory = place.directory("no blocks");
        String path = file.toString();
        ZOLTNative.setReplication(path, (short) 2, true);
        ZOLTNative.setBGF(path, 1);
        Rule failed = error(path);
        Rule none = same().done(WalkBlocks::noLocations);
        return List.of(
            locations("the file system's blocks, for Alice", file, 0, null, LOCATIONS)
                .as("alice")
                .steps(
                    string(),
                    buffer(path),
                    step("lstat", statError(path)),
                    step("open", openError(path)),
                    map(failed, none),
                    harmless("close")),
            locations("their sizes alone", file, 1, STATUS, LOCATIONS)
                .steps(
                    string(),
                    buffer(path),
                    buffer(path),
                    step("open", openError(path)),
                    step("zolt_fcntl", failed
                        .andThen(ending -> ending.leaving(noLocations(ending.state())))
                        .unaltered()),
                    harmless("close")),
            locations("groups of blocks", file, 2, STATUS, LOCATIONS)
                .steps(
                    string(),
                    buffer(path),
                    buffer(path),
                    step("open", openError(path)),
                    step("zolt_fcntl", requestError(path)),
                    map(failed, none),
                    harmless("close")),
            locations("groups of blocks by ranked nodes", file, 3, null, LOCATIONS)
                .withoutMemory(noMemory(), noMemory().done(state -> first(state, 1)),
                    noMemory().done(state -> first(state, 2)))
                .steps(
                    string(),
                    buffer(path),
                    step("lstat", statError(path)),
                    step("open", openError(path)),
                    step("zolt_fcntl", requestError(path)),
                    map(failed, none),
                    harmless("close")),
            locations("no file", directory, 3, null, LOCATIONS)
                .steps(
                    string(),
                    buffer(directory.toString()),
                    step("lstat", statError(directory.toString()))),
            set("setReplication: and what is there already", file)
                .call(() -> ZOLTNative.setReplication(path, (short) 3, true))
                .steps(
                    string(),
                    step("open", openError(Said.OPEN + path)),
                    step("zolt_fcntl", requestError(Said.REPLICATION + path)),
                    step("zolt_restripe_file", error("failed to restripe file " + path)
                        .done()),
                    harmless("close")),
            set("setReplication: of what is written from now on", file)
                .call(() -> ZOLTNative.setReplication(path, (short) 3, false))
                .steps(
                    string(),
                    step("open", openError(Said.OPEN + path)),
                    step("zolt_fcntl", requestError(Said.REPLICATION + path)),
                    harmless("close")),
            set("setBGF: a factor", file)
                .call(() -> ZOLTNative.setBGF(path, 4))
                .steps(
                    string(),
                    step("open", openError(Said.OPEN + path)),
                    step("zolt_fcntl", requestError(Said.factor(4, path))),
                    harmless("close")),
            set("setBGF: no factor", file)
                .call(() -> ZOLTNative.setBGF(path, 0))
                .steps(
                    string(),
                    step("ThrowNew", vmError())));
    }
}
