package zolt.test;

/** The levels in the library's order: a threshold passes itself and what follows it. */
public enum Level {
    TRACE,
    DEBUG,
    INFO,
    WARN,
    ERROR,
    OFF;

    public boolean passes(Level message) {
        return this != OFF && ordinal() <= message.ordinal();
    }
}
