package zolt.test.hostile;

import static zolt.test.hostile.Hostile.FLAG;
import static zolt.test.hostile.Hostile.parameter;
import static zolt.test.hostile.HostileValues.LONGS;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Parameter;
import zolt.test.hostile.Hostile.Value;

/** Extended attributes and leases, by the kernel's own calls. */
final class HostileAttributes {
    /** The most that an attribute may have. */
    private static final int LARGEST = 65536;

    private HostileAttributes() {}

    static List<Native> natives(HostileValues values) {
        Parameter names = parameter(String.class, names());
        Parameter bytes = HostileValues.bytes(HostileValues.random(20));
        Parameter lists = parameter(String[].class, lists());
        Parameter sizes = Hostile.ofInts(64, 0, 1, -1, 18, 19, 20, 65535, 65536, 65537,
                Integer.MIN_VALUE, Integer.MAX_VALUE);
        return List.of(
                Native.of("setExtendedAttribute", HostileAttributes::set, values.ownPaths("file"), names,
                        bytes, HostileValues.SHORTS),
                Native.of("getXAttr", HostileAttributes::get, values.paths("file"), names),
                Native.of("getXAttrs", HostileAttributes::some, values.paths("file"), lists),
                Native.of("dumpXAttrs", HostileAttributes::all, values.paths("file")),
                Native.of("removeXAttr", HostileAttributes::remove, values.ownPaths("file"), names),
                Native.of("setFileLeaseNative", HostileAttributes::take, values.ownPaths("file"), FLAG,
                        bytes),
                Native.of("getFileLeaseNative", HostileAttributes::holder, values.ownPaths("leased"),
                        FLAG, sizes, LONGS),
                Native.of("renewFileLeaseNative", HostileAttributes::renew, values.ownPaths("leased"),
                        FLAG),
                Native.of("removeFileLeaseNative", HostileAttributes::end, values.ownPaths("leased"),
                        FLAG));
    }

    private static List<Value> names() {
        List<Value> values = new ArrayList<>(HostileValues.texts("user.one"));
        values.addAll(Value.all("user.empty", "user.caf\u00e9", "user.absent", Said.HOLDER, Said.UPDATE,
                Said.HOLDER + "\0", "user.", "user", Said.LEASE, "trusted.zolt.BGF", "trusted.other",
                "system.posix_acl_access", "system.other", "security.other", "User.one", "user.\0",
                "user." + HostileValues.SURROGATES, "user.\ud83d"));
        for (int length : new int[] {254, 255, 256, 257}) {
            values.add(Value.of("user." + "n".repeat(length - 5)));
        }
        return values;
    }

    private static List<Value> lists() {
        List<Value> values = new ArrayList<>();
        values.add(new Value("ordinary", () -> new String[] {"user.one", "user.empty"}));
        values.add(Value.of(null));
        values.add(new Value("none", () -> new String[0]));
        values.add(new Value("null only", () -> new String[1]));
        values.add(new Value("null last", () -> new String[] {"user.one", null}));
        values.add(new Value("twice", () -> new String[] {"user.one", "user.one", "user.one"}));
        values.add(new Value("a thousand", () -> {
            String[] many = new String[1000];
            java.util.Arrays.fill(many, "user.one");
            return many;
        }));
        for (Value name : names()) {
            values.add(new Value("[" + name.label() + "]",
                    () -> new String[] {"user.one", (String) name.make().get(), "user.absent"}));
        }
        return values;
    }

    private static boolean isLease(String name) {
        return name.equals(Said.HOLDER) || name.equals(Said.UPDATE);
    }

    private static Object read(String path, String name) {
        return Kernel.getxattr(path, false, name, LARGEST);
    }

    private static Outcome set(Call call) {
        String name = call.text(1);
        byte[] value = call.bytes(2) != null ? call.bytes(2) : new byte[0];
        int errno = Kernel.setxattr(call.text(0), false, name, value, (int) call.number(3));
        return errno == 0 ? Outcome.value(true) : Outcome.attributeError(errno, "setxattr", name);
    }

