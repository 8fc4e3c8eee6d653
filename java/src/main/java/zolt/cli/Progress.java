package zolt.cli;

/** Says on standard error how far long work is, while a person waits there and sees nothing else. */
final class Progress {
    private static final int STEPS_BETWEEN_LOOKS = 0xfff;
    private static final long NANOS_BETWEEN_LINES = 250_000_000;
    private static final int WIDTH = 70;

    private final Session session;
    private final boolean watched;
    private long steps;
    private long last = System.nanoTime();
    private boolean shown;

    Progress(Session session) {
        this.session = session;
        this.watched = session.errIsTerminal && !session.outIsTerminal;
    }

    void step(String where) {
        if ((++steps & STEPS_BETWEEN_LOOKS) == 0 && watched) {
            look(where);
        }
    }

    private void look(String where) {
        long now = System.nanoTime();
        if (now - last < NANOS_BETWEEN_LINES) {
            return;
        }
        last = now;
        String line = steps + " entries, in " + Shown.line(where);
        line = line.length() <= WIDTH ? line : line.substring(0, WIDTH - 3) + "...";
        session.err.print("\r\033[K" + line);
        session.err.flush();
        shown = true;
    }

    void clear() {
        if (shown) {
            session.err.print("\r\033[K");
            session.err.flush();
            shown = false;
        }
    }
}
