package zolt.test.walk;

import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.noMemory;
import static zolt.test.walk.Rule.same;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Scenario.all;
import static zolt.test.walk.Scenario.bytes;
import static zolt.test.walk.Scenario.harmless;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.function.UnaryOperator;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.acl.AclFixture;

/**
 * Access control lists. A call of libacl that fails ends the native with its errno and the call's
 * own name, or the path.
 */
final class WalkAcl {
    private static final int ACCESS = AclFixture.ACCESS;
    private static final int DEFAULT = AclFixture.DEFAULT;
    /** A full list, and which of its entries are named. */
    private static final byte[] FULL = AclFixture.ints(5, ACCESS, 1, 7, ACCESS, 2, 7, 4, ACCESS, 4, 5,
            ACCESS, 16, 5, ACCESS, 32, 0);
    private static final byte[] FULL_DEFAULT = AclFixture.ints(5, DEFAULT, 1, 7, DEFAULT, 2, 7, 4,
            DEFAULT, 4, 5, DEFAULT, 16, 5, DEFAULT, 32, 0);
    /** The base entries of both lists, and a list that has a named user twice. */
    private static final byte[] BOTH = AclFixture.ints(6, ACCESS, 1, 7, ACCESS, 4, 1, ACCESS, 32, 0,
            DEFAULT, 1, 7, DEFAULT, 4, 1, DEFAULT, 32, 0);
    private static final byte[] TWICE = AclFixture.ints(6, ACCESS, 1, 0, ACCESS, 2, 7, 0, ACCESS, 2,
            7, 0, ACCESS, 4, 0, ACCESS, 16, 0, ACCESS, 32, 0);
    private static final boolean[] TWICE_NAMES = {false, true, true, false, false, false};
    private static final boolean[] NAMES = {false, true, false, false, false};
    /** A list of one named user. */
    private static final byte[] SPEC = AclFixture.ints(1, ACCESS, 2, 7, 6);

    private WalkAcl() {}

    private static Scenario.Step call(String function) {
        return step(function, error(function));
    }

    private static List<Scenario.Step> calls(String... functions) {
        List<Scenario.Step> steps = new ArrayList<>();
        for (String function : functions) {
            steps.add(function.equals("acl_free") ? step(function, same()) : call(function));
        }
        return steps;
    }

    private static boolean traces() {
        return Log.nativeThreshold() == Level.TRACE;
    }

    /** A list as a text for the log, by which of its entries are named. */
    static List<Scenario.Step> dump(boolean... named) {
        List<Scenario.Step> steps = new ArrayList<>();
        for (boolean each : named) {
            steps.addAll(harmless("acl_get_entry", "acl_get_tag_type", "acl_get_permset",
                    "acl_get_perm", "acl_get_perm", "acl_get_perm"));
            if (each) {
                steps.addAll(harmless("acl_get_qualifier", "acl_free"));
            }
        }
        steps.addAll(harmless("acl_get_entry"));
        return steps;
    }

    /** A list written for Java, at trace after its size and its dump. */
    private static List<Scenario.Step> written(boolean... named) {
        List<Scenario.Step> steps = new ArrayList<>();
        if (traces()) {
            steps.addAll(harmless(Collections.nCopies(named.length + 1, "acl_get_entry")
                    .toArray(String[]::new)));
            steps.addAll(dump(named));
        }
        for (boolean each : named) {
            steps.addAll(calls("acl_get_entry", "acl_get_tag_type"));
            if (each) {
                steps.addAll(calls("acl_get_qualifier", "acl_free"));
            }
            steps.addAll(calls("acl_get_permset", "acl_get_perm", "acl_get_perm", "acl_get_perm"));
        }
        steps.add(call("acl_get_entry"));
        return steps;
    }

    /** The specification SPEC, read: one named user who may read and write. */
    private static List<Scenario.Step> read() {
        return all(
                string(), bytes(),
                step("acl_init", error("")),
                calls("acl_create_entry", "acl_set_tag_type", "acl_set_qualifier",
                        "acl_get_permset", "acl_add_perm", "acl_add_perm"),
                traces() ? dump(true) : List.of(),
                call("acl_get_entry"));
    }

    /** The base entries of a list that is read: all rights, execute, and none. */
    private static List<Scenario.Step> base() {
        return all(
                step("acl_init", error("")),
                calls("acl_create_entry", "acl_set_tag_type", "acl_get_permset", "acl_add_perm",
                        "acl_add_perm", "acl_add_perm",
                        "acl_create_entry", "acl_set_tag_type", "acl_get_permset", "acl_add_perm",
                        "acl_create_entry", "acl_set_tag_type", "acl_get_permset"));
    }

