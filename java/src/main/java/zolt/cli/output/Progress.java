package zolt.cli.output;

/** Says on standard error how far long work is, while a person waits there and sees nothing else. */
public final class Progress {
    private static final int STEPS_BETWEEN_LOOKS = 0xfff;
    private static final long NANOS_BETWEEN_LINES = 250_000_000;
    private static final int WIDTH = 70;

    private final Session session;
    private long steps;
    private long last = System.nanoTime();
    private boolean shown;

    public Progress(Session session) {
        this.session = session;
    }

    public void step(String where) {
        if ((++steps & STEPS_BETWEEN_LOOKS) == 0 && isDue(session.outIsTerminal)) {
            show(steps + " entries, in " + Shown.name(where));
        }
    }

    /** The same where little or nothing is printed on the way; whoever prints something clears this first. */
    public void stepInSilence(String where) {
        if ((++steps & STEPS_BETWEEN_LOOKS) == 0 && isDue(false)) {
            show(steps + " entries, in " + Shown.name(where));
        }
    }

    /** A part of what there is to do, where what is done is printed. */
    public void share(long done, long all, String what) {
        if (isDue(session.outIsTerminal)) {
            show(percent(done, all, what));
        }
    }

    /** The same where nothing is printed before the end. */
    public void shareOfSilence(long done, long all, String what) {
        if (isDue(false)) {
            show(percent(done, all, what));
        }
    }

    private static String percent(long done, long all, String what) {
        return 100 * done / all + " % of " + all + " blocks, in " + Shown.name(what);
    }

    private boolean isDue(boolean seenElsewhere) {
        if (!session.errIsTerminal || seenElsewhere) {
            return false;
        }
        long now = System.nanoTime();
        if (now - last < NANOS_BETWEEN_LINES) {
            return false;
        }
        last = now;
        return true;
    }

    private void show(String line) {
        String fitting = line.length() <= WIDTH ? line : line.substring(0, WIDTH - 3) + "...";
        session.out.flush(); // what was printed stands above
        session.err.print("\r\033[K" + fitting);
        session.err.flush();
        shown = true;
    }

    public void clear() {
        if (shown) {
            session.err.print("\r\033[K");
            session.err.flush();
            shown = false;
        }
    }
}
