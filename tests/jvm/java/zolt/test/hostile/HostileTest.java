package zolt.test.hostile;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Level;
import zolt.test.Log;
import zolt.test.Outcome;
import zolt.test.dirents.Dirents;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Lent;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Value;

/**
 * Every native with everything that each of its parameters may be given. What a call comes to is
 * known beforehand: a model of the native works by raw system calls on the same stage, which is then
 * built anew. The call must answer what the model says, change what it changed, write what it wrote,
 * and leave the thread's identity and the process's descriptors as they were.
 */
@Tag("hostile")
class HostileTest {
    static final int[] GROUPS = {3, 5};
    private static final int MIXTURES = 150;

    @TempDir Path dir;
    private String stage;
    /** The tree of the stage as it is built, and with the times of access too. */
    private String pristine;
    private String accessed;
    private final List<String> failures = new ArrayList<>();
    private int inputs;

    @BeforeEach
    void prepare() throws Exception {
        stage = Files.createDirectory(dir.resolve("stage")).toString();
        Kernel.groups(GROUPS);
        Kernel.build(stage, "");
        pristine = Kernel.tree(stage, 0);
        accessed = Kernel.tree(stage, Kernel.WITH_ACCESS);
        restoreSettings();
    }

    @AfterEach
    void restore() throws IOException {
        restoreSettings();
        Kernel.groups();
    }

