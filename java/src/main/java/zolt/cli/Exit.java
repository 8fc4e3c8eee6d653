package zolt.cli;

/** What the command answers to the shell. They are documented in the help and never change. */
final class Exit {
    static final int OK = 0;
    /** An operation failed, or several failed for different reasons. */
    static final int FAILED = 1;
    static final int USAGE = 2;
    static final int DENIED = 3;
    /** A path, a user, an attribute or a lease that is not there. */
    static final int NOT_FOUND = 4;
    /** The command itself cannot run: no Java, no library, capabilities to give up. The launcher knows it too. */
    static final int BROKEN = 5;
    /** Something that was to be made is there: a lease that is held, an attribute. */
    static final int EXISTS = 6;
    /** The reader of a pipe has gone: 128 and the number of SIGPIPE, as a shell has it. */
    static final int PIPE = 141;

    private Exit() {}
}
