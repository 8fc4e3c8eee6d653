package zolt.test.walk;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import zolt.test.Level;
import zolt.test.Log;

/**
 * A call of a native in given circumstances, and every step of it in order with what becomes of the
 * call when that step goes wrong.
 */
public final class Scenario {
    interface Action {
        void run() throws Exception;
    }

    record Step(String function, Rule rule) {
        Step on(Fault fault, Rule other) {
            return new Step(function, rule.on(fault, other));
        }
    }

    final String name;
    final List<Step> steps = new ArrayList<>();
    Action prepare = () -> {};
    Action cleanUp = () -> {};
    Callable<?> call;
    Callable<?> state = () -> "";
    String user;
    List<Rule> withoutMemory = List.of(Rule.noMemory());
    Rule thrownFromLogger = Rule.same();

    /** The name is the native's, ": " and the circumstances. */
    Scenario(String name) {
        this.name = name;
    }

    String nativeName() {
        return name.substring(0, name.indexOf(':'));
    }

    /** Before every call, with the service's own rights. */
    Scenario prepare(Action action) {
        prepare = action;
        return this;
    }

    /** The caller, if not the service itself. */
    Scenario as(String caller) {
        user = caller;
        return this;
    }

    Scenario call(Callable<?> calls) {
        call = calls;
        return this;
    }

    /** The same of what answers nothing. */
    Scenario does(Action action) {
        return call(() -> {
            action.run();
            return null;
        });
    }

    /** How it may end when an allocation finds no memory, if not in the exception for that. */
    Scenario withoutMemory(Rule... rules) {
        withoutMemory = List.of(rules);
        return this;
    }

    /** How it ends when a log line throws, if not just so, with that exception. */
    Scenario thrownFromLogger(Rule rule) {
        thrownFromLogger = rule;
        return this;
    }

    /** What the call changes, as a text or as bytes. */
    Scenario state(Callable<?> looks) {
        state = looks;
        return this;
    }

    /** After every call, however it ended. */
    Scenario cleanUp(Action action) {
        cleanUp = action;
        return this;
    }

    /** Steps, and lists of steps. */
    Scenario steps(Object... stepsAndLists) {
        steps.addAll(all(stepsAndLists));
        return this;
    }

    static List<Step> all(Object... stepsAndLists) {
        List<Step> all = new ArrayList<>();
        for (Object each : stepsAndLists) {
            if (each instanceof Step step) {
                all.add(step);
            } else {
                ((List<?>) each).forEach(step -> all.add((Step) step));
            }
        }
        return all;
    }

    static Step step(String function, Rule rule) {
        return new Step(function, rule);
    }

    /** Steps that go wrong without making a difference. */
    static List<Step> harmless(String... functions) {
        List<Step> steps = new ArrayList<>();
        for (String function : functions) {
            steps.add(step(function, Rule.same()));
        }
        return steps;
    }

    /** The same of steps that are made for a log line at trace. */
    static List<Step> traced(String... functions) {
        return Log.nativeThreshold() == Level.TRACE ? harmless(functions) : List.of();
    }

    /** An argument's characters, an array's bytes, a buffer's memory. */
    static Step string() {
        return step("GetStringUTFChars", Rule.noMemory());
    }

    static Step bytes() {
        return step("GetByteArrayElements", Rule.noMemory());
    }

    static List<Step> buffer(Rule unusable) {
        return List.of(step("GetDirectBufferAddress", unusable),
                step("GetDirectBufferCapacity", unusable));
    }
}
