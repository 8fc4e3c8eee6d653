package zolt.soak;

import java.util.Arrays;
import java.util.Objects;
import zolt.test.Failure;

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

    /** Whether it is just this exception. */
    boolean threw(Class<? extends Throwable> type, String message) {
        return thrown != null && thrown.getClass() == type
                && Objects.equals(thrown.getMessage(), message);
    }

    boolean threw(int errno, String said) {
        Failure failure = Failure.of(errno, said);
        return threw(failure.type(), failure.message());
    }

    void mustThrow(int errno, String said) {
        check(threw(errno, said), Failure.of(errno, said).toString());
    }

    /** The value; an exception is none. */
    T value() {
        check(thrown == null, "no exception");
        return value;
    }

    void mustBe(T expected) {
        check(thrown == null && Objects.deepEquals(value, expected), text(expected));
    }

    void check(boolean holds, String expected) {
        if (!holds) {
            throw broken("expected " + expected + ", got "
                    + (thrown != null ? thrown : text(value)));
        }
    }

    Broken broken(String what) {
        StringBuilder text = new StringBuilder(call).append('(');
        for (int i = 0; i < arguments.length; i++) {
            text.append(i == 0 ? "" : ", ").append(text(arguments[i]));
        }
        return new Broken(text.append(") by ").append(scene).append(": ").append(what).toString());
    }

    static String text(Object value) {
        if (value instanceof byte[]) {
            byte[] bytes = (byte[]) value;
            return bytes.length + " bytes " + Arrays.toString(bytes);
        }
        return value instanceof Object[] ? Arrays.toString((Object[]) value) : "" + value;
    }
}
