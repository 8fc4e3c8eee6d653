package zolt.test;

import java.io.IOException;

/** A runnable that calls natives, and lets out what they throw. */
@FunctionalInterface
public interface Body extends Runnable {
    void call() throws IOException;

    @Override
    default void run() {
        try {
            call();
        } catch (IOException e) {
            throw Body.<RuntimeException>unchecked(e);
        }
    }

    /** The same exception, of which the compiler knows no longer that it is a checked one. */
    @SuppressWarnings("unchecked")
    private static <E extends Exception> E unchecked(Exception e) throws E {
        throw (E) e;
    }
}