    private static void restoreSettings() throws IOException {
        Faults.clear();
        ZOLTNative.setFSConfig(false);
        ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 1);
        Dirents.end();
        Log.clear();
    }

    /** Makes anew what a call has changed. */
    private void repair(String tree, int with) {
        Set<String> before = (with == 0 ? pristine : accessed).lines().collect(Collectors.toSet());
        Set<String> after = tree.lines().collect(Collectors.toSet());
        Set<String> changed = new TreeSet<>();
        before.stream().filter(each -> !after.contains(each)).forEach(changed::add);
        after.stream().filter(each -> !before.contains(each)).forEach(changed::add);
        changed.stream().map(each -> each.substring(stage.length() + 1).split("[ /]")[0]).distinct()
                .forEach(each -> Kernel.build(stage, each));
    }

    private List<Native> natives() {
        HostileValues values = new HostileValues(Path.of(stage), dir.resolve("mapped"));
        List<Native> natives = new ArrayList<>(HostileIdentity.natives());
        natives.addAll(HostileStatus.natives(values));
        natives.addAll(HostileFiles.natives(values));
        natives.addAll(HostileAttributes.natives(values));
        natives.addAll(HostileAcls.natives(values));
        return natives;
    }

    @Test
    void noInputDoesMoreThanItsModelSays() throws Exception {
        List<Native> natives = natives();
        Set<String> covered = new TreeSet<>();
        for (Native each : natives) {
            System.out.println("\nat: " + inputs + " inputs, " + each.name());
            covered.add(signature(each.method()).replace("switchTo", "setFsUid"));
            oneByOne(each);
            mixed(each);
        }
        assertEquals(declared(), covered);
        assertTrue(failures.isEmpty(), () -> failures.size() + " of " + inputs + ":\n"
                + failures.stream().limit(40).collect(Collectors.joining("\n")));
        System.out.println("\nhostile: " + inputs + " inputs over " + covered.size() + " natives");
    }

    private static String signature(Method method) {
        return method.getName() + Arrays.toString(method.getParameterTypes());
    }

    private static Set<String> declared() {
        return Arrays.stream(ZOLTNative.class.getDeclaredMethods())
                .filter(each -> Modifier.isNative(each.getModifiers()))
                .map(HostileTest::signature).collect(Collectors.toCollection(TreeSet::new));
    }

    /** Each parameter takes all its values while the others are ordinary. */
    private void oneByOne(Native target) throws Exception {
        List<Value> arguments = target.ordinary();
        run(target, arguments);
        for (int i = 0; i < arguments.size(); i++) {
            for (Value value : target.parameters().get(i).values()) {
                List<Value> changed = new ArrayList<>(arguments);
                changed.set(i, value);
                run(target, changed);
            }
        }
    }

    /** Values of several parameters at a time, always the same ones. */
    private void mixed(Native target) throws Exception {
        Random random = new Random(HostileValues.SEED + target.name().hashCode());
        for (int n = 0; n < MIXTURES && target.parameters().size() > 1; n++) {
            List<Value> arguments = new ArrayList<>();
            target.parameters().forEach(each -> arguments.add(random.nextInt(3) == 0
                    ? each.ordinary()
                    : each.values().get(random.nextInt(each.values().size()))));
            run(target, arguments);
        }
    }

    private static Object[] made(List<Value> values) throws Exception {
        Object[] arguments = new Object[values.size()];
        for (int i = 0; i < arguments.length; i++) {
            arguments[i] = values.get(i).make().get();
        }
        return arguments;
    }

    private void run(Native target, List<Value> values) throws Exception {
        inputs++;
        Object[] arguments = made(values);
        Call call = new Call(arguments);
        final int access = target.name().equals("setTimes") ? Kernel.WITH_ACCESS : 0;
        final boolean reader = target.onlyReads();

        final Outcome expected = target.outcome(call);
        final String changed = reader ? pristine : Kernel.tree(stage, access);
        final boolean untouched = changed.equals(access == 0 ? pristine : accessed);
        if (!untouched) {
            repair(changed, access);
        }
        final boolean refused = reader || untouched && expected.isThrown() && !call.touched;
        final String exact = refused ? Kernel.tree(stage, Kernel.WITH_CHANGES) : "";
        final String thread = Kernel.thread();
        final Set<String> descriptors = descriptors();
        Log.clear();

        final Outcome actual = Hostile.invoke(target.method(), arguments);
        final List<String> warnings = call.warnings != null ? Log.bodies(Level.WARN) : null;
        Log.clear();
        Dirents.end();

        Check check = new Check(target, values);
        check.equal("outcome", expected.text(), actual.text());
        String after = refused ? pristine : Kernel.tree(stage, access);
        if (refused) {
            check.equal("what was refused", exact, Kernel.tree(stage, Kernel.WITH_CHANGES));
        } else {
            check.equal("tree", changed, after);
        }
        check.equal("identity", thread, Kernel.thread());
        check.equal("descriptors", "[]", "" + descriptorsBeside(descriptors));
        if (Log.nativeThreshold().passes(Level.WARN)) {
            check.equal("warnings", "" + call.warnings, "" + warnings);
        }
        for (Object argument : arguments) {
            if (argument instanceof Lent lent) {
                check.equal("buffer", Arrays.toString(lent.shadow), Arrays.toString(lent.contents()));
            }
        }
        if (!after.equals(access == 0 || refused ? pristine : accessed)) {
            repair(after, access);
        }
        if (target.name().startsWith("set")) {
            restoreSettings();
        }
    }

    /** The VM opens archives when it first needs something of them. */
    private static Set<String> descriptors() {
        return Kernel.descriptors().lines().filter(each -> !each.endsWith(".jar"))
                .collect(Collectors.toSet());
    }

    /** What is open now and was not. What else the VM opens for itself it closes; a lost one stays. */
    private static Set<String> descriptorsBeside(Set<String> before) throws InterruptedException {
        Set<String> now = descriptors();
        for (int tries = 0; tries < 200 && !before.containsAll(now); tries++) {
            Thread.sleep(5);
            now = descriptors();
        }
        now.removeAll(before);
        return now;
    }

    private final class Check {
        private final Native target;
        private final List<Value> values;

        Check(Native target, List<Value> values) {
            this.target = target;
            this.values = values;
        }

        void equal(String what, String expected, String actual) {
            if (!expected.equals(actual)) {
                failures.add(target.name() + values.stream().map(Value::label).toList() + " " + what
                        + "\n  expected " + shortened(expected) + "\n  but was  " + shortened(actual));
            }
        }

        private static String shortened(String text) {
            return text.length() > 400 ? text.substring(0, 400) + "..." : text;
        }
    }

    @Test
    void theStageIsTheSameEachTime() {
        Kernel.build(stage, "");
        assertEquals(accessed, Kernel.tree(stage, Kernel.WITH_ACCESS));

        assertTrue(Kernel.thread().endsWith("groups 3 5"), Kernel.thread());
    }
}
