package zolt.bench;

import java.lang.management.CompilationMXBean;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.util.Arrays;

/**
 * The measurement of one case: the ways take turns, A B C A B C ..., and each turn is a number of
 * calls that take about a millisecond, timed by the CPU time of this thread and by the wall clock.
 * What is compared are the times of one round, so that whatever slows the machine down for longer
 * than that slows all ways down alike.
 */
final class Rounds {
    private static final ThreadMXBean CLOCK = ManagementFactory.getThreadMXBean();
    private static final long TURN = 1_000_000; // ns
    private static final int FEWEST = 9;
    private static final int MOST = 5000;
    private static final CompilationMXBean COMPILER = ManagementFactory.getCompilationMXBean();
    private static final int QUIET = 10; // rounds

    final Case measured;
    final int rounds;
    private final double[][] cpu;
    private final double[][] wall;

    /**
     * Measures for about {@code seconds} a way, after about half of that for warming up; for 0 it
     * does everything once.
     */
    Rounds(Case measured, double seconds) throws Exception {
        this.measured = measured;
        int ways = measured.ways.size();
        int[] calls = new int[ways];
        double round = 0;
        for (int way = 0; way < ways; way++) {
            double once = warmUp(measured.ways.get(way), seconds / 3 * 1e9);
            calls[way] = seconds == 0 ? 1 : (int) Math.max(1, Math.min(TURN / once, 1e6));
            round += calls[way] * once;
        }
        rounds = seconds == 0 ? 1
                : (int) Math.max(FEWEST, Math.min(seconds * 1e9 * ways / round, MOST));
        cpu = new double[ways][rounds];
        wall = new double[ways][rounds];
        settle(calls, seconds * ways * 1e9);
        for (int i = 0; i < rounds; i++) {
            round(i, calls);
        }
    }

    /**
     * Rounds that do not count, until there are some in which nothing was compiled: what one way's
     * warming up has compiled for all may have been compiled for that way alone.
     */
    private void settle(int[] calls, double most) throws Exception {
        long start = System.nanoTime();
        int quiet = 0;
        while (quiet < QUIET && System.nanoTime() - start < most) {
            long compiled = COMPILER.getTotalCompilationTime();
            round(0, calls);
            quiet = COMPILER.getTotalCompilationTime() == compiled ? quiet + 1 : 0;
        }
    }

    private void round(int number, int[] calls) throws Exception {
        for (int way = 0; way < calls.length; way++) {
            turn(measured.ways.get(way), way, number, calls[way]);
        }
    }

    private void turn(Case.Way of, int way, int round, int calls) throws Exception {
        Rivals.choose(of);
        long wallStart = System.nanoTime();
        long cpuStart = CLOCK.getCurrentThreadCpuTime();
        repeat(of.work(), calls);
        double units = (double) calls * measured.units;
        cpu[way][round] = (CLOCK.getCurrentThreadCpuTime() - cpuStart) / units;
        wall[way][round] = (System.nanoTime() - wallStart) / units;
    }

    private static long repeat(Work work, int calls) throws Exception {
        long sum = 0;
        for (int i = 0; i < calls; i++) {
            sum += work.run();
        }
        return sum;
    }

    /** Nanoseconds a call takes once the way is warm. */
    private static double warmUp(Case.Way way, double time) throws Exception {
        Rivals.choose(way);
        long start = System.nanoTime();
        int calls = 1;
        for (;;) {
            long last = System.nanoTime();
            repeat(way.work(), calls);
            long now = System.nanoTime();
            if (now - start >= time) {
                return Math.max(1, (double) (now - last) / calls);
            }
            if (now - last < TURN) {
                calls *= 2;
            }
        }
    }

    double cpu(int way) {
        return quantile(cpu[way], 0.5);
    }

    double wall(int way) {
        return quantile(wall[way], 0.5);
    }

    boolean hasFloor() {
        return measured.ways.stream().anyMatch(way -> way.name().equals(Case.FLOOR));
    }

    private int indexOf(String name) {
        for (int way = 0; way < measured.ways.size(); way++) {
            if (measured.ways.get(way).name().equals(name)) {
                return way;
            }
        }
        throw new AssertionError(measured + " has no way " + name);
    }

    /** The median over the rounds of a way's CPU time to the floor's. */
    double ofFloor(int way) {
        return ratio(new Case.Goal(measured.ways.get(way).name(), Case.FLOOR, 0, false), 0.5);
    }

    /** The quantile over the rounds of a goal's ratio; 0.5 is what is judged. */
    double ratio(Case.Goal goal, double q) {
        double[][] times = goal.wall() ? wall : cpu;
        double[] above = times[indexOf(goal.way())];
        double[] below = times[indexOf(goal.against())];
        double[] ratios = new double[rounds];
        for (int i = 0; i < rounds; i++) {
            ratios[i] = above[i] / below[i];
        }
        return quantile(ratios, q);
    }

    private static double quantile(double[] values, double q) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[(int) (q * (sorted.length - 1))];
    }
}
