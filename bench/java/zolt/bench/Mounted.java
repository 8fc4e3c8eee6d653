package zolt.bench;

import java.nio.file.Path;

/**
 * The benchmark on a mount that another process serves. The time is spent there and not by the calling thread, so what
 * counts is the wall clock; and of the ways there are two, the floor and the library. How it grows with size and threads
 * is that process's own, and not judged.
 */
final class Mounted {
    /** Null where the file systems of this machine are measured. */
    static final Path FOLDER = folder(System.getProperty("zolt.bench.on", ""));
    private static final double AT_MOST = 1.05;

    private Mounted() {}

    private static Path folder(String name) {
        return name.isEmpty() ? null : Path.of(name);
    }

    /** Null where the case has no floor. */
    static Case of(Case one) {
        Case two = new Case(one.name, one.where, one.size, one.units);
        one.ways.stream().filter(way -> way.name().equals(Case.FLOOR) || way.name().equals(Case.LIBRARY))
                .forEach(way -> two.way(way.name(), way.work(), way.answer()));
        return two.ways.size() < 2 ? null : two.wallGoal(Case.FLOOR, AT_MOST);
    }
}
