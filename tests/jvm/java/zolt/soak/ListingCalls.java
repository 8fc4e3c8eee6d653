package zolt.soak;

import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.dirents.Dirents;

/** Listings, one buffer a call with other calls in between, and counts. */
final class ListingCalls {
    private static final int SMALLEST = 4 + 14 + "keep99".length();

    private ListingCalls() {}

    /** The listing that a thread is in, if any. */
    static final class Progress {
        private String path;
        private int owner;
        private boolean still;
        private boolean dirOnly;
        private final List<String> names = new ArrayList<>();
    }

    static List<Call> all() {
        return List.of(ListingCalls::goOn, ListingCalls::goOn, ListingCalls::goOn,
                ListingCalls::count);
    }

    private static void begin(Scene scene) {
        Progress listing = scene.listing;
        listing.owner = scene.somebody();
        listing.still = scene.random.nextBoolean();
        listing.dirOnly = scene.random.nextInt(4) == 0;
        listing.path = scene.tree.path(listing.owner, listing.still ? "still" : "churn");
        listing.names.clear();
    }

    static void goOn(Scene scene) {
        Progress listing = scene.listing;
        if (listing.path == null) {
            begin(scene);
        } else if (scene.random.nextInt(40) == 0) {
            end(scene);
            return;
        }
        String path = listing.path;
        // Of any size that has room for one entry at least.
        ByteBuffer entries = scene.buffers.entries();
        int size = SMALLEST + scene.random.nextInt(entries.capacity() - SMALLEST + 1);
        ByteBuffer buffer = entries.slice(0, size).order(entries.order());
        Answer<Integer> answer = scene.ask("getDirentsNative", () -> ZOLTNative.getDirentsNative(
                path, buffer, listing.dirOnly, false), path, size, listing.dirOnly);
        int more = answer.value();
        take(scene, answer, buffer);
        if (more == 0) {
            expectComplete(answer, listing);
            listing.path = null;
        } else {
            answer.mustBe(1);
        }
    }

    /** Gives up the thread's listing, if there is one. */
    static void end(Scene scene) {
        scene.ask("getDirentsNative", () -> ZOLTNative.getDirentsNative("", null, false, true),
                "close").mustBe(0);
        scene.listing.path = null;
    }

    private static void take(Scene scene, Answer<Integer> answer, ByteBuffer buffer) {
        Progress listing = scene.listing;
        for (Dirents.Entry entry : Dirents.parse(buffer)) {
            String name = entry.name();
            listing.names.add(name);
            if (name.startsWith("keep")) {
                answer.check(entry.type() == 8 && entry.inode() == scene.tree.inode(listing.path + "/" + name),
                        name + " as it is, not " + entry);
            } else {
                answer.check(!listing.still && ChurnCalls.isName(name)
                        && entry.type() == ChurnCalls.typeOf(name), "no " + entry);
            }
            answer.check(!listing.dirOnly || entry.type() == 4, "directories only, no " + name);
        }
    }

    /** All that stays is listed, and listed once. */
    private static void expectComplete(Answer<Integer> answer, Progress listing) {
        int kept = listing.dirOnly ? 0 : listing.still ? Tree.STILL : Tree.KEPT;
        Set<String> found = new HashSet<>();
        for (String name : listing.names) {
            if (name.startsWith("keep")) {
                answer.check(found.add(name), name + " once in " + listing.names);
            }
        }
        answer.check(found.size() == kept, kept + " entries that stay in " + listing.names);
    }

    private static void count(Scene scene) {
        boolean still = scene.random.nextBoolean();
        String path = scene.tree.path(scene.somebody(), still ? "still" : "churn");
        Answer<Integer> answer = scene.ask("getDirentCountNative",
                () -> ZOLTNative.getDirentCountNative(path), path);
        int count = answer.value();
        if (still) {
            answer.mustBe(Tree.STILL);
        } else {
            // What is renamed during a listing may be met under several names.
            int most = Tree.KEPT + 4 * ChurnCalls.count();
            answer.check(count >= Tree.KEPT && count <= most, Tree.KEPT + " to " + most);
        }
    }
}
