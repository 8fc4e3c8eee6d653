package zolt.fs;

/** What every entry point asks of its arguments. */
final class Check {
    private Check() {}

    static <T> T notNull(T value, String what) {
        if (value == null) {
            throw new NullPointerException(what + " is null");
        }
        return value;
    }

    static void thread(Thread owner, String what) {
        Thread current = Thread.currentThread();
        if (current != owner) {
            throw new IllegalStateException(what + " belongs to the thread \"" + owner.getName()
                    + "\" and cannot be used on \"" + current.getName() + "\"");
        }
    }
}
