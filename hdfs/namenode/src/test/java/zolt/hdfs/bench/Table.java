package zolt.hdfs.bench;

import java.util.Locale;

/** The rows of the results, each with its goal. */
final class Table {
    private int missed;

    void head(String what) {
        System.out.printf("%n| %s | stock | zolt | ratio | goal | |%n|---|--:|--:|--:|--:|---|%n", what);
    }

    /** A row of something of which more is better: the ratio is how many times as much there is. */
    void more(String what, double stock, double own, double goal) {
        row(what, stock, own, own / stock, goal);
    }

    /** A row of something of which less is better: the ratio is how many times less there is. */
    void less(String what, double stock, double own, double goal) {
        row(what, stock, own, stock / own, goal);
    }

    private void row(String what, double stock, double own, double ratio, double goal) {
        boolean held = ratio >= goal;
        say(what, stock, own, String.format(Locale.ROOT, "%.2f", ratio), String.format(Locale.ROOT, "%.1f", goal), held);
    }

    /** A row in which this service's own value has a bound. */
    void bounded(String what, double stock, double own, double most) {
        say(what, stock, own, "", "at most " + number(most), own <= most);
    }

    /** A row that has no goal. */
    void shown(String what, double stock, double own) {
        System.out.printf("| %s | %s | %s | | | |%n", what, number(stock), number(own));
    }

    private void say(String what, double stock, double own, String ratio, String goal, boolean held) {
        missed += held ? 0 : 1;
        System.out.printf("| %s | %s | %s | %s | %s | %s |%n", what, number(stock), number(own), ratio, goal,
                held ? "held" : "**missed**");
    }

    private static String number(double value) {
        return String.format(Locale.ROOT, value >= 100 ? "%.0f" : value >= 10 ? "%.1f" : "%.2f", value);
    }

    int missed() {
        return missed;
    }
}
