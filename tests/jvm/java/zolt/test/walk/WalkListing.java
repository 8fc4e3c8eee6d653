package zolt.test.walk;

import static zolt.test.walk.Rule.answer;
import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.neutral;
import static zolt.test.walk.Scenario.all;
import static zolt.test.walk.Scenario.harmless;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Said;
import zolt.test.dirents.Dirents;

/** Counting a directory's entries, and listing them in one call or several. */
final class WalkListing {
    private static final ByteBuffer LARGE = Place.direct(200);
    private static final ByteBuffer SMALL = Place.direct(50); // room for two entries of three bytes

    private static final Rule NO_BUFFER =
            Rule.thrown(IOException.class, "Buffer overflow: current pos 0 seek 4");

    private WalkListing() {}

    private static boolean isDot(String name) {
        return name.equals(".") || name.equals("..");
    }

    /** How many real entries there are among the first ones that the system lists. */
    private static int real(List<String> entries, int count) {
        return (int) entries.stream().limit(count).filter(name -> !isDot(name)).count();
    }

    /** The readdir calls of a count, the last at the end of the directory. */
    private static List<Scenario.Step> counting(List<String> entries) {
        List<Scenario.Step> steps = new ArrayList<>();
        for (int i = 0; i <= entries.size(); i++) {
            steps.add(step("readdir", error("failed to readdir")
                    .on(Fault.SILENT, answer(real(entries, i)))));
        }
        return steps;
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path directory = place.directory("listed", "abc", "def", "ghi");
        String path = directory.toString();
        List<String> entries = Arrays.asList(Walk.entries(path));
        int first = position(entries, 1);
        int second = position(entries, 2);
        int third = position(entries, 3);
        return List.of(
            new Scenario("getDirentCountNative: a directory")
                .call(() -> ZOLTNative.getDirentCountNative(path))
                .steps(
                    string(),
                    harmless("stat"),
                    step("opendir", error(Said.DIRECTORY + " " + path)
                        .on(Fault.errno(Faults.ENOENT), neutral(0))
                        .on(Fault.errno(Faults.EACCES), neutral(0))),
                    counting(entries),
                    harmless("closedir")),
            listed("all of a directory", path, LARGE)
                .steps(
                    opened(),
                    listing(entries, 0, entries.size(), 0),
                    harmless("closedir")),
            listed("as much as there is room for", path, SMALL)
                .steps(
                    opened(),
                    listing(entries, 0, third, 0),
                    step("seekdir", error("failed to readdir")
                        .done(state -> "ee".repeat(4) + state.substring(8)))),
            listed("the rest of a directory", path, SMALL)
                .prepare(() -> {
                    list(path, SMALL);
                    Place.fill(SMALL);
                })
                .withoutMemory(Rule.noMemory(), Rule.noMemory().streams(-1))
                .steps(
                    begun(NO_BUFFER.streams(-1)),
                    listing(entries, second + 1, entries.size(), -1),
                    harmless("closedir")),
            new Scenario("getDirentsNative: the end of a listing before its time")
                .prepare(() -> list(path, SMALL))
                .call(() -> ZOLTNative.getDirentsNative(path, null, false, true))
                .cleanUp(Dirents::end)
                .steps(
                    string(),
                    harmless("closedir")),
            new Scenario("getDirentsNative: a buffer without room for one entry")
                .call(() -> ZOLTNative.getDirentsNative(path, Place.direct(10), false, false))
                .cleanUp(Dirents::end)
                .steps(
                    opened(),
                    Collections.nCopies(first + 1,
                        step("readdir", error("failed to readdir")
                            .on(Fault.SILENT, answer(0).streams(0)))),
                    step("rewinddir", error("failed to readdir"))));
    }

    private static Scenario listed(String circumstances, String path, ByteBuffer buffer) {
        return new Scenario("getDirentsNative: " + circumstances)
                .prepare(() -> Place.fill(buffer))
                .state(() -> Place.content(buffer))
                .call(() -> list(path, buffer))
                .cleanUp(Dirents::end);
    }

    /** The first steps of every listing; those of a new one. */
    private static List<Scenario.Step> begun(Rule noBuffer) {
        return all(string(), Scenario.buffer(noBuffer), harmless("stat"));
    }

    private static List<Scenario.Step> opened() {
        return all(begun(NO_BUFFER), step("opendir", error(Said.DIRECTORY)));
    }

    private static int list(String path, ByteBuffer buffer) throws IOException {
        return ZOLTNative.getDirentsNative(path, buffer, false, false);
    }

    /**
     * The readdir calls of a listing, from one entry to another, the last at the end of the directory
     * or of the buffer. An error leaves what was written, an end that comes early counts it.
     */
    private static List<Scenario.Step> listing(List<String> entries, int from, int to,
            int streams) {
        List<Scenario.Step> steps = new ArrayList<>();
        for (int i = from; i <= to; i++) {
            int written = real(entries, i) - real(entries, from);
            steps.add(step("readdir", error("failed to readdir")
                    .done(all -> Place.with(first(all, written), 0, 0xee, 0xee, 0xee, 0xee))
                    .on(Fault.SILENT, answer(0)
                            .done(all -> Place.with(first(all, written), 0, written, 0, 0, 0)))
                    .streams(streams)));
        }
        return steps;
    }

    /** The first entries of a listing, all of them being of three bytes. */
    private static String first(String all, int count) {
        int[] untouched = new int[all.length() / 2 - 4 - 17 * count];
        Arrays.fill(untouched, 0xee);
        return Place.with(all, 4 + 17 * count, untouched);
    }

    /** Where the nth real entry is in what the system lists. */
    private static int position(List<String> entries, int nth) {
        int position = 0;
        while (real(entries, position + 1) < nth) {
            position++;
        }
        return position;
    }
}
