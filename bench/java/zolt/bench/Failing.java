package zolt.bench;

/** A call that fails: what is timed is the exception's making too, and what it says is the answer. */
final class Failing {
    private Failing() {}

    /** The length of the message, so that it is looked at; 0 when nothing was thrown. */
    static Work timed(Work work) {
        return () -> {
            try {
                work.run();
                return 0;
            } catch (Exception e) {
                return String.valueOf(e.getMessage()).length();
            }
        };
    }

    /** The exception's class and message; of a call that does not fail, its own answer. */
    static Work answer(Work work) {
        return () -> {
            try {
                return work.run();
            } catch (Exception e) {
                return e.getClass().hashCode() * 31L + String.valueOf(e.getMessage()).hashCode();
            }
        };
    }

    static Case add(Case to, String name, Work work) {
        return to.way(name, timed(work), answer(work));
    }
}
