package zolt.test.walk;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestFactory;
import org.junit.jupiter.api.TestInstance;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Descriptors;
import zolt.test.Faults;
import zolt.test.Identity;
import zolt.test.Log;

/**
 * Every native in every scenario with every step of it going wrong in every way that it can: the
 * system's functions, libacl's, the client's, the virtual machine's, memory and the logger. After
 * each, the call has ended as the scenario says, nothing is left behind, and the next call works.
 */
@TestInstance(TestInstance.Lifecycle.PER_CLASS)
class WalkTest {
    private static final RuntimeException FROM_LOGGER = new IllegalStateException("logger");

    @TempDir static Path dir;
    private List<Scenario> scenarios;
    private int stepsWalked;
    private int stepsFailed;
    private int pairsFailed;
    private int allocationsFailed;
    private int linesThrown;

    private interface Table {
        List<Scenario> of(Place place) throws IOException;
    }

    @BeforeAll
    void makeScenarios() throws Exception {
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
        scenarios = new ArrayList<>();
        List<Table> tables = List.of(WalkConfig::scenarios,
                WalkIdentity::scenarios, WalkStatus::scenarios, WalkPaths::scenarios,
                WalkListing::scenarios, WalkBlocks::scenarios, WalkXattr::scenarios,
                WalkLease::scenarios, WalkAcl::scenarios);
        for (Table table : tables) {
            scenarios.addAll(table.of(new Place(dir)));
        }
    }

    @AfterAll
    void sayFigures() {
        long natives = scenarios.stream().map(Scenario::nativeName).distinct().count();
        System.out.println("walk: " + natives + " natives, " + scenarios.size() + " scenarios, "
                + stepsWalked + " calls walked, " + stepsFailed + " calls failed, "
                + pairsFailed + " with another after them, " + allocationsFailed + " allocations failed, " + linesThrown
                + " log lines thrown from, at " + Log.javaLevel());
    }

