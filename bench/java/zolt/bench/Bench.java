package zolt.bench;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Every native beside its floor and beside what Java offers. Arguments: the folder for the tables,
 * the seconds a way, and then words: "long" for a directory of ten million entries, "quick"
 * for the comparison of the answers and hardly a measurement, "profile" for a run under a sampling
 * profiler.
 */
public final class Bench {
    // Which cases to measure, as a regular expression for their names.
    private static final String ONLY = System.getProperty("zolt.bench.only", ".*");
    // For a trace of the system calls.
    private static final boolean MARKED = Boolean.getBoolean("zolt.bench.marked");

    private final Report report;
    private final Profile profile; // null where times are measured
    private final double seconds;
    private final boolean quick;
    private final List<String> leftOut = new ArrayList<>();
    private final Set<String> names = new HashSet<>();

    private Bench(Report report, Profile profile, double seconds, boolean quick) {
        this.report = report;
        this.profile = profile;
        this.seconds = seconds;
        this.quick = quick;
    }

    boolean quick() {
        return quick;
    }

    /**
     * Lets what was just made or changed become a few seconds old, as most of what a NameNode meets
     * is: until then its times may be given to a second change, so nothing about it is remembered.
     */
    void settle() throws InterruptedException {
        Thread.sleep(quick ? 0 : 3100);
    }

    boolean wants(Case one) {
        return one.toString().matches(ONLY);
    }

    void measure(Case measured) throws Exception {
        names.add(measured.name);
        Case one = Rivals.RUN ? Rivals.of(measured) : Mounted.FOLDER != null ? Mounted.of(measured) : measured;
        if (one == null || !wants(one)) {
            return;
        }
        one.compareAnswers();
        if (MARKED) {
            one.mark();
        }
        if (profile != null) {
            profile.add(one);
            return;
        }
        // What is judged by no goal is only to be seen.
        report.add(new Rounds(one, one.goals.isEmpty() ? seconds / 2 : seconds));
    }

    void leaveOut(String why) {
        if (!leftOut.contains(why)) {
            leftOut.add(why);
        }
    }

    /** What several threads do, in units of what one does, in ascending order. */
    void scaling(Case of, double[] floor, double[] library) {
        report.scaling(of, floor, library);
    }

    void judge(Case of, Case.Goal goal, double ratio, String note) {
        System.out.printf("%n%s%n", of);
        report.judge(of, goal, ratio, note);
    }

    /** The loop that all ways go through is compiled for many of them before the first counts. */
    private void warmUp() throws Exception {
        long[] sum = {0};
        new Rounds(new Case("warm-up", "-", 0, 1).way("a", () -> sum[0]++).way("b", () -> sum[0]--)
                .way("c", () -> sum[0] += 2).way("d", () -> sum[0] ^= 1), seconds);
    }

    public static void main(String[] arguments) throws Exception {
        Path folder = Path.of(arguments[0]);
        List<String> words = List.of(arguments);
        boolean quick = words.contains("quick");
        boolean isLong = words.contains("long");
        Rivals.each(() -> ZOLTNative.setDefaultBlockSizeReplication(128 << 20, 3));
        double seconds = Double.parseDouble(arguments[1]);
        boolean good;
        try (Report report = new Report(folder);
                Profile profile = words.contains("profile")
                        ? new Profile(folder.resolve("turns.tsv"), seconds) : null) {
            Bench bench = new Bench(report, profile, seconds, quick);
            bench.run(quick ? new int[] {10, 1000}
                    : Rivals.RUN ? new int[] {10, 1000, 100_000}
                    : isLong ? new int[] {10, 1000, 100_000, 1_000_000, 10_000_000}
                    : new int[] {10, 1000, 100_000, 1_000_000});
            good = report.summary(bench.leftOut);
        }
        System.exit(good || words.contains("quick") ? 0 : 1);
    }

    private void onFiles(Workspace space, int[] blocks, int[] entries) throws Exception {
        StatusCases.add(this, space);
        XattrCases.add(this, space);
        LeaseCases.add(this, space);
        AclCases.add(this, space);
        AclWriteCases.add(this, space);
        BlockCases.add(this, space, blocks);
        ListingCases.add(this, space, entries);
        ErrorCases.add(this, space);
    }

    /** A file there costs a thousand times what one costs in memory: few of them. */
    private void mounted() throws Exception {
        try (Workspace space = new Workspace(Mounted.FOLDER)) {
            onFiles(space, new int[] {1, 1000}, new int[] {10, 1000});
            ThreadCases.add(this, space, 1000);
        }
    }

    private void run(int[] sizes) throws Exception {
        warmUp();
        if (Mounted.FOLDER != null) {
            mounted();
            return;
        }
        // Where every user may come to: some cases act as another one.
        for (Path parent : List.of(Path.of("/var/tmp"), Path.of("/dev/shm"))) {
            try (Workspace space = new Workspace(parent)) {
                onFiles(space, quick ? new int[] {1, 100} : new int[] {1, 100, 100_000}, sizes);
                if (Rivals.RUN) {
                    continue;
                }
                HadoopCases.add(this, space);
                MemoryCases.add(this, space, 1000, quick ? 2000 : 1_000_000);
                if (!quick && profile == null) {
                    ThreadCases.add(this, space, 1);
                }
            }
        }
        if (!quick && profile == null && !Rivals.RUN) {
            ThreadCases.addAccounts(this);
        }
        BlockCases.addCounting(this);
        ConfigCases.add(this);
        AccountCases.add(this);
        IdentityCases.add(this);
        if (ONLY.equals(".*")) {
            Natives.check(names);
        }
    }
}