    /** A look at every entry's tag. */
    private static List<Scenario.Step> tags(int entries) {
        List<Scenario.Step> steps = new ArrayList<>();
        for (int i = 0; i < entries; i++) {
            steps.addAll(calls("acl_get_entry", "acl_get_tag_type"));
        }
        steps.add(call("acl_get_entry"));
        return steps;
    }

    /** SPEC's entry in a full list: the second one, whose id is compared too. */
    private static List<Scenario.Step> found() {
        return calls("acl_get_entry", "acl_get_tag_type",
                "acl_get_entry", "acl_get_tag_type", "acl_get_tag_type",
                "acl_get_entry", "acl_get_tag_type", "acl_get_tag_type",
                "acl_get_qualifier", "acl_free", "acl_get_qualifier", "acl_free");
    }

    private static List<Scenario.Step> stored(String path) {
        return all(
                step("acl_check", error("acl_valid fails")),
                step("acl_set_file", error(path)));
    }

    /** Ends without a path are said so, whatever the reason. */
    private static Scenario.Step path() {
        return step("GetStringUTFChars", error(Faults.EINVAL, "failed to get path"));
    }

    private static Scenario with(String name, Path path, Scenario.Action call) {
        return new Scenario(name)
                .prepare(() -> {
                    Files.setPosixFilePermissions(path, PosixFilePermissions.fromString("rwxr-x---"));
                    ZOLTNative.setAcl(path.toString(), FULL);
                    if (Files.isDirectory(path)) {
                        ZOLTNative.setAcl(path.toString(), FULL_DEFAULT);
                    }
                })
                .state(() -> ZOLTNative.getAclStatus(path.toString(), Files.isDirectory(path)))
                .call(() -> {
                    call.run();
                    return null;
                });
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path file = place.file("acl", 0);
        Path directory = place.directory("acls");
        String path = file.toString();
        String dir = directory.toString();
        // The access list is stored first.
        UnaryOperator<String> accessOnly = both ->
                both.substring(0, 72) + Ending.text(FULL_DEFAULT).substring(8);
        UnaryOperator<String> withDefault =
                cleared -> cleared + Ending.text(FULL_DEFAULT).substring(8);
        return List.of(
            new Scenario("getAclStatus: a file with a named user, for Alice")
                .prepare(() -> ZOLTNative.setAcl(path, FULL))
                .as("alice")
                .call(() -> ZOLTNative.getAclStatus(path, false))
                .steps(
                    path(),
                    step("acl_get_file", diagnosed(error(path))),
                    step("acl_init", diagnosed(error(""))),
                    diagnosed(written(NAMES)),
                    diagnosed(written()),
                    harmless("acl_free", "acl_free"),
                    step("NewByteArray", vmError())),
            new Scenario("getAclStatus: a directory with a default list")
                .prepare(() -> {
                    ZOLTNative.setAcl(dir, FULL);
                    ZOLTNative.setAcl(dir, FULL_DEFAULT);
                })
                .call(() -> ZOLTNative.getAclStatus(dir, true))
                .steps(
                    path(),
                    step("acl_get_file", error(dir)),
                    step("acl_init", error("")),
                    step("acl_get_file", error(dir)),
                    harmless("acl_free"),
                    written(NAMES),
                    written(NAMES),
                    harmless("acl_free", "acl_free"),
                    step("NewByteArray", vmError())),
            with("setAcl: a list that is to be completed", file,
                    () -> ZOLTNative.setAcl(path, SPEC))
                .steps(
                    read(),
                    tags(1),
                    step("acl_get_file", error(path)),
                    calls("acl_get_entry", "acl_get_tag_type", "acl_create_entry", "acl_copy_entry",
                        "acl_get_entry", "acl_get_tag_type",
                        "acl_get_entry", "acl_get_tag_type", "acl_create_entry", "acl_copy_entry",
                        "acl_get_entry", "acl_get_tag_type",
                        "acl_get_entry", "acl_get_tag_type", "acl_create_entry", "acl_copy_entry",
                        "acl_get_entry", "acl_free"),
                    step("acl_calc_mask", error(path)),
                    stored(path),
                    harmless("acl_free")),
            with("setAcl: both lists of a directory", directory,
                    () -> ZOLTNative.setAcl(dir, BOTH))
                .withoutMemory(noMemory(), noMemory().done(accessOnly))
                .steps(
                    string(), bytes(),
                    base(),
                    base(),
                    traces() ? all(dump(false, false, false), dump(false, false, false)) : List.of(),
                    call("acl_get_entry"),
                    tags(3),
                    stored(dir),
                    step("acl_get_entry", error("acl_get_entry").done(accessOnly)),
                    tags(3).stream().map(each -> step(each.function(), error(each.function())
                        .done(accessOnly))).toList(),
                    step("acl_get_entry", error("acl_get_entry").done(accessOnly)),
                    step("acl_check", error("acl_valid fails").done(accessOnly)),
                    step("acl_set_file", error(dir).done(accessOnly)),
                    harmless("acl_free", "acl_free")),
            with("setAcl: the same user twice", file,
                    () -> ZOLTNative.setAcl(path, TWICE))
                .steps(
                    string(), bytes(),
                    step("acl_init", error("")),
                    calls("acl_create_entry", "acl_set_tag_type", "acl_get_permset",
                        "acl_create_entry", "acl_set_tag_type", "acl_set_qualifier",
                        "acl_get_permset",
                        "acl_create_entry", "acl_set_tag_type", "acl_set_qualifier",
                        "acl_get_permset",
                        "acl_create_entry", "acl_set_tag_type", "acl_get_permset",
                        "acl_create_entry", "acl_set_tag_type", "acl_get_permset",
                        "acl_create_entry", "acl_set_tag_type", "acl_get_permset"),
                    traces() ? dump(TWICE_NAMES) : List.of(),
                    call("acl_get_entry"),
                    tags(6),
                    step("acl_check", error("acl_valid fails")),
                    traces() ? dump(TWICE_NAMES) : List.of(),
                    calls("acl_to_text", "acl_free"),
                    step("acl_error", same().andThen(WalkAcl::withoutReason)),
                    harmless("acl_free"),
                    step("ThrowNew", vmError())),
            with("setAcl: an unknown scope", file,
                    () -> ZOLTNative.setAcl(path, AclFixture.ints(1, 5)))
                .steps(
                    string(), bytes(),
                    step("ThrowNew", vmError())),
            with("setAcl: an unknown tag", file,
                    () -> ZOLTNative.setAcl(path, AclFixture.ints(1, ACCESS, 64, 7)))
                .steps(
                    string(), bytes(),
                    step("acl_init", error("")),
                    calls("acl_create_entry", "acl_delete_entry", "acl_free"),
                    step("ThrowNew", vmError())),
            with("modifyAclEntries: one that is there", file,
                    () -> ZOLTNative.modifyAclEntries(path, SPEC))
                .steps(
                    read(),
                    step("acl_get_file", error(path)),
                    found(),
                    calls("acl_copy_entry", "acl_get_entry"),
                    tags(5),
                    step("acl_calc_mask", error(path)),
                    stored(path),
                    harmless("acl_free", "acl_free")),
            with("removeAclEntries: a named user", file,
                    () -> ZOLTNative.removeAclEntries(path, SPEC))
                .steps(
                    read(),
                    step("acl_get_file", error(path)),
                    found(),
                    calls("acl_delete_entry", "acl_get_entry"),
                    stored(path),
                    harmless("acl_free", "acl_free")),
            with("removeDefaultAcl: of a directory", directory,
                    () -> ZOLTNative.removeDefaultAcl(dir, true))
                .steps(
                    path(),
                    step("acl_init", error("")),
                    call("acl_get_entry"),
                    step("acl_set_file", error(dir)),
                    harmless("acl_free")),
            with("removeDefaultAcl: of a file, which has none", file,
                    () -> ZOLTNative.removeDefaultAcl(path, false))
                .steps(path()),
            with("removeAcl: of a file", file,
                    () -> ZOLTNative.removeAcl(path, false))
                .steps(
                    path(),
                    step("acl_get_file", error(path)),
                    tags(5),
                    calls("acl_delete_entry", "acl_delete_entry"),
                    tags(3),
                    stored(path),
                    harmless("acl_free")),
            with("removeAcl: of a directory", directory,
                    () -> ZOLTNative.removeAcl(dir, true))
                .steps(
                    path(),
                    step("acl_get_file", error(dir)),
                    tags(5),
                    calls("acl_delete_entry", "acl_delete_entry"),
                    tags(3),
                    stored(dir),
                    harmless("acl_free"),
                    step("acl_init", error("").done(withDefault)),
                    step("acl_get_entry", error("acl_get_entry").done(withDefault)),
                    step("acl_set_file", error(dir).done(withDefault)),
                    harmless("acl_free")));
    }

    /** The text of a list that is refused, where libacl has no words for the reason. */
    private static Ending withoutReason(Ending refused) {
        String text = refused.answer();
        return refused.answering(text.substring(0, text.lastIndexOf("\": ") + 3) + "null");
    }

    private static Rule diagnosed(Rule rule) {
        return traces() ? rule.as(Place.AS_DAEMON) : rule;
    }

    /** The same of steps that end the call, and so in a diagnosis. */
    private static List<Scenario.Step> diagnosed(List<Scenario.Step> steps) {
        return steps.stream().map(each -> step(each.function(), (fault, calm, before) -> {
            Ending ending = each.rule().ending(fault, calm, before);
            return ending.equals(calm) || !traces() ? ending : ending.as(Place.AS_DAEMON);
        })).toList();
    }
}