    @Test
    void everyNativeHasAScenario() {
        Set<String> natives = Arrays.stream(ZOLTNative.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers()))
                .map(method -> method.getName().equals("setFsUid")
                        ? "setFsUid(" + method.getParameterTypes()[0].getSimpleName() + ")"
                        : method.getName())
                .collect(Collectors.toCollection(TreeSet::new));
        assertEquals(natives, scenarios.stream().map(Scenario::nativeName)
                .collect(Collectors.toCollection(TreeSet::new)));
    }

    @TestFactory
    Stream<DynamicTest> everyStepOf() {
        return scenarios.stream().map(scenario -> DynamicTest.dynamicTest(scenario.name,
                () -> Identity.onThread(() -> walk(scenario))));
    }

    /** How a call ended, and what it went through. */
    private record Run(Ending before, Ending ending, List<String> steps, int allocations,
            int lines, int logged) {
        /** The same but for a log line that is missing. */
        boolean saysLessThan(Run calm) {
            return ending.equals(calm.ending) && lines == calm.lines - 1;
        }
    }

    private interface Way {
        Throwable run(Runnable body);
    }

    private void walk(Scenario scenario) throws Exception {
        System.out.println("\nat: " + stepsFailed + " calls failed, " + scenario.name);
        run(scenario, Walk::run, ""); // loads what Java needs
        Run calm = run(scenario, Walk::run, "undisturbed");
        assertEquals(scenario.steps.stream().map(Scenario.Step::function)
                .collect(Collectors.joining("\n")), String.join("\n", calm.steps()));
        stepsWalked += calm.steps().size();
        walkSteps(scenario, calm);
        if (Boolean.getBoolean("zolt.test.pairs")) { // there are thousands
            walkSecondSteps(scenario, calm);
        }
        walkAllocations(scenario, calm);
        walkLines(scenario, calm);
        Descriptors.expectNone(dir);
    }

    private void walkSteps(Scenario scenario, Run calm) throws Exception {
        for (int i = 1; i <= scenario.steps.size(); i++) {
            Scenario.Step step = scenario.steps.get(i - 1);
            for (Fault fault : Fault.ofFunction(step.function())) {
                String what = "step " + i + ", " + step.function() + ", " + fault;
                int number = i;
                Run run = run(scenario, body -> Walk.run(body, number, fault), what);
                assertEquals(step.rule().ending(fault, calm.ending(), calm.before()), run.ending(),
                        what);
                expectWorking(scenario, calm, what);
                stepsFailed++;
            }
        }
    }

    /**
     * What a failure brings about, from the diagnosis to the close, may fail too and changes nothing
     * of what is reported; only the report itself may find no memory.
     */
    private void walkSecondSteps(Scenario scenario, Run calm) throws Exception {
        for (int i = 1; i <= scenario.steps.size(); i++) {
            int first = i;
            Fault fault = Fault.diagnosed(scenario.steps.get(i - 1).function());
            if (fault == null) {
                continue;
            }
            Run failed = run(scenario, body -> Walk.run(body, first, fault), "first step " + i);
            if (!threw(failed) || failed.ending().equals(calm.ending())) {
                continue;
            }
            for (int j = i + 1; j <= failed.steps().size(); j++) {
                String what = "step " + i + ", " + fault + ", then " + failed.steps().get(j - 1);
                int second = j;
                Run run = run(scenario, body -> Walk.run(body, first, fault, second), what);
                assertEquals(failed.steps().get(j - 1).equals("ThrowNew")
                        ? Ending.thrown(OutOfMemoryError.class, "injected")
                        : failed.ending().answer(), run.ending().answer(), what);
                expectWorking(scenario, calm, what);
                pairsFailed++;
            }
        }
    }

    private static boolean threw(Run run) {
        return run.ending().answer().contains("Exception: ");
    }

    /** It ends the call, unless it is for a log line: then the line is lost, and no more. */
    private void walkAllocations(Scenario scenario, Run calm) throws Exception {
        for (int i = 1; i <= calm.allocations(); i++) {
            String what = "allocation " + i;
            int number = i;
            Run run = run(scenario, body -> Walk.runWithoutMemory(body, number), what);
            if (!run.saysLessThan(calm)) {
                expectNoMemory(scenario, run, calm, what);
            }
            expectWorking(scenario, calm, what);
            allocationsFailed++;
        }
    }

    /** How far the call came is seen in its other steps; here it has come there or not begun. */
    private static void expectNoMemory(Scenario scenario, Run run, Run calm, String what) {
        Ending ending = run.ending();
        boolean done = ending.state().equals(calm.ending().state());
        Ending start = done ? calm.before().leaving(ending.state()) : calm.before();
        List<Ending> allowed = scenario.withoutMemory.stream()
                .map(rule -> rule.ending(null, calm.ending(), start)).toList();
        assertTrue(allowed.contains(ending), () -> what + ": " + ending + " instead of " + allowed);
    }

    /** The logger's exception is the caller's, unless the native has one of its own. */
    private void walkLines(Scenario scenario, Run calm) throws Exception {
        Ending expected = threw(calm) ? calm.ending()
                : calm.ending().answering(Ending.thrown(FROM_LOGGER));
        for (int i = 1; i <= calm.lines(); i++) {
            String what = "log line " + i;
            Log.throwing(i, FROM_LOGGER);
            Run run = run(scenario, Walk::run, what);
            Log.throwing(null);
            assertEquals(scenario.thrownFromLogger.ending(null, expected, calm.before()),
                    run.ending(), what);
            expectWorking(scenario, calm, what);
            linesThrown++;
        }
    }

    private void expectWorking(Scenario scenario, Run calm, String after) throws Exception {
        Run again = run(scenario, Walk::run, "after " + after);
        assertEquals(calm.ending(), again.ending(), "after " + after);
        assertEquals(calm.steps(), again.steps(), "after " + after);
    }

    private Run run(Scenario scenario, Way way, String what) throws Exception {
        RuntimeException logger = Log.throwing();
        Log.throwing(null);
        Place.addUsers();
        scenario.prepare.run();
        String stateBefore = Ending.text(scenario.state.call());
        long handle = scenario.user != null ? ZOLTNative.setFsUid(scenario.user) : 0;
        String identityBefore = Walk.identityNow();
        Object[] answer = new Object[1];
        Runnable body = () -> answer[0] = unchecked(scenario);
        Log.clear();
        Log.throwing(logger);
        Throwable thrown = way.run(body);
        Log.throwing(null);
        final int lines = Log.lines().size();
        final int logged = Log.lines().stream().mapToInt(line -> line.text().length()).sum();
        final String identity = Walk.identityNow();
        final Walk.Left left = Walk.leftOver();
        final List<String> steps = List.of(Walk.steps());
        final int allocations = Walk.allocations();
        if (handle != 0) {
            ZOLTNative.setFsUid(handle);
        }
        Walk.becomeDaemon();
        String state = Ending.text(scenario.state.call());
        scenario.cleanUp.run();
        Walk.becomeDaemon();
        Faults.clear();

        boolean isReference = answer[0] != null && !(answer[0] instanceof Number)
                && !(answer[0] instanceof Boolean) && thrown == null;
        if (thrown == null || thrown != FROM_LOGGER) {
            assertEquals(isReference ? 1 : 0, left.references(), what + ": references");
        }
        assertEquals(new Walk.Left(0, left.streams(), 0, 0, left.allocations(), 0, 0, 0,
                left.references()), left, what);
        String text = thrown != null ? Ending.thrown(thrown) : Ending.text(answer[0]);
        return new Run(
                new Ending("", stateBefore, identityBefore, 0, 0),
                new Ending(text, state, identity, left.streams(), left.allocations()),
                steps, allocations, lines, logged);
    }

    private static Object unchecked(Scenario scenario) {
        try {
            return scenario.call.call();
        } catch (Exception e) {
            throw Place.<RuntimeException>asUnchecked(e);
        }
    }
}
