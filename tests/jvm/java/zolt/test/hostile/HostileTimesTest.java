package zolt.test.hostile;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Descriptors;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Log;
import zolt.test.Outcome;
import zolt.test.dirents.Dirents;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Value;

/** Ordinary calls at hostile times: under interruptions, and on what changes while it is read. */
@Tag("hostile")
class HostileTimesTest {
    /** So many answers and so many exceptions, however loaded the machine is. */
    private static final int RACED = 150;
    private static final long RACE_MILLIS = 60_000;
    private static final int STORM_ROUNDS = 4;
    /** The errors that some moment of a race allows. */
    private static final Set<Integer> EXPECTED = Set.of(Faults.EPERM, Faults.ENOENT, 6 /* ENXIO */,
            Faults.EEXIST, Faults.ENOTDIR, Faults.EINVAL, 40 /* ELOOP */, Faults.ENODATA,
            Faults.EOPNOTSUPP, Faults.EACCES);

    @TempDir Path dir;
    private String stage;

    @BeforeEach
    void prepare() throws Exception {
        Faults.clear();
        stage = Files.createDirectory(dir.resolve("stage")).toString();
        Kernel.build(stage, "");
        settle();
    }

    @AfterEach
    void restore() throws IOException {
        settle();
        Kernel.groups();
    }

    private static void settle() throws IOException {
        ZOLTNative.setFSConfig(false);
        ZOLTNative.setDefaultBlockSizeReplication(128L << 20, 1);
        Dirents.end();
        Log.clear();
    }

    private List<Native> natives() {
        HostileValues values = new HostileValues(Path.of(stage), dir.resolve("mapped"));
        List<Native> natives = new ArrayList<>(HostileStatus.natives(values));
        natives.addAll(HostileFiles.natives(values));
        natives.addAll(HostileAttributes.natives(values));
        natives.addAll(HostileAcls.natives(values));
        return natives;
    }

    private static Object[] ordinary(Native target) throws Exception {
        List<Object> arguments = new ArrayList<>();
        for (Value value : target.ordinary()) {
            arguments.add(value.make().get());
        }
        return arguments.toArray();
    }

    /** The whole storm of interruptions over every call: the answers are the undisturbed ones. */
    @Test
    void aStormOfSignalsChangesNoAnswer() throws Exception {
        List<Native> natives = new ArrayList<>(natives());
        natives.addAll(HostileIdentity.natives());
        long interruptions = 0;
        for (int round = 0; round < STORM_ROUNDS; round++) {
            System.out.println("\nat: storm " + round + " of " + STORM_ROUNDS);
            for (Native target : natives) {
                Object[] arguments = ordinary(target);
                Outcome expected = target.model().apply(new Call(arguments));
                if (!target.onlyReads()) {
                    Kernel.build(stage, "");
                }
                Kernel.storm(20);
                Outcome actual = Hostile.invoke(target.method(), arguments);
                interruptions += Kernel.calm();
                assertEquals(expected, actual, target.name());
                if (!target.onlyReads()) {
                    Kernel.build(stage, "");
                }
                settle();
            }
        }
        long seen = interruptions;
        assertTrue(seen > 100, () -> "only " + seen + " interruptions");
        System.out.println("\nstorm: " + seen + " interruptions of "
                + STORM_ROUNDS * natives.size() + " calls");
    }

    /** Puts something else in the place of a name: of every kind, and now and then nothing. */
    private void replace(String name, int kind) throws Exception {
        Path path = Path.of(stage, name);
        try (Stream<Path> all = Files.exists(path, java.nio.file.LinkOption.NOFOLLOW_LINKS)
                ? Files.walk(path) : Stream.of()) {
            for (Path each : all.sorted(java.util.Comparator.reverseOrder()).toList()) {
                Files.delete(each);
            }
        }
        switch (kind) {
            case 0, 1 -> Kernel.build(stage, name);
            case 2 -> Files.createLink(path, Path.of(stage, "fifo"));
            case 3 -> Files.createLink(path, Path.of(stage, "socket"));
            case 4 -> Files.createLink(path, Path.of(stage, "zero"));
            case 5 -> Files.createSymbolicLink(path, Path.of("empty"));
            case 6 -> Files.createSymbolicLink(path, Path.of(name));
            case 7 -> Files.createSymbolicLink(path, Path.of("fifo"));
            case 8 -> Files.createDirectory(path);
            default -> { } // gone
        }
    }

    @Test
    void whatIsReplacedWhileItIsReadIsOneOfItsMomentsOrOneException() throws Throwable {
        List<String> names = List.of("file", "big", "acl", "leased", "sub", "link");
        AtomicBoolean over = new AtomicBoolean();
        List<Throwable> troubles = new ArrayList<>();
        Thread replacing = new Thread(() -> {
            try {
                for (int n = 0; !over.get(); n++) {
                    replace(names.get(n % names.size()), n * 7 / names.size() % 10);
                }
            } catch (Throwable e) {
                troubles.add(e);
            }
        });
        Set<String> texts = EXPECTED.stream().map(Kernel::strerror).collect(Collectors.toSet());
        TreeMap<String, Integer> seen = new TreeMap<>();
        String thread = Kernel.thread();
        replacing.start();
        try {
            long end = System.currentTimeMillis() + RACE_MILLIS;
            while (System.currentTimeMillis() < end && (seen.getOrDefault("answers", 0) < RACED
                    || seen.getOrDefault("exceptions", 0) < RACED)) {
                for (Native target : natives()) {
                    Outcome outcome = Hostile.invoke(target.method(), ordinary(target));
                    seen.merge(outcome.isThrown() ? "exceptions" : "answers", 1, Integer::sum);
                    if (outcome.isThrown()) {
                        expectAllowed(target.name(), outcome.text(), texts);
                    }
                    Dirents.end();
                    Log.clear();
                }
            }
        } finally {
            over.set(true);
            replacing.join();
        }
        assertEquals(List.of(), troubles);
        assertEquals(thread, Kernel.thread());
        Descriptors.expectNone(dir);
        assertTrue(seen.getOrDefault("answers", 0) >= RACED, seen::toString);
        assertTrue(seen.getOrDefault("exceptions", 0) >= RACED, seen::toString);
        System.out.println("\nraces: " + seen.get("answers") + " answers and "
                + seen.get("exceptions") + " exceptions of calls on what was being replaced");
    }

    private static void expectAllowed(String name, String text, Set<String> texts) {
        String message = text.replaceFirst("throws [\\w.]+: ", "");
        boolean listing = name.equals("dumpXAttrs")
                && message.equals(Kernel.strerror(Faults.ENOMEM) + ": listxattr failed");
        assertTrue(listing || texts.contains(message.replaceFirst(": .*", "")),
                () -> name + " " + text);
    }
}
