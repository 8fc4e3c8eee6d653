package zolt.test;

import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.util.Locale;
import org.slf4j.Logger;

/** The slf4j logger of the tests: what passes -Dzolt.test.level is handed to {@link Log}. */
public final class Recorder {
    private Recorder() {}

    public static Logger logger(String name) {
        return (Logger) Proxy.newProxyInstance(Recorder.class.getClassLoader(),
                new Class<?>[] {Logger.class},
                (proxy, method, arguments) -> answer(name, method, arguments));
    }

    private static Object answer(String name, Method method, Object[] arguments) {
        String called = method.getName();
        if (called.equals("getName") || called.equals("toString")) {
            return name;
        }
        if (called.startsWith("is")) {
            String level = called.substring("is".length(), called.length() - "Enabled".length());
            return Log.isEnabled(Level.valueOf(level.toUpperCase(Locale.ROOT)));
        }
        Level level = Level.valueOf(called.toUpperCase(Locale.ROOT));
        // The library calls the one-argument form alone, and only at levels that are on.
        if (arguments.length != 1 || !Log.takes(level)) {
            throw new AssertionError("unexpected call of " + method);
        }
        Log.record(level, (String) arguments[0]);
        return null;
    }
}
