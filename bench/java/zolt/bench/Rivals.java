package zolt.bench;

/**
 * Two builds of the library in one virtual machine, of which each is called in its turns: what
 * {@code zolt.library} names is then the switch between them, and no case has other ways.
 */
final class Rivals {
    static final boolean RUN = Boolean.getBoolean("zolt.bench.rivals");
    private static final String RIVAL = "portable";
    private static final double AT_MOST = 1.03;

    private Rivals() {}

    /** The library's way twice, and nothing else; null where the case has none. */
    static Case of(Case one) {
        for (Case.Way way : one.ways) {
            if (way.name().equals(Case.LIBRARY)) {
                return new Case(one.name, one.where, one.size, one.units)
                        .way(Case.LIBRARY, way.work(), way.answer())
                        .way(RIVAL, way.work(), way.answer())
                        .goal(RIVAL, Case.LIBRARY, AT_MOST);
            }
        }
        return null;
    }

    /** Lets the build of that way answer from now on. */
    static void choose(Case.Way way) {
        if (RUN) {
            turn(way.name().equals(RIVAL) ? 1 : 0);
        }
    }

    /** Does it in every build that there is. */
    static void each(Runnable setting) {
        setting.run();
        if (RUN) {
            turn(1);
            setting.run();
            turn(0);
        }
    }

    private static native void turn(int build);
}
