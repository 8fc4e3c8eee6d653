package zolt.test.walk;

import static zolt.test.walk.Place.ALICES;
import static zolt.test.walk.Rule.answer;
import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.noMemory;
import static zolt.test.walk.Rule.same;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Scenario.harmless;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.util.List;
import java.util.concurrent.Callable;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Said;

/** Names, ids, and the switch of a thread's identity and its end. */
final class WalkIdentity {
    /** On this thread Bob was the last user. */
    private static final String AS_BOB = "70011:70012 [70012]";

    private static long handle;

    private WalkIdentity() {}

    /**
     * A lookup by name or by id: one that needs a larger buffer is made again, one that fails in
     * silence is none. There may be no memory for a record, as the first size for one is.
     */
    private static Scenario lookup(String name, Callable<?> call, String kind, Object key,
            Scenario.Step... after) {
        String database = kind.startsWith("u") ? "pwd" : "grp";
        boolean byName = key instanceof String;
        String function = (database.equals("pwd") ? "getpw" : "getgr")
                + (byName ? "nam" : kind) + "_r";
        String failed = function + "() failed" + (byName ? ": " + Said.unknown(kind, key)
                : " with " + Said.advice(kind, key));
        return new Scenario(name)
                .call(call)
                .withoutMemory(noMemory(),
                    error(Faults.ENOMEM, "new failed, " + database + "bufsize = 1024"))
                .steps(
                    byName ? string() : List.of(),
                    harmless("sysconf"),
                    step(function, error(failed)
                        .on(Fault.errno(Faults.ERANGE), same())
                        .on(Fault.SILENT, answer(byName ? -1 : ""))
                        .on(Fault.NONE, error(Faults.EINVAL, Said.unknown(kind, key)))),
                    List.of(after));
    }

    private static Rule refused(String text) {
        return Rule.thrown(IOException.class, text);
    }

    private static void end() throws IOException {
        if (handle != 0) {
            ZOLTNative.setFsUid(handle);
        }
        handle = 0;
    }

    private static void beBobOnce() throws IOException {
        ZOLTNative.setFsUid(ZOLTNative.setFsUid("bob"));
    }

    private static long begin() throws IOException {
        handle = 0;
        handle = ZOLTNative.setFsUid("alice");
        return handle == 0 ? 0 : 1;
    }

    /** A switch to Alice; where it fails half-way, the groups are set before the ids, and stay. */
    private static Scenario switched(String circumstances, String halfway) {
        // A name that cannot be looked up gets the ids of nobody, and the groups of the name.
        Rule nobody = same().as("65534:65534 [65534]");
        Rule noGroups = refused("failed to alloc 128 gid buffer");
        return new Scenario("setFsUid(String): " + circumstances)
                .call(WalkIdentity::begin)
                .cleanUp(WalkIdentity::end)
                .withoutMemory(noMemory(), nobody, noMemory().as(halfway), noGroups)
                .thrownFromLogger(same().as(halfway).allocations(0))
                .steps(
                    string(),
                    harmless("sysconf"),
                    step("getpwnam_r", nobody.on(Fault.errno(Faults.ERANGE), same())),
                    step("getgrouplist", noGroups.on(Fault.ONE_MORE, same())),
                    step("syscall_setgroups",
                        refused("SYS_setgroups error for user=alice gid:70002")),
                    step("setfsuid", refused("setfsuid error: 4294967295 -> 70001").as(halfway)),
                    step("setfsgid", refused("setfsgid error: 4294967295 -> 70002").as(halfway)));
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        return List.of(
            lookup("getUid: a user", () -> ZOLTNative.getUid("root"), "user", "root"),
            lookup("getUid: an unknown user", () -> ZOLTNative.getUid("none"), "user", "none",
                step("ThrowNew", vmError())),
            lookup("getGid: a group", () -> ZOLTNative.getGid("root"), "group", "root"),
            lookup("getUser: an id", () -> ZOLTNative.getUser(0), "uid", 0,
                step("NewStringUTF", vmError())),
            lookup("getGroup: an id", () -> ZOLTNative.getGroup(0), "gid", 0,
                step("NewStringUTF", vmError())),
            switched("a user with other groups", "0:0 [" + ALICES + "]")
                .prepare(WalkIdentity::beBobOnce),
            switched("a user within another's switch", "70011:70012 [" + ALICES + "]")
                .as("bob"),
            new Scenario("setFsUid(String): where nothing is switched")
                .prepare(() -> ZOLTNative.setFSConfig(true))
                .call(WalkIdentity::begin)
                .cleanUp(() -> {
                    end();
                    ZOLTNative.setFSConfig(false);
                })
                .steps(string()),
            new Scenario("setFsUid(long): the end of a switch")
                .prepare(WalkIdentity::begin)
                .call(() -> {
                    long ended = handle;
                    handle = 0; // it is gone, however the end goes
                    ZOLTNative.setFsUid(ended);
                    return null;
                })
                .cleanUp(WalkIdentity::end)
                .steps(
                    step("setfsuid", refused("setfsuid error: 4294967295 -> 0").allocations(-1)),
                    step("setfsgid", refused("setfsgid error: 4294967295 -> 0").allocations(-1))));
    }
}
