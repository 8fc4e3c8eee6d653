package zolt.bench;

import java.util.ArrayList;
import java.util.List;

/** Ways of doing one thing on the same files, and what they are to cost of one another. */
final class Case {
    static final String LIBRARY = "library";
    static final String FLOOR = "floor";

    record Way(String name, Work work, Work answer) {}

    /** The median over the rounds of one way's CPU time to another's is to be at most this. */
    record Goal(String way, String against, double most, boolean wall) {}

    final String name;
    final String where;
    final long size;
    final long units;
    final List<Way> ways = new ArrayList<>();
    final List<Goal> goals = new ArrayList<>();

    /**
     * @param where the file system
     * @param size entries, blocks or attributes; 0 where there is no such number
     * @param units what times are divided by: 1 for a time a call
     */
    Case(String name, String where, long size, long units) {
        this.name = name;
        this.where = where;
        this.size = size;
        this.units = units;
    }

    /** All ways of a case answer the same. */
    Case way(String name, Work work) {
        return way(name, work, work);
    }

    /** One whose answer is had apart from what is timed. */
    Case way(String name, Work work, Work answer) {
        ways.add(new Way(name, work, answer));
        return this;
    }

    Case floor(Work work) {
        return way(FLOOR, work);
    }

    /** The floor without JNI calls, which leaves no answer in Java. */
    Case bare(int what, long prepared) {
        return way("floor, no JNI", () -> Floor.bare(what, prepared), null);
    }

    Case library(Work work) {
        return way(LIBRARY, work);
    }

    Case goal(String against, double most) {
        return goal(LIBRARY, against, most);
    }

    Case goal(String way, String against, double most) {
        goals.add(new Goal(way, against, most, false));
        return this;
    }

    /** For what happens in another process. */
    Case wallGoal(String against, double most) {
        goals.add(new Goal(LIBRARY, against, most, true));
        return this;
    }

    /** Every way answers what the first one answers. */
    void compareAnswers() throws Exception {
        Long wanted = null;
        for (Way way : ways) {
            if (way.answer() == null) {
                continue;
            }
            Rivals.choose(way);
            long answer = way.answer().run();
            if (wanted == null) {
                wanted = answer;
            } else if (wanted != answer) {
                throw new AssertionError(this + ": " + way.name() + " answers " + answer + ", "
                        + ways.get(0).name() + " " + wanted);
            }
        }
    }

    /** One call of the floor and one of the library, each between two marks. */
    void mark() throws Exception {
        for (Way way : ways) {
            if (way.name().equals(FLOOR) || way.name().equals(LIBRARY)) {
                way.work().run();
                Floor.mark("begin " + way.name() + " of " + this);
                way.work().run();
                Floor.mark("end");
            }
        }
    }

    @Override
    public String toString() {
        return name + (size > 0 ? " " + size : "") + " (" + where + ")";
    }
}
