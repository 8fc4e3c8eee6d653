package zolt.soak;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.IntBuffer;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.status.StatusRecord;

/** Block locations, replication and block group factor. */
final class BlockCalls {
    private static final int TYPES = 4;
    private static final int FILE_SYSTEM_BLOCKS = 0;
    private static final int NODES = 8;
    private static final int MOST_COPIES = 3;
    private static final int MOST_GROUPED = 4;

    /** The first answer about a file that never changes is the answer for ever. */
    private static final Map<String, List<Integer>> ANSWERS = new ConcurrentHashMap<>();

    private BlockCalls() {}

    static List<Call> all() {
        return List.of(BlockCalls::locateFixed, BlockCalls::locateFixed, BlockCalls::locateChanging,
                BlockCalls::locateChanging, BlockCalls::directory, BlockCalls::replicate,
                BlockCalls::group);
    }

    private static Answer<Void> locate(Scene scene, String path, int type) {
        ByteBuffer status = scene.buffers.status();
        ByteBuffer locations = scene.buffers.locations();
        return scene.tell("getBlockLocationsNative", () -> ZOLTNative.getBlockLocationsNative(path,
                type, true, 0, -1, status, locations), path, type);
    }

    private static void locateFixed(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "fixed");
        int type = scene.random.nextInt(TYPES);
        StatusCalls.full(scene, path, true).mustBe(1);
        Answer<Void> answer = locate(scene, path, type);
        answer.value();
        List<Integer> found = List.of(words(scene.buffers.locations()).hashCode(),
                (int) scene.buffers.status().getLong(StatusRecord.HEADER),
                scene.buffers.status().getInt(StatusRecord.HEADER_COPIES));
        List<Integer> first = ANSWERS.putIfAbsent(path + type, found);
        answer.check(first == null || first.equals(found), "always the same, not " + first
                + " and then " + found);
    }

    private static IntBuffer words(ByteBuffer locations) {
        return locations.duplicate().order(ByteOrder.nativeOrder()).clear().asIntBuffer();
    }

    private static void locateChanging(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "blocks");
        int type = scene.random.nextInt(TYPES);
        StatusCalls.full(scene, path, true).mustBe(1);
        Answer<Void> answer = locate(scene, path, type);
        answer.value();
        ByteBuffer status = scene.buffers.status();
        long blockSize = status.getLong(StatusRecord.HEADER);
        answer.check(blockSize > 0 && blockSize % scene.tree.block == 0, "no block size " + blockSize);
        int copies = status.getInt(StatusRecord.HEADER_COPIES);
        answer.check(copies >= 1 && copies <= MOST_COPIES, "no " + copies + " copies");
        expectWords(answer, words(scene.buffers.locations()), copies, type);
    }

    /** Whole blocks, and nothing after them; the file system's own lie on a node each. */
    private static void expectWords(Answer<Void> answer, IntBuffer words, int copies, int type) {
        int used = 0;
        for (int i = 0; i < words.limit(); i++) {
            answer.check(words.get(i) >= -1, "no word " + words.get(i));
            if (words.get(i) != -1) {
                used = i + 1;
            }
        }
        if (type == FILE_SYSTEM_BLOCKS) {
            answer.check(used == Tree.BLOCKS * 2 * copies, Tree.BLOCKS + " blocks of " + copies
                    + " copies in " + used + " words");
            for (int at = 0; at < used; at += 2 * copies) {
                Set<Integer> nodes = new HashSet<>();
                for (int copy = 0; copy < copies; copy++) {
                    int node = words.get(at + copy);
                    answer.check(node >= 0 && node < NODES && nodes.add(node), "no node " + node);
                }
            }
        }
    }

    /** Has no blocks. */
    private static void directory(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "still");
        StatusCalls.full(scene, path, true).mustBe(1);
        Answer<Void> answer = locate(scene, path, 2);
        answer.value();
        ByteBuffer status = scene.buffers.status();
        answer.check(status.getLong(StatusRecord.HEADER) == 0 && status.getInt(StatusRecord.HEADER_COPIES) == 0
                && status.getInt(StatusRecord.MODE) == 0040755, "an empty header");
        answer.check(status.capacity() == StatusRecord.HEADER_END, "nothing else");
    }

    private static void replicate(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "blocks");
        short copies = (short) (1 + scene.random.nextInt(MOST_COPIES));
        boolean restripe = scene.random.nextBoolean();
        Answer<Boolean> answer = scene.ask("setReplication",
                () -> ZOLTNative.setReplication(path, copies, restripe), path, copies, restripe);
        answer.mustOf(user, Outcome.error(Faults.EACCES, Said.REPLICATION + path), Outcome.TRUE);
    }

    private static void group(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "blocks");
        int bgf = scene.random.nextInt(MOST_GROUPED + 1);
        Answer<Boolean> answer =
                scene.ask("setBGF", () -> ZOLTNative.setBGF(path, bgf), path, bgf);
        if (bgf == 0) {
            answer.mustThrow(Faults.EINVAL, Said.noFactor(bgf));
        } else {
            answer.mustOf(user, Outcome.error(Faults.EACCES, Said.factor(bgf, path)), Outcome.TRUE);
        }
    }
}
