package zolt.fs;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.nio.file.FileSystems;
import java.nio.file.Path;
import java.nio.file.ProviderMismatchException;

/** What every entry point asks of its arguments. */
final class Check {
    /** {@code Thread.isVirtual}, of Java 21; null before, where no thread is one. */
    private static final MethodHandle IS_VIRTUAL = isVirtual();

    private Check() {}

    static <T> T notNull(T value, String what) {
        if (value == null) {
            throw new NullPointerException(what + " is null");
        }
        return value;
    }

    /** A path as the natives take it; one of another file system than this machine's has none. */
    static String text(Path path) {
        if (notNull(path, "path").getFileSystem() != FileSystems.getDefault()) {
            throw new ProviderMismatchException(path + " is of another file system provider");
        }
        return path.toString();
    }

    static void thread(Thread owner, String what) {
        Thread current = Thread.currentThread();
        if (current != owner) {
            throw new IllegalStateException(what + " belongs to the thread \"" + owner.getName()
                    + "\" and cannot be used on \"" + current.getName() + "\"");
        }
    }

    /** The kernel keeps identities, and the library its listings, with threads of the kernel; a virtual one has none. */
    static void platformThread(String what, String name) {
        if (isVirtual(Thread.currentThread())) {
            throw new IllegalStateException(what + name + " belongs to a thread of the kernel, and a virtual thread"
                    + " has none of its own: use a platform thread");
        }
    }

    private static boolean isVirtual(Thread thread) {
        try {
            return IS_VIRTUAL != null && (boolean) IS_VIRTUAL.invokeExact(thread);
        } catch (Throwable e) { // what invokeExact declares; isVirtual throws nothing
            throw new IllegalStateException(e);
        }
    }

    private static MethodHandle isVirtual() {
        try {
            return MethodHandles.publicLookup().findVirtual(Thread.class, "isVirtual",
                    MethodType.methodType(boolean.class));
        } catch (ReflectiveOperationException e) {
            return null;
        }
    }
}
