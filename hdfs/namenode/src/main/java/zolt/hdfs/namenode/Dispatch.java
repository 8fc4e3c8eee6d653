package zolt.hdfs.namenode;

import java.io.IOException;
import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;
import java.lang.reflect.InvocationHandler;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.SafeModeException;
import org.apache.hadoop.io.retry.AtMostOnce;
import org.apache.hadoop.ipc.RetryCache;
import org.apache.hadoop.ipc.RetryCache.CacheEntryWithPayload;
import org.apache.hadoop.ipc.Server;
import org.apache.hadoop.ipc.StandbyException;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Caller;
import zolt.hdfs.namespace.Root;
import zolt.hdfs.namespace.SafeMode;

/**
 * Every call of a protocol comes this way, and only this way: it is given to the subject that has a method of that
 * name and those parameters, with the caller's identity on the thread for just as long, and once only where the client
 * repeats it. A call that no subject has is refused in one line.
 */
final class Dispatch implements InvocationHandler {
    /** A call that only the superuser may make. */
    @Retention(RetentionPolicy.RUNTIME)
    @Target(ElementType.METHOD)
    @interface Superuser {}

    /** A call that changes something, which the safe mode of a folder forbids. */
    @Retention(RetentionPolicy.RUNTIME)
    @Target(ElementType.METHOD)
    @interface Changes {
        /** What cannot be done then, in Hadoop's words; the first parameter says to what. */
        String value();
    }

    /** Who a request is for. */
    @FunctionalInterface
    interface Admission {
        /** The caller of this thread's request; an exception for one who may not use the protocol at all. */
        Caller caller() throws IOException;
    }

    private record Goal(Object subject, Method method, boolean once, boolean superuser, Changes changes) {}

    private final Map<Method, Goal> targets = new HashMap<>();
    private final Admission admission;
    private final State state;

    /**
     * What the protocols of one NameNode share.
     *
     * @param answered what was answered lately, for calls that are repeated
     * @param forcing what is done after each change, before it is answered
     * @param root of what is served
     */
    record State(RetryCache answered, Calls calls, SafeMode safeMode, Forcing forcing, Root root) {}

    /** Makes a change durable. */
    @FunctionalInterface
    interface Forcing {
        void force() throws IOException;
    }

    /** A protocol, served by subjects to whom it admits. */
    static <T> T serve(Class<T> protocol, List<Object> subjects, Admission admission, State state) {
        return protocol.cast(Proxy.newProxyInstance(Dispatch.class.getClassLoader(), new Class<?>[] {protocol},
                new Dispatch(protocol, subjects, admission, state)));
    }

    private Dispatch(Class<?> protocol, List<Object> subjects, Admission admission, State state) {
        this.admission = admission;
        this.state = state;
        for (Method method : protocol.getMethods()) {
            for (Object subject : subjects) {
                Method own = own(subject, method);
                if (own != null) {
                    Goal before = targets.put(method, new Goal(subject, own,
                            method.isAnnotationPresent(AtMostOnce.class), own.isAnnotationPresent(Superuser.class),
                            own.getAnnotation(Changes.class)));
                    if (before != null) {
                        throw new IllegalStateException("two subjects have " + method);
                    }
                }
            }
        }
    }

    private static Method own(Object subject, Method method) {
        for (Method each : subject.getClass().getDeclaredMethods()) {
            if (each.getName().equals(method.getName())
                    && Arrays.equals(each.getParameterTypes(), method.getParameterTypes())) {
                each.setAccessible(true);
                return each;
            }
        }
        return null;
    }

    @Override
    public Object invoke(Object proxy, Method method, Object[] arguments) throws Throwable {
        if (method.getDeclaringClass() == Object.class) {
            return method.invoke(this, arguments);
        }
        long begun = System.nanoTime();
        Throwable refused = null;
        try {
            return answer(method, arguments);
        } catch (Throwable e) {
            refused = e;
            // What is logged of it, or loaded for that, is not the caller's business.
            Acting.release();
            throw e instanceof IOException && state.root().isGone() ? gone(e) : e;
        } finally {
            state.calls().done(method.getName(), System.nanoTime() - begun, refused);
        }
    }

    /** The exception with which clients go to another NameNode. */
    private StandbyException gone(Throwable cause) {
        StandbyException gone = new StandbyException("The file system of " + state.root().folder()
                + " is no longer mounted where this NameNode runs: " + cause.getMessage());
        gone.initCause(cause);
        return gone;
    }

    private Object answer(Method method, Object[] arguments) throws Throwable {
        Goal target = targets.get(method);
        if (target == null) {
            throw new UnsupportedOperationException("This NameNode has no " + method.getName()
                    + ": its namespace is that of a file system");
        }
        Caller caller = admission.caller();
        if (target.superuser()) {
            caller.requireSuperuser();
        }
        if (target.changes() != null && state.safeMode().isOn()) {
            throw new SafeModeException("Cannot " + target.changes().value() + " " + arguments[0]
                    + ". Name node is in safe mode.\nIt was turned on manually."
                    + " Use \"hdfs dfsadmin -safemode leave\" to turn safe mode off.");
        }
        return target.once() ? once(target, caller, arguments) : act(target, caller, arguments);
    }

    /** A client whose connection broke asks again; the answer is that of the first time. */
    private Object once(Goal target, Caller caller, Object[] arguments) throws Throwable {
        CacheEntryWithPayload entry = RetryCache.waitForCompletion(state.answered(), null, Server.getClientId(),
                Server.getCallId());
        if (entry != null && entry.isSuccess()) {
            return entry.getPayload();
        }
        boolean success = false;
        Object answer = null;
        try {
            answer = act(target, caller, arguments);
            success = true;
            return answer;
        } finally {
            RetryCache.setState(entry, success, answer);
        }
    }

    private Object act(Goal target, Caller caller, Object[] arguments) throws Throwable {
        try (Acting as = Acting.forRequest(caller)) {
            Object answer = target.method().invoke(target.subject(), arguments);
            if (target.changes() != null) {
                state.forcing().force();
            }
            return answer;
        } catch (InvocationTargetException e) {
            throw e.getCause();
        }
    }
}
