package zolt.bench;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Path;

/**
 * Runs each way of a case alone and writes down when, on the clock of a sampling profiler
 * (CLOCK_MONOTONIC): so every sample of this thread belongs to one way of one case.
 */
final class Profile implements AutoCloseable {
    private final PrintStream turns;
    private final double seconds;

    /** @param seconds of each way, after as long for warming up */
    Profile(Path file, double seconds) throws IOException {
        turns = new PrintStream(file.toFile());
        this.seconds = seconds;
        turns.println("case\twhere\tsize\tway\tfrom\tto\tunits");
    }

    void add(Case one) throws Exception {
        for (Case.Way way : one.ways) {
            repeat(way.work());
            long from = System.nanoTime();
            long calls = repeat(way.work());
            turns.printf("%s\t%s\t%d\t%s\t%d\t%d\t%d%n", one.name, one.where, one.size, way.name(),
                    from, System.nanoTime(), calls * one.units);
        }
        turns.flush();
    }

    private long repeat(Work work) throws Exception {
        long start = System.nanoTime();
        long calls = 0;
        while (System.nanoTime() - start < seconds * 1e9) {
            work.run();
            calls++;
        }
        return calls;
    }

    @Override
    public void close() {
        turns.close();
    }
}
