package zolt.bench;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;

/** The table on the screen, and the two files: times.tsv of every way, goals.tsv of every goal. */
final class Report implements AutoCloseable {
    private static final double GROWTH = 1.3;
    private static final double ON_TWO_THREADS = 1.9;
    private static final double BEST = 0.9; // quantile
    private static final double WITHIN_NOISE = 0.98;

    /** Nanoseconds a unit, by size: of the floor and of the library. */
    private record Growth(Case of, Map<Long, double[]> bySize) {}

    private final Path folder;
    private final PrintStream times;
    private final PrintStream goals;
    private final Map<String, Growth> growths = new LinkedHashMap<>();
    private int held;
    private int missed;

    Report(Path folder) throws IOException {
        this.folder = Files.createDirectories(folder);
        times = new PrintStream(folder.resolve("times.tsv").toFile());
        goals = new PrintStream(folder.resolve("goals.tsv").toFile());
        times.println("case\twhere\tsize\tway\tcpu ns\twall ns\tx floor\trounds");
        goals.println("case\twhere\tsize\tway\tagainst\tratio\tnote\tgoal\tverdict");
    }

    void add(Rounds measured) {
        Case of = measured.measured;
        System.out.printf("%n%s, %d rounds%n", of, measured.rounds);
        double[] grown = {0, 0};
        for (int way = 0; way < of.ways.size(); way++) {
            String name = of.ways.get(way).name();
            String ofFloor = !measured.hasFloor() || name.equals(Case.FLOOR) ? ""
                    : String.format(Locale.ROOT, "%.3f", measured.ofFloor(way));
            System.out.printf(Locale.ROOT, "  %-34s %12.1f ns CPU %12.1f ns wall%s%n", name,
                    measured.cpu(way), measured.wall(way),
                    ofFloor.isEmpty() ? "" : "  x floor " + ofFloor);
            times.printf(Locale.ROOT, "%s\t%s\t%d\t%s\t%.1f\t%.1f\t%s\t%d%n", of.name, of.where,
                    of.size, name, measured.cpu(way), measured.wall(way), ofFloor,
                    measured.rounds);
            if (name.equals(Case.FLOOR) || name.equals(Case.LIBRARY)) {
                grown[name.equals(Case.FLOOR) ? 0 : 1] = measured.cpu(way);
            }
        }
        times.flush();
        for (Case.Goal goal : of.goals) {
            judge(of, goal, measured.ratio(goal, 0.5), note(measured, goal));
        }
        if (of.size > 0 && of.units == of.size) {
            growths.computeIfAbsent(of.name + of.where, key -> new Growth(of, new TreeMap<>()))
                    .bySize().put(of.size, grown);
        }
    }

    /** The quartiles, and what the floor itself is of Java's way: no library can be below it. */
    private static String note(Rounds measured, Case.Goal goal) {
        String quartiles = String.format(Locale.ROOT, "%.3f to %.3f", measured.ratio(goal, 0.25),
                measured.ratio(goal, 0.75));
        if (goal.against().equals(Case.FLOOR) || !measured.hasFloor()) {
            return quartiles;
        }
        Case.Goal floors = new Case.Goal(Case.FLOOR, goal.against(), 0, goal.wall());
        return quartiles
                + String.format(Locale.ROOT, "; floor %.3f", measured.ratio(floors, 0.5));
    }

    void judge(Case of, Case.Goal goal, double ratio, String note) {
        boolean good = ratio <= goal.most();
        held += good ? 1 : 0;
        missed += good ? 0 : 1;
        String verdict = good ? "held" : "MISSED";
        System.out.printf(Locale.ROOT, "  %-34s %12.3f x %s (%s), at most %.2f: %s%n",
                goal.way(), ratio, goal.against(), note, goal.most(), verdict);
        goals.printf(Locale.ROOT, "%s\t%s\t%d\t%s\t%s\t%.3f\t%s\t%.2f\t%s%n", of.name, of.where,
                of.size, goal.way(), goal.against(), ratio, note, goal.most(), verdict);
        goals.flush();
    }

    /**
     * How many times one thread's work the floor's threads do, and the library's; in ascending order.
     * A processor that was busy with something else can only lower them, so those that nine of ten
     * rounds do not pass are judged. On two threads, where the floor does 1.9 times as much, the
     * library is to do that too, or what the floor does within 2 %.
     */
    void scaling(Case of, double[] floor, double[] library) {
        double ofFloor = at(floor, BEST);
        double ofLibrary = at(library, BEST);
        boolean judged = of.size == 2 && ofFloor >= ON_TWO_THREADS && Mounted.FOLDER == null;
        double least = Math.min(ON_TWO_THREADS, WITHIN_NOISE * ofFloor);
        boolean good = ofLibrary >= least;
        if (judged) {
            held += good ? 1 : 0;
            missed += good ? 0 : 1;
        }
        String verdict = !judged ? "-" : good ? "held" : "MISSED";
        String note = String.format(Locale.ROOT, "floor %.2f (%.2f to %.2f)", ofFloor,
                at(floor, 0.25), at(floor, 0.5));
        String wanted = judged ? String.format(Locale.ROOT, "%.2f", least) : "-";
        System.out.printf(Locale.ROOT, "%n%s: library x %.2f, %s, at least %s: %s%n", of, ofLibrary,
                note, wanted, verdict);
        goals.printf(Locale.ROOT, "%s\t%s\t%d\tlibrary\tone thread\t%.2f\t%s\t%s\t%s%n", of.name,
                of.where, of.size, ofLibrary, note, wanted, verdict);
        goals.flush();
    }

    private static double at(double[] sorted, double quantile) {
        return sorted[(int) (quantile * (sorted.length - 1))];
    }

    /** The cost of a unit from the second-smallest size to the largest. */
    private void judgeGrowth() {
        for (Growth growth : growths.values()) {
            List<Long> sizes = List.copyOf(growth.bySize().keySet());
            if (sizes.size() < 3) {
                continue;
            }
            long from = sizes.get(1);
            long to = sizes.get(sizes.size() - 1);
            double[] small = growth.bySize().get(from);
            double[] large = growth.bySize().get(to);
            Case of = new Case(growth.of().name, growth.of().where, to, to);
            System.out.printf("%n%s%n", of);
            judge(of, new Case.Goal(Case.LIBRARY, "itself at " + from, GROWTH, false),
                    large[1] / small[1], small[0] == 0 ? "no floor"
                            : String.format(Locale.ROOT, "floor %.2f", large[0] / small[0]));
        }
    }

    /** True when every goal is held. */
    boolean summary(List<String> leftOut) throws IOException {
        if (!Rivals.RUN && Mounted.FOLDER == null) {
            judgeGrowth();
        }
        Files.write(folder.resolve("left-out.txt"), leftOut);
        leftOut.forEach(line -> System.out.println("Left out: " + line));
        System.out.printf("%n%d goals held, %d missed%n", held, missed);
        return missed == 0;
    }

    @Override
    public void close() {
        times.close();
        goals.close();
    }
}
