package zolt.cli.output;

/** What the command answers to the shell. They are documented in the help and never change. */
public final class Exit {
    public static final int OK = 0;
    /** An operation failed, or several failed for different reasons. */
    public static final int FAILED = 1;
    public static final int USAGE = 2;
    public static final int DENIED = 3;
    /** A path, a user, an attribute or a lease that is not there. */
    public static final int NOT_FOUND = 4;
    /** The command itself cannot run: no Java, no library, capabilities to give up. The launcher knows it too. */
    public static final int BROKEN = 5;
    /** Something that was to be made is there: a lease that is held, an attribute. */
    public static final int EXISTS = 6;
    /** The reader of a pipe has gone: 128 and the number of SIGPIPE, as a shell has it. */
    public static final int PIPE = 141;

    private Exit() {}
}
