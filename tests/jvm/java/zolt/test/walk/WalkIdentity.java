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
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;

/** Names, ids, and the switch of a thread's identity and its end. */
final class WalkIdentity {
    private static final String USER_ADVICE =
            "\", create the user on all kolvane nodes with the same uid and try it again!";
    private static final String GROUP_ADVICE =
            "\", create the group on all kolvane nodes with the same gid and try it again!";

    /** On this thread Bob was the last user. */
    private static final String AS_BOB = "70011:70012 [70012]";

    private static long handle;

    private WalkIdentity() {}

    /** A lookup: one that needs a larger buffer is made again, one that fails in silence is none. */
    private static Scenario.Step lookup(String function, String unknown, String failed,
            Object silent) {
        return step(function, error(failed)
                .on(Fault.errno(Faults.ERANGE), same())
                .on(Fault.SILENT, answer(silent))
                .on(Fault.NONE, error(Faults.EINVAL, unknown)));
    }

    /** There is no memory for a record of the database, as the first size for one is. */
    private static Rule noRecord(String database) {
        return error(Faults.ENOMEM, "new failed, " + database + "bufsize = 1024");
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

    static List<Scenario> scenarios(Place place) throws IOException {
        // A name that cannot be looked up gets the ids of nobody, and the groups of the name.
        Rule nobody = same().as("65534:65534 [65534]");
        Scenario.Step user = step("getpwnam_r", nobody.on(Fault.errno(Faults.ERANGE), same()));
        Rule refusedGroups = refused("failed to alloc 128 gid buffer");
        // The groups are set before the ids, and stay.
        String halfway = "0:0 [" + ALICES + "]";
        Rule undone = same().as(halfway).allocations(0);
        return List.of(
            new Scenario("getUid: a user")
                .call(() -> ZOLTNative.getUid("root"))
                .withoutMemory(noMemory(), noRecord("pwd"))
                .steps(
                    string(),
                    harmless("sysconf"),
                    lookup("getpwnam_r", "Unknown user \"root" + USER_ADVICE,
                        "getpwnam_r() failed: Unknown user \"root" + USER_ADVICE, -1)),
            new Scenario("getUid: an unknown user")
                .call(() -> ZOLTNative.getUid("none"))
                .withoutMemory(noMemory(), noRecord("pwd"))
                .steps(
                    string(),
                    harmless("sysconf"),
                    lookup("getpwnam_r", "Unknown user \"none" + USER_ADVICE,
                        "getpwnam_r() failed: Unknown user \"none" + USER_ADVICE, -1),
                    step("ThrowNew", vmError())),
            new Scenario("getGid: a group")
                .call(() -> ZOLTNative.getGid("root"))
                .withoutMemory(noMemory(), noRecord("grp"))
                .steps(
                    string(),
                    harmless("sysconf"),
                    lookup("getgrnam_r", "Unknown group \"root" + GROUP_ADVICE,
                        "getgrnam_r() failed: Unknown group \"root" + GROUP_ADVICE, -1)),
            new Scenario("getUser: an id")
                .call(() -> ZOLTNative.getUser(0))
                .withoutMemory(noMemory(), noRecord("pwd"))
                .steps(
                    harmless("sysconf"),
                    lookup("getpwuid_r", "Unknown uid \"0" + USER_ADVICE,
                        "getpwuid_r() failed with uid \"0" + USER_ADVICE, ""),
                    step("NewStringUTF", vmError())),
            new Scenario("getGroup: an id")
                .call(() -> ZOLTNative.getGroup(0))
                .withoutMemory(noMemory(), noRecord("grp"))
                .steps(
                    harmless("sysconf"),
                    lookup("getgrgid_r", "Unknown gid \"0" + GROUP_ADVICE,
                        "getgrgid_r() failed with gid \"0" + GROUP_ADVICE, ""),
                    step("NewStringUTF", vmError())),
            new Scenario("setFsUid(String): a user with other groups")
                .prepare(WalkIdentity::beBobOnce)
                .call(WalkIdentity::begin)
                .cleanUp(WalkIdentity::end)
                .withoutMemory(noMemory(), nobody, noMemory().as(halfway), refusedGroups)
                .thrownFromLogger(undone)
                .steps(
                    string(),
                    harmless("sysconf"),
                    user,
                    step("getgrouplist", refused("failed to alloc 128 gid buffer")
                        .on(Fault.ONE_MORE, same())),
                    step("syscall_setgroups",
                        refused("SYS_setgroups error for user=alice gid:70002")),
                    step("setfsuid", refused("setfsuid error: 4294967295 -> 70001").as(halfway)),
                    step("setfsgid", refused("setfsgid error: 4294967295 -> 70002").as(halfway))),
            new Scenario("setFsUid(String): a user within another's switch")
                .as("bob")
                .call(WalkIdentity::begin)
                .cleanUp(WalkIdentity::end)
                .withoutMemory(noMemory(), noMemory().as("70011:70012 [70002]"), nobody,
                    refusedGroups)
                .thrownFromLogger(same().as("70011:70012 [70002]").allocations(0))
                .steps(
                    string(),
                    harmless("sysconf"),
                    user,
                    step("getgrouplist", refused("failed to alloc 128 gid buffer")
                        .on(Fault.ONE_MORE, same())),
                    step("syscall_setgroups",
                        refused("SYS_setgroups error for user=alice gid:70002")),
                    step("setfsuid", refused("setfsuid error: 4294967295 -> 70001")
                        .as("70011:70012 [70002]")),
                    step("setfsgid", refused("setfsgid error: 4294967295 -> 70002")
                        .as("70011:70012 [70002]"))),
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
