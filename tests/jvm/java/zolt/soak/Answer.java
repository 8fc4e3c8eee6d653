package zolt.soak;

import java.util.Arrays;
import zolt.test.Outcome;

/** What one call of a native came to: a value or an exception, and the words for a report of it. */
final class Answer<T> {
    private final Scene scene;
    private final String call;
    private final Object[] arguments;
    private final T value;
    final Throwable thrown;

    Answer(Scene scene, String call, Object[] arguments, T value, Throwable thrown) {
        this.scene = scene;
        this.call = call;
        this.arguments = arguments;
        this.value = value;
        this.thrown = thrown;
    }

    private boolean cameTo(Outcome expected) {
        return expected.equals(thrown != null ? Outcome.thrown(thrown) : Outcome.value(value));
    }

    boolean threw(int errno, String said) {
        return cameTo(Outcome.error(errno, said));
    }

    void mustThrow(int errno, String said) {
        must(Outcome.error(errno, said));
    }

    /** One of these it must have come to. */
    void must(Outcome... any) {
        check(Arrays.stream(any).anyMatch(this::cameTo), Arrays.toString(any));
    }

    /** What only a file's owner and the service may do; to others it comes to this refusal. */
    void mustOf(int owner, Outcome refusal, Outcome... any) {
        must(scene.mayActAs(owner) ? any : new Outcome[] {refusal});
    }

    /** The value; an exception is none. */
    T value() {
        check(thrown == null, "no exception");
        return value;
    }

    void mustBe(T expected) {
        must(Outcome.value(expected));
    }

    void check(boolean holds, String expected) {
        if (!holds) {
            throw broken("expected " + expected + ", got "
                    + (thrown != null ? thrown : Outcome.show(value)));
        }
    }

    Broken broken(String what) {
        StringBuilder text = new StringBuilder(call).append('(');
        for (int i = 0; i < arguments.length; i++) {
            text.append(i == 0 ? "" : ", ").append(Outcome.show(arguments[i]));
        }
        return new Broken(text.append(") by ").append(scene).append(": ").append(what).toString());
    }
}
