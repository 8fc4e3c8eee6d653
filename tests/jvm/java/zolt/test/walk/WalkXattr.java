package zolt.test.walk;

import static zolt.test.walk.Rule.answer;
import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.neutral;
import static zolt.test.walk.Rule.noMemory;
import static zolt.test.walk.Rule.same;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Rule.xattrError;
import static zolt.test.walk.Scenario.bytes;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;

/** Extended attributes, one by one and all at once. */
final class WalkXattr {
    private static final String[] FIVE = {"user.a", "11", "user.b", "22", "user.c", "33", "user.d",
        "44", "user.e", "55"};

    private WalkXattr() {}

    /** The map of those of the five whose place is in the first list, or with another value. */
    private static Map<String, byte[]> five(int without, String insteadOfIt) {
        Map<String, byte[]> map = new TreeMap<>();
        for (int i = 0; i < FIVE.length; i += 2) {
            map.put(FIVE[i], Place.bytes(FIVE[i + 1]));
        }
        if (insteadOfIt == null) {
            map.remove(FIVE[2 * without]);
        } else {
            map.put(FIVE[2 * without], Place.bytes(insteadOfIt));
        }
        return map;
    }

    /** The two reads of one of the five for a map, from which one that cannot be read is left out. */
    private static List<Scenario.Step> valueOf(int i) {
        Rule leftOut = answer(five(i, null));
        Rule empty = answer(five(i, ""));
        return List.of(
                step("lgetxattr", leftOut
                        .on(Fault.NONE, empty)
                        .on(Fault.ONE_MORE, same())),
                step("lgetxattr", leftOut
                        .on(Fault.ONE_LESS, answer(five(i, FIVE[2 * i + 1].substring(1))))
                        .on(Fault.NONE, empty)
                        .on(Fault.ONE_MORE, same())));
    }

    /** A value that there is no memory for cannot be read. */
    private static Rule[] withoutMemory(Rule... others) {
        List<Rule> rules = new ArrayList<>(List.of(others));
        for (int i = 0; i < 5; i++) {
            rules.add(answer(five(i, null)));
        }
        return rules.toArray(Rule[]::new);
    }

    private static List<Scenario.Step> dumped() {
        List<Scenario.Step> steps = new ArrayList<>();
        for (int i = 0; i < 5; i++) {
            steps.addAll(valueOf(i));
            steps.add(step("NewStringUTF", vmError()));
            steps.add(step("NewByteArray", vmError()));
            steps.add(step("CallObjectMethod", vmError()));
        }
        return steps;
    }

