package zolt.test;

/** The binding cache and the load of the library's second copy, with what can fail in them. */
public final class Binding {
    private Binding() {}

    static {
        System.load(System.getProperty("zolt.test.library"));
    }

    // What fails in init and load: the nth, from 0, "lookup" of a class or a member; the nth
    // "NewGlobalRef", which answers null; "memory" for the nth class; reading "LOG"; "LOG, where
    // its error class exists"; or "nothing". Before it, the cache is empty.

    /** JniUtil::init; its result to out[0]. */
    public static native void init(String failing, int nth, int[] out);

    /**
     * JNI_OnLoad, with libacl not bound before; the version that it answers to out[0], the threshold
     * afterwards to out[1], and whether libacl is bound (1) or not to out[2].
     */
    public static native void load(String failing, int nth, int[] out);

    public static void load() {
        load("nothing", 0, new int[3]);
    }

    /** The entries that were released, in that order. */
    public static native int[] uninit();

    /** Which entries are set, in the order of their resolution. */
    public static native boolean[] set();

    // A lookup that fails with another result than -1 takes its exception back.

    public static native int findClass(String name);

    // 98 where a lookup fails so or leaves an id; 99 where it succeeds without one.

    public static native int methodId(Class<?> cls, String name, String signature, boolean instance);

    public static native int fieldId(Class<?> cls, String name, String signature, boolean instance);
}
