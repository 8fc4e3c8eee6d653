package zolt.test.hostile;

import static zolt.test.hostile.Hostile.FLAG;
import static zolt.test.hostile.Hostile.parameter;
import static zolt.test.hostile.HostileValues.INTS;
import static zolt.test.hostile.HostileValues.LONGS;
import static zolt.test.hostile.HostileValues.texts;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Parameter;

/** Configuration, names and ids, and the identity of a thread. */
final class HostileIdentity {
    private static final String USERS =
            "\", create the user on all kolvane nodes with the same uid and try it again!";
    private static final String GROUPS =
            "\", create the group on all kolvane nodes with the same gid and try it again!";
    private static final Parameter IDS = Hostile.ofInts(0, 1, 2, 100, 999, 1000, 65533, 65534, 65535,
            65536, -1, -2, Integer.MIN_VALUE, Integer.MAX_VALUE);

    private HostileIdentity() {}

    static List<Native> natives() {
        return List.of(
                Native.of("setDefaultBlockSizeReplication", HostileIdentity::defaults, LONGS, INTS),
                Native.of("setFSConfig", call -> Outcome.value(1), FLAG),
                Native.of("getFsName", HostileIdentity::fsName,
                        parameter(String.class, texts("/proc")),
                        parameter(String.class, texts("proc"))),
                Native.of("getUid", HostileIdentity::uid, users()),
                Native.of("getGid", HostileIdentity::gid, users()),
                Native.of("getUser", HostileIdentity::user, IDS),
                Native.of("getGroup", HostileIdentity::group, IDS),
                Native.of("switchTo", HostileIdentity::switched, users()),
                Native.of("setFsUid", HostileIdentity::ended, LONGS));
    }

    private static Parameter users() {
        List<Hostile.Value> values = new ArrayList<>(texts("daemon"));
        values.addAll(Hostile.Value.all("root", "nobody", "daemon ", "daemon:", "Daemon"));
        return parameter(String.class, values);
    }

    private static Outcome defaults(Call call) {
        call.warnings = new ArrayList<>();
        if (call.number(0) <= 0) {
            call.warnings.add("Invalid default blocksize " + call.number(0));
        }
        if (call.number(1) <= 0) {
            call.warnings.add("Invalid default replication " + call.number(1));
        }
        return Outcome.NOTHING;
    }

    private static Outcome fsName(Call call) {
        if (call.text(0) == null || call.text(1) == null) {
            return Outcome.NOTHING;
        }
        try {
            for (String line : Files.readAllLines(Path.of("/etc/mtab"))) {
                String[] fields = line.split(" ");
                if (fields[1].equals(call.text(0)) && fields[2].equals(call.text(1))) {
                    return Outcome.value(fields[0]);
                }
            }
        } catch (IOException e) {
            throw new AssertionError(e);
        }
        return Outcome.error(Faults.ENOENT, call.text(1));
    }

    private static Outcome uid(Call call) {
        if (call.text(0) == null) {
            return Outcome.value(-1);
        }
        long uid = Kernel.uid(call.text(0));
        return uid >= 0 ? Outcome.value((int) uid)
                : Outcome.error(Faults.EINVAL, "Unknown user \"" + call.text(0) + USERS);
    }

    private static Outcome gid(Call call) {
        if (call.text(0) == null) {
            return Outcome.value(-1);
        }
        long gid = Kernel.gid(call.text(0));
        return gid >= 0 ? Outcome.value((int) gid)
                : Outcome.error(Faults.EINVAL, "Unknown group \"" + call.text(0) + GROUPS);
    }

    private static Outcome user(Call call) {
        int uid = (int) call.number(0);
        String name = Kernel.user(uid);
        return name != null ? Outcome.value(name) : Outcome.error(Faults.EINVAL,
                "Unknown uid \"" + Integer.toUnsignedString(uid) + USERS);
    }

    private static Outcome group(Call call) {
        int gid = (int) call.number(0);
        String name = Kernel.group(gid);
        return name != null ? Outcome.value(name) : Outcome.error(Faults.EINVAL,
                "Unknown gid \"" + Integer.toUnsignedString(gid) + GROUPS);
    }

    /** What the thread is after setFsUid(String); setFsUid(long) ends it again. */
    static String switchTo(String user) throws IOException {
        long handle = ZOLTNative.setFsUid(user);
        String identity = Kernel.thread();
        ZOLTNative.setFsUid(handle);
        Kernel.groups(HostileTest.GROUPS);
        return handle == 0 ? "0 " + identity : identity;
    }

    private static Outcome switched(Call call) {
        String user = call.text(0);
        if (user == null) {
            return Outcome.value("0 " + Kernel.thread());
        }
        long uid = Kernel.uid(user);
        if (uid == 0) {
            return Outcome.value(Kernel.thread()); // the service's own group: groups stay
        }
        // None of the users that there are is in a group besides the own one, which has the same id.
        long id = uid > 0 ? uid : Kernel.uid("nobody");
        return Outcome.value(
                "uid 0 0 0 " + id + " gid 0 0 0 " + id + " groups " + id);
    }

    /** A handle is what this thread was given and has not ended; only 0 is nothing. */
    private static Outcome ended(Call call) {
        return call.number(0) == 0 ? Outcome.NOTHING
                : Outcome.thrown(IOException.class, "Unknown handle " + call.number(0));
    }
}
