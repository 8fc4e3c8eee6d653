package zolt.soak;

import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Outcome;

/** Attributes, each of which holds one of a few values as a whole, or is not there. */
final class XattrCalls {
    /** The values that are set. */
    static final byte[][] VALUES = values('a', 0, 1, 8, 40, 200, 300);
    static final byte[][] EVEN_VALUES = values('a', 64, 64, 64, 64);

    private static final String EVEN = "user.even";
    /** Values of changing length may have grown since the library asked how long they are. */
    private static final String[] NAMES = {"user.vary0", "user.vary1", EVEN};
    private static final String[] ASKED =
            {"user.vary0", "user.lease.holder", EVEN, "user.absent", "user.vary1"};
    private static final Set<String> KNOWN = Set.of(NAMES);

    private XattrCalls() {}

    static List<Call> all() {
        return List.of(XattrCalls::set, XattrCalls::set, XattrCalls::get, XattrCalls::get,
                XattrCalls::getSome, XattrCalls::dump, XattrCalls::remove);
    }

    /** Values of these lengths, each of a letter of its own. */
    static byte[][] values(char first, int... lengths) {
        byte[][] values = new byte[lengths.length][];
        for (int i = 0; i < lengths.length; i++) {
            values[i] = new byte[lengths[i]];
            Arrays.fill(values[i], (byte) (first + i));
        }
        return values;
    }

    private static byte[][] valuesOf(String name) {
        return name.equals(EVEN) ? EVEN_VALUES : VALUES;
    }

    static boolean isOne(byte[][] values, byte[] value) {
        return Arrays.stream(values).anyMatch(each -> Arrays.equals(each, value));
    }

    private static void set(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "attr");
        String name = scene.oneOf(NAMES);
        byte[] value = scene.oneOf(valuesOf(name));
        short flags = (short) scene.random.nextInt(3);
        Answer<Boolean> answer = scene.ask("setExtendedAttribute",
                () -> ZOLTNative.setExtendedAttribute(path, name, value, flags), path, name, value,
                flags);
        answer.mustOf(user, Outcome.attributeError(Faults.EACCES, "setxattr", name), Outcome.TRUE,
                flags == 0 ? Outcome.TRUE : Outcome.attributeError(
                        flags == 1 ? Faults.EEXIST : Faults.ENODATA, "setxattr", name));
    }

    private static void get(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "attr");
        String name = scene.oneOf(NAMES);
        Answer<byte[]> answer =
                scene.ask("getXAttr", () -> ZOLTNative.getXAttr(path, name), path, name);
        if (name.equals(EVEN) || !answer.threw(Faults.ERANGE, "getxattr failed for " + name)) {
            byte[] value = answer.value();
            answer.check(value == null || isOne(valuesOf(name), value), "one of the values set");
        }
    }

    private static void expectKnown(Answer<? extends Map<String, byte[]>> answer) {
        answer.value().forEach((name, value) -> answer.check(
                KNOWN.contains(name) && isOne(valuesOf(name), value)
                        || name.startsWith("security."), // the system's own
                "no " + name + " with " + Outcome.show(value)));
    }

    private static void getSome(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "attr");
        Answer<HashMap<String, byte[]>> answer =
                scene.ask("getXAttrs", () -> ZOLTNative.getXAttrs(path, ASKED), path, ASKED);
        expectKnown(answer);
    }

    private static void dump(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "attr");
        Answer<HashMap<String, byte[]>> answer =
                scene.ask("dumpXAttrs", () -> ZOLTNative.dumpXAttrs(path), path);
        if (!answer.threw(Faults.ERANGE, "listxattr failed")) {
            expectKnown(answer);
        }
    }

    private static void remove(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "attr");
        String name = scene.oneOf(NAMES);
        Answer<Boolean> answer =
                scene.ask("removeXAttr", () -> ZOLTNative.removeXAttr(path, name), path, name);
        answer.mustOf(user, Outcome.attributeError(Faults.EACCES, "removexattr", name), Outcome.TRUE,
                Outcome.attributeError(Faults.ENODATA, "removexattr", name));
    }
}
