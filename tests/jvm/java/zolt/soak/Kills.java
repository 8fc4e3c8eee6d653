package zolt.soak;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.EnumMap;
import java.util.List;
import java.util.Map;
import java.util.SplittableRandom;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Outcome;
import zolt.test.acl.AclBytes;

/**
 * Kills one virtual machine after the other in the middle of its work, and looks at what each has
 * left: lists and attributes are whole, nothing lies about, and a half lease is told by the natives
 * and mended by one call.
 *
 * <p>System properties: soak.kills, soak.seed, soak.terminal. The exit status is 1 when anything
 * else was found.
 */
public final class Kills {
    static final String NAME = "user.any";
    static final byte[][] VALUES = XattrCalls.values('a', 1, 100, 1000, 2000);
    /** Short, so that they fit into the inode and most of the time is spent between two calls. */
    static final byte[][] HOLDERS = XattrCalls.values('A', 12, 16, 20);
    static final int LEASES = 3;

    private static final int LONGEST_LIFE = 30; // milliseconds after the victim has begun

    private final int kills = Integer.getInteger("soak.kills");
    private final long seed = Long.getLong("soak.seed", System.nanoTime() & 0xffffff);
    private final boolean terminal = Boolean.getBoolean("soak.terminal");
    private final SplittableRandom random = new SplittableRandom(seed);
    private final Path dir;
    private final Map<HalfLease.Kind, Integer> found = new EnumMap<>(HalfLease.Kind.class);
    private int done;

    private Kills(Path dir) {
        this.dir = dir;
        Arrays.stream(HalfLease.Kind.values()).forEach(kind -> found.put(kind, 0));
    }

    static String attributes(String dir) {
        return dir + "/attributes";
    }

    static String lists(String dir) {
        return dir + "/lists";
    }

    static String lease(String dir, int number) {
        return dir + "/lease" + number;
    }

    public static void main(String[] arguments) throws Exception {
        Path dir = Files.createTempDirectory("zolt-kills-").toRealPath();
        int status = 1;
        try {
            status = new Kills(dir).run();
        } finally {
            try (Stream<Path> all = Files.walk(dir)) {
                for (Path path : (Iterable<Path>) all.sorted(Comparator.reverseOrder())::iterator) {
                    Files.delete(path);
                }
            }
        }
        Runtime.getRuntime().halt(status);
    }

    private int run() throws Exception {
        System.out.println("kills: " + kills + " virtual machines, SEED=" + seed);
        try {
            Files.createFile(Path.of(attributes(dir.toString())));
            Files.createDirectory(Path.of(lists(dir.toString())));
            for (int i = 0; i < LEASES; i++) {
                Files.createFile(Path.of(lease(dir.toString(), i)));
            }
            HalfLease.tryAllKinds(lease(dir.toString(), 0));
            for (; done < kills; done++) {
                kill();
                expectWhole();
                progress();
            }
            System.out.println((terminal ? "\r\033[K" : "") + state() + "; every half lease was"
                    + " mended by one call, every list and attribute was whole, nothing lay about");
            return 0;
        } catch (Throwable e) {
            System.out.println((terminal ? "\n" : "") + "BROKEN after " + (done + 1) + " kills: "
                    + (e instanceof Broken ? e.getMessage() : e) + " (SEED=" + seed + ")");
            e.printStackTrace(System.out);
            return 1;
        }
    }

    private String state() {
        return done + " kills, of " + done * LEASES + " leases: " + found;
    }

    private void progress() {
        if (terminal) {
            System.out.print("\r\033[K" + state());
            System.out.flush();
        } else if (done % 50 == 49) {
            System.out.println(state());
        }
    }

    private void kill() throws Exception {
        Process victim = victim();
        try {
            String word = victim.inputReader().readLine();
            if (!"begun".equals(word)) {
                throw new Broken("a victim that does not begin: " + word);
            }
            Thread.sleep(random.nextInt(LONGEST_LIFE), random.nextInt(1_000_000));
        } finally {
            victim.destroyForcibly(); // SIGKILL
        }
        int status = victim.waitFor();
        if (status != 128 + 9) {
            throw new Broken("a victim that was not killed but ended with " + status);
        }
    }

    private Process victim() throws IOException {
        List<String> command = new ArrayList<>(List.of(
                ProcessHandle.current().info().command().orElseThrow(), "-Xshare:auto",
                "-XX:TieredStopAtLevel=1", "-XX:+UseSerialGC", "-Xmx64m",
                "-Dzolt.library=" + System.getProperty("zolt.library"), "-Dzolt.test.level=OFF",
                "-cp", System.getProperty("java.class.path"), Victim.class.getName(),
                dir.toString()));
        ProcessBuilder builder = new ProcessBuilder(command);
        builder.environment().remove("LD_PRELOAD");
        return builder.redirectError(ProcessBuilder.Redirect.INHERIT).start();
    }

    private void expectWhole() throws Exception {
        String at = dir.toString();
        byte[] value = ZOLTNative.getXAttr(attributes(at), NAME);
        expect(value != null && XattrCalls.isOne(VALUES, value), "a value "
                + Outcome.show(value));
        List<AclBytes.Entry> list = AclBytes.status(ZOLTNative.getAclStatus(lists(at), true));
        expect(AclLists.isStatus(list), "a list " + list);
        for (int i = 0; i < LEASES; i++) {
            found.merge(HalfLease.mend(lease(at, i)), 1, Integer::sum);
        }
        expectNothingElse(at);
    }

    /** No file and no attribute but those that have names here. */
    private void expectNothingElse(String at) throws IOException {
        TreeSet<Path> known = new TreeSet<>(
                List.of(dir, Path.of(attributes(at)), Path.of(lists(at))));
        for (int i = 0; i < LEASES; i++) {
            known.add(Path.of(lease(at, i)));
        }
        try (Stream<Path> all = Files.walk(dir)) {
            List<Path> files = all.sorted().collect(Collectors.toList());
            expect(files.equals(List.copyOf(known)), "files " + files);
        }
        for (Path path : known) {
            List<String> names = Files
                    .getFileAttributeView(path, UserDefinedFileAttributeView.class).list();
            boolean attribute = path.equals(Path.of(attributes(at)));
            expect(names.equals(attribute ? List.of("any") : List.of()), path + " with " + names);
        }
    }

    static void expect(boolean holds, String left) {
        if (!holds) {
            throw new Broken("there is " + left);
        }
    }

    /** An attribute as Java itself reads it; null when there is none. */
    static byte[] stored(String path, String name) throws IOException {
        UserDefinedFileAttributeView view =
                Files.getFileAttributeView(Path.of(path), UserDefinedFileAttributeView.class);
        String shortName = name.substring("user.".length());
        if (!view.list().contains(shortName)) {
            return null;
        }
        ByteBuffer value = ByteBuffer.allocate(view.size(shortName));
        view.read(shortName, value);
        return value.array();
    }
}
