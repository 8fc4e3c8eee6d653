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
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Parameter;

/** Configuration, names and ids, and the identity of a thread. */
final class HostileIdentity {
    private static final Parameter IDS = Hostile.ofInts(0, 1, 2, 100, 999, 1000, 65533, 65534, 65535,
            65536, -1, -2, Integer.MIN_VALUE, Integer.MAX_VALUE);

    private static final Outcome NO_ID = Outcome.value(-1);

    private HostileIdentity() {}

    static List<Native> natives() {
        return List.of(
                Native.of("setDefaultBlockSizeReplication", HostileIdentity::defaults, LONGS, INTS),
                Native.of("setFSConfig", call -> Outcome.value(1), FLAG),
                Native.of("getFsName", HostileIdentity::fsName,
                        parameter(String.class, texts("/proc")),
                        parameter(String.class, texts("proc"))),
                Native.of("getUid", call -> id("user", call.text(0), Kernel.uid(call.text(0))), users())
                        .ofNull(NO_ID),
                Native.of("getGid", call -> id("group", call.text(0), Kernel.gid(call.text(0))), users())
                        .ofNull(NO_ID),
                Native.of("getUser", call -> name("uid", call.number(0),
                        Kernel.user((int) call.number(0))), IDS),
                Native.of("getGroup", call -> name("gid", call.number(0),
                        Kernel.group((int) call.number(0))), IDS),
                Native.of("switchTo", HostileIdentity::switched, users())
                        .ofNull(Outcome.value("0 " + Kernel.thread())),
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

    private static Outcome id(String kind, String name, long id) {
        return id >= 0 ? Outcome.value((int) id)
                : Outcome.error(Faults.EINVAL, Said.unknown(kind, name));
    }

    private static Outcome name(String kind, long id, String name) {
        return name != null ? Outcome.value(name) : Outcome.error(Faults.EINVAL,
                Said.unknown(kind, Integer.toUnsignedString((int) id)));
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
