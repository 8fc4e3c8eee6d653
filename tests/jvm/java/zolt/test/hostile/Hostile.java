package zolt.test.hostile;

import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Function;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Outcome;

/** The natives with their parameters, what a parameter may be given, and what that must come to. */
public final class Hostile {
    static final byte FILLER = (byte) 0xee;

    private Hostile() {}

    /** A value of a parameter, made anew for each call. */
    record Value(String label, Supplier make) {
        interface Supplier {
            Object get() throws Exception;
        }

        static Value of(Object value) {
            String text = value instanceof String string && string.length() > 80
                    ? string.substring(0, 40) + "...(" + string.length() + ")" : "" + value;
            return new Value(text, () -> value);
        }

        static List<Value> all(Object... values) {
            return Arrays.stream(values).map(Value::of).toList();
        }
    }

    /** The values of one parameter; the first is the ordinary one. */
    record Parameter(Class<?> type, List<Value> values) {
        Value ordinary() {
            return values.get(0);
        }
    }

    static Parameter parameter(Class<?> type, List<Value> values) {
        return new Parameter(type, values);
    }

    static final Parameter FLAG = parameter(boolean.class, Value.all(true, false));

    static Parameter ofInts(Integer... values) {
        return parameter(int.class, Value.all((Object[]) values));
    }

    static Parameter ofShorts(int... values) {
        return parameter(short.class,
                Arrays.stream(values).mapToObj(each -> Value.of((short) each)).toList());
    }

    static Parameter ofLongs(Long... values) {
        return parameter(long.class, Value.all((Object[]) values));
    }

    /**
     * A native and its model, which does by itself what the native is to do and says the outcome.
     * What a text that is null comes to stands beside it, where that is no neutral answer.
     */
    record Native(String name, Function<Call, Outcome> model, Outcome ofNull,
            List<Parameter> parameters) {
        static Native of(String name, Function<Call, Outcome> model, Parameter... parameters) {
            return new Native(name, model, null, List.of(parameters));
        }

        Native ofNull(Outcome outcome) {
            return new Native(name, model, outcome, parameters);
        }

        Outcome outcome(Call call) throws NoSuchMethodException {
            for (int i = 0; i < call.arguments.length; i++) {
                if (call.arguments[i] == null && parameters.get(i).type() == String.class) {
                    return ofNull != null ? ofNull : Outcome.neutral(method().getReturnType());
                }
            }
            return model.apply(call);
        }

        /** The native itself, or what calls it for the sake of a handle. */
        Method method() throws NoSuchMethodException {
            Class<?> owner = name.equals("switchTo") ? HostileIdentity.class : ZOLTNative.class;
            return owner.getDeclaredMethod(name,
                    parameters.stream().map(Parameter::type).toArray(Class<?>[]::new));
        }

        /** Of those that read, the one of a lease ends it when it is overdue. */
        boolean onlyReads() {
            return name.matches("(get(?!FileLease)|is|dump).*");
        }

        List<Value> ordinary() {
            List<Value> ordinary = new ArrayList<>();
            parameters.forEach(each -> ordinary.add(each.ordinary()));
            return ordinary;
        }
    }

    /**
     * A buffer lent to a native: what Java passes, and the memory in which it lies. The model writes
     * into the shadow of that memory what the native is to write into the memory itself.
     */
    static final class Lent {
        final ByteBuffer given;
        final ByteBuffer memory;
        final int start;
        final byte[] shadow;

        Lent(ByteBuffer given, ByteBuffer memory, int start) {
            this.given = given;
            this.memory = memory;
            this.start = start;
            shadow = contents();
        }

        boolean isUsable() {
            return given.isDirect() && !given.isReadOnly();
        }

        int capacity() {
            return given.capacity();
        }

        /** A view of the given part of the shadow. */
        ByteBuffer expected() {
            return ByteBuffer.wrap(shadow, start, given.capacity()).slice()
                    .order(java.nio.ByteOrder.nativeOrder());
        }

        byte[] contents() {
            byte[] bytes = new byte[memory.capacity()];
            memory.duplicate().clear().get(bytes);
            return bytes;
        }
    }

    /** The arguments of one call, as the model sees them. */
    static final class Call {
        final Object[] arguments;
        /** A refused call has changed something on its way all the same. */
        boolean touched;
        /** What is warned about, where that is all that shows. */
        List<String> warnings;

        Call(Object[] arguments) {
            this.arguments = arguments;
        }

        String text(int i) {
            return (String) arguments[i];
        }

        boolean flag(int i) {
            return (Boolean) arguments[i];
        }

        long number(int i) {
            return ((Number) arguments[i]).longValue();
        }

        byte[] bytes(int i) {
            return (byte[]) arguments[i];
        }

        Lent buffer(int i) {
            return (Lent) arguments[i];
        }

        /** The model changes the file system without an answer that says so. */
        <T> T touching(T result) {
            touched = true;
            return result;
        }
    }

    static Outcome invoke(Method method, Object[] arguments) throws IllegalAccessException {
        Object[] passed = Arrays.stream(arguments)
                .map(each -> each instanceof Lent lent ? lent.given : each).toArray();
        try {
            return Outcome.value(method.invoke(null, passed));
        } catch (InvocationTargetException e) {
            return Outcome.thrown(e.getCause());
        }
    }
}