    private static List<Scenario.Step> asked() {
        List<Scenario.Step> steps = new ArrayList<>();
        for (int i = 0; i < 5; i++) {
            steps.add(step("GetObjectArrayElement", vmError()));
            steps.add(string());
            steps.addAll(valueOf(i));
            steps.add(step("NewByteArray", vmError()));
            steps.add(step("CallObjectMethod", vmError()));
        }
        return steps;
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path file = place.file("attributes", 0);
        String path = file.toString();
        Scenario.Action five = () -> Place.attributes(file, FIVE);
        Rule absentIsNull = xattrError("getxattr", "user.a")
                .on(Fault.errno(Faults.ENODATA), neutral(null));
        Rule tooLong = error(Faults.ERANGE, "getxattr failed for user.a");
        return List.of(
            new Scenario("setExtendedAttribute: a value for another")
                .prepare(five)
                .state(() -> Place.attributesOf(file))
                .call(() -> ZOLTNative.setExtendedAttribute(path, "user.a", Place.bytes("22"),
                        (short) 0))
                .steps(
                    string(), string(),
                    bytes(),
                    step("lsetxattr", xattrError("setxattr", "user.a"))),
            new Scenario("setExtendedAttribute: one that exists already")
                .prepare(five)
                .state(() -> Place.attributesOf(file))
                .call(() -> ZOLTNative.setExtendedAttribute(path, "user.a", null, (short) 1))
                .steps(
                    string(), string(),
                    step("lsetxattr", xattrError("setxattr", "user.a")),
                    step("ThrowNew", vmError())),
            new Scenario("getXAttr: a value")
                .prepare(five)
                .call(() -> ZOLTNative.getXAttr(path, "user.a"))
                .withoutMemory(noMemory(), error(Faults.ENOMEM, "getxattr failed for user.a"))
                .steps(
                    string(), string(),
                    step("lgetxattr", absentIsNull
                        .on(Fault.ONE_LESS, tooLong)
                        .on(Fault.NONE, answer(Place.bytes("")))
                        .on(Fault.ONE_MORE, same())),
                    step("lgetxattr", absentIsNull
                        .on(Fault.ONE_LESS, answer(Place.bytes("1")))
                        .on(Fault.NONE, answer(Place.bytes("")))
                        .on(Fault.ONE_MORE, same())),
                    step("NewByteArray", vmError())),
            new Scenario("getXAttr: one that is not there")
                .call(() -> ZOLTNative.getXAttr(path, "user.none"))
                .steps(
                    string(), string(),
                    step("lgetxattr", xattrError("getxattr", "user.none")
                        .on(Fault.errno(Faults.ENODATA), same())
                        .unaltered())),
            new Scenario("getXAttr: an attribute of a lease")
                .call(() -> ZOLTNative.getXAttr(path, "user.lease.holder"))
                .steps(
                    string(),
                    string()),
            new Scenario("getXAttrs: all five, one of a lease and one that is not there")
                .prepare(five)
                .call(() -> ZOLTNative.getXAttrs(path, new String[] {"user.a", "user.b", "user.c",
                    "user.d", "user.e", "user.lease.update", "user.none"}))
                .withoutMemory(withoutMemory(noMemory()))
                .steps(
                    string(),
                    step("NewObject", vmError()),
                    asked(),
                    step("GetObjectArrayElement", vmError()),
                    string(),
                    step("GetObjectArrayElement", vmError()),
                    string(),
                    step("lgetxattr", same())),
            new Scenario("dumpXAttrs: five")
                .prepare(() -> {
                    five.run();
                    // For their order, which is the file system's affair.
                    Faults.xattrNames(Place.bytes("user.a\0user.b\0user.c\0user.d\0user.e\0"));
                })
                .call(() -> ZOLTNative.dumpXAttrs(path))
                .withoutMemory(withoutMemory(noMemory(),
                    error(Faults.ENOMEM, "listxattr failed")))
                .steps(
                    string(),
                    step("llistxattr", error(Faults.ENOMEM, "listxattr failed")
                        .on(Fault.ONE_LESS, error(Faults.ERANGE, "listxattr failed"))
                        .on(Fault.NONE, answer(Map.of()))
                        .on(Fault.ONE_MORE, same())),
                    step("llistxattr", error("listxattr failed")
                        .on(Fault.ONE_LESS, same()) // the last name's NUL
                        .on(Fault.NONE, answer(Map.of()))
                        .on(Fault.ONE_MORE, same())),
                    step("NewObject", vmError()),
                    dumped()),
            new Scenario("dumpXAttrs: a lease alone")
                .prepare(() -> Place.attributes(file, "user.lease.holder", "me"))
                .call(() -> ZOLTNative.dumpXAttrs(path))
                .withoutMemory(noMemory(), error(Faults.ENOMEM, "listxattr failed"))
                .steps(
                    string(),
                    step("llistxattr", error(Faults.ENOMEM, "listxattr failed")
                        .on(Fault.ONE_LESS, error(Faults.ERANGE, "listxattr failed"))
                        .on(Fault.NONE, same())
                        .on(Fault.ONE_MORE, same())),
                    step("llistxattr", error("listxattr failed")
                        .on(Fault.ONE_LESS, same())
                        .on(Fault.NONE, same())
                        .on(Fault.ONE_MORE, same())),
                    step("NewObject", vmError())),
            new Scenario("removeXAttr: an attribute")
                .prepare(five)
                .state(() -> Place.attributesOf(file))
                .call(() -> ZOLTNative.removeXAttr(path, "user.a"))
                .steps(
                    string(), string(),
                    step("lremovexattr", xattrError("removexattr", "user.a"))),
            new Scenario("removeXAttr: half of a lease, which is refused and done")
                .prepare(() -> Place.attributes(file, "user.lease.holder", "me"))
                .state(() -> Place.attributesOf(file))
                .call(() -> ZOLTNative.removeXAttr(path, "user.lease.holder"))
                .steps(
                    string(), string(),
                    step("ThrowNew", vmError().done()),
                    step("lremovexattr", xattrError("removexattr", "user.lease.holder"))));
    }
}
