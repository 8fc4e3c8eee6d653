package zolt.test;

/** What the programs that tests start load before everything else. */
public final class Preload {
    private Preload() {}

    /** A virtual machine without the fault library, but with what the library's own build needs. */
    public static void noFaults(ProcessBuilder builder) {
        String sanitizers = System.getenv("SANITIZER_PRELOAD");
        if (sanitizers == null) {
            builder.environment().remove("LD_PRELOAD");
        } else {
            builder.environment().put("LD_PRELOAD", sanitizers);
        }
    }
}