    private static Outcome get(Call call) {
        String name = call.text(1);
        if (isLease(name)) {
            return Outcome.NOTHING;
        }
        Object read = read(call.text(0), name);
        if (read instanceof byte[]) {
            return Outcome.value(read);
        }
        int errno = (Integer) read;
        return errno == Faults.ENODATA ? Outcome.NOTHING
                : Outcome.attributeError(errno, "getxattr", name);
    }

    private static Outcome some(Call call) {
        String path = call.text(0);
        String[] names = (String[]) call.arguments[1];
        if (names == null) {
            return Outcome.error(Faults.EINVAL, path);
        }
        Map<String, Object> map = new HashMap<>();
        for (String name : names) {
            if (name == null) {
                return Outcome.NOTHING;
            }
            if (!isLease(name) && read(path, name) instanceof byte[] value) {
                map.put(name, value);
            }
        }
        return Outcome.value(map);
    }

    private static Outcome all(Call call) {
        String path = call.text(0);
        Object list = Kernel.listxattr(path);
        if (!(list instanceof byte[] bytes)) {
            return Outcome.error(Faults.ENOMEM, "listxattr failed");
        }
        Map<String, Object> map = new HashMap<>();
        for (String name : new String(bytes, StandardCharsets.UTF_8).split("\0")) {
            if (!name.isEmpty() && !isLease(name) && read(path, name) instanceof byte[] value) {
                map.put(name, value);
            }
        }
        return Outcome.value(map);
    }

    private static Outcome remove(Call call) {
        String name = call.text(1);
        int errno = Kernel.removexattr(call.text(0), false, name);
        if (errno != 0) {
            return Outcome.attributeError(errno, "removexattr", name);
        }
        return isLease(name) ? Outcome.error(Faults.EINVAL, Said.KEPT + name)
                : Outcome.value(true);
    }

    private static byte[] stamp() {
        return new byte[8]; // of a stamp the tree shows only that it is one
    }

    private static Outcome take(Call call) {
        String path = call.text(0);
        if (call.bytes(2) == null) {
            return Outcome.error(Faults.EINVAL, "");
        }
        boolean follow = call.flag(1);
        int errno = Kernel.setxattr(path, follow, Said.HOLDER, call.bytes(2), 1);
        if (errno != 0) {
            return Outcome.attributeError(errno, "setxattr", Said.HOLDER);
        }
        errno = Kernel.setxattr(path, follow, Said.UPDATE, stamp(), 1);
        if (errno != 0) {
            Kernel.removexattr(path, follow, Said.HOLDER);
            return call.touching(Outcome.attributeError(errno, "setxattr", Said.UPDATE));
        }
        return Outcome.NOTHING;
    }

    private static Outcome holder(Call call) {
        String path = call.text(0);
        Object update = Kernel.getxattr(path, call.flag(1), Said.UPDATE, 8);
        if (!(update instanceof byte[] bytes)) {
            return Outcome.attributeError((Integer) update, "getxattr", Said.UPDATE);
        }
        long last = ByteBuffer.wrap(bytes).order(ByteOrder.nativeOrder()).getLong();
        // No limit that is tried is near the age of a lease of the stage.
        if (System.currentTimeMillis() - last > call.number(3)) {
            return end(call);
        }
        int size = (int) Math.min(call.number(2), LARGEST);
        if (size <= 0) {
            return Outcome.attributeError(Faults.EINVAL, "getxattr", Said.HOLDER);
        }
        Object holder = Kernel.getxattr(path, call.flag(1), Said.HOLDER, size);
        return holder instanceof byte[] ? Outcome.value(holder)
                : Outcome.attributeError((Integer) holder, "getxattr", Said.HOLDER);
    }

    private static Outcome renew(Call call) {
        int errno = Kernel.setxattr(call.text(0), call.flag(1), Said.UPDATE, stamp(), 0);
        return errno == 0 ? Outcome.NOTHING : Outcome.attributeError(errno, "setxattr", Said.UPDATE);
    }

    private static Outcome end(Call call) {
        int holder = Kernel.removexattr(call.text(0), call.flag(1), Said.HOLDER);
        int update = Kernel.removexattr(call.text(0), call.flag(1), Said.UPDATE);
        int errno = holder != 0 ? holder : update;
        return errno == 0 ? Outcome.NOTHING
                : Outcome.attributeError(errno, "removexattr", Said.LEASE);
    }
}
