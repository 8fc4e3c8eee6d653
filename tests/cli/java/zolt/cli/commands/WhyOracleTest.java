package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;

/**
 * Verdicts beside what a process of the user can really do, on file systems of this test's own: tmpfs,
 * and ext4 on a loop device. A machine without loop devices leaves out reserved blocks and quotas, and
 * flags where its tmpfs has none (before Linux 6.6). What links and files in sticky directories are
 * refused depends on this machine's settings (fs.protected_symlinks and its neighbours), which a test
 * must not change: the rules for each setting are in zolt.fs.StickyRulesTest.
 */
class WhyOracleTest extends CliFixture {
    private static final String ORACLE = System.getProperty("zolt.oracle");
    private static final String[] USERS = {"root", "daemon", "bin", "sys", "nobody"};
    private static final String[] PURPOSES = {"look", "r", "w", "x", "d"};
    private static final int TREES = 2500;
    private static final long SEED = 20261122;

    private boolean loop;

    @BeforeEach
    void mount() throws Exception {
        String mounted = Tool.sh("cd \"$1\"; mkdir t e; mount -t tmpfs none t 2>/dev/null || exit 0; echo tmpfs;"
                + " truncate -s 64M image; mkfs.ext4 -q image;"
                + " mount -o loop image e 2>/dev/null && echo loop || true", dir.toString());
        Assumptions.assumeTrue(mounted.contains("tmpfs"), "this process may not mount");
        loop = mounted.contains("loop");
    }

    @AfterEach
    void unmount() throws Exception {
        Tool.sh("cd \"$1\"; umount -l t/* t e/* e 2>/dev/null; true", dir.toString());
    }

    private static List<String> oracle(List<String> input, String... arguments) throws Exception {
        Path questions = Files.createTempFile("zolt-oracle-", "");
        try {
            Files.write(questions, input, StandardCharsets.UTF_8);
            return Tool.lines(Tool.with(Arrays.asList(arguments), "bash", "-c", "\"$@\" <\"$0\"",
                    questions.toString(), ORACLE));
        } finally {
            Files.delete(questions);
        }
    }

    private static List<Map<String, Object>> why(String user, String purpose, List<String> paths) {
        List<Map<String, Object>> verdicts = new ArrayList<>();
        for (String line : Cli.run(Tool.with(paths, "why", "--json", "--as", user, "--for", purpose))
                .lines()) {
            verdicts.add(Value.object(line));
        }
        return verdicts;
    }

    @Test
    void verdictsAreWhatTheKernelDoes() throws Exception {
        List<String> places = new ArrayList<>();
        for (String top : loop ? new String[] {"t", "e"} : new String[] {"t"}) {
            for (String each : new String[] {"plain", "open", "ro", "noexec", "nodev"}) {
                places.add(path(top + "/" + each));
            }
        }
        Tool.raw(Tool.with(places, "mkdir"));
        Tool.sh("chmod 1777 \"$1\"/?/open", dir.toString());
        List<String> made = oracle(List.of(), Tool.with(places, "make", String.valueOf(SEED),
                String.valueOf(TREES)));
        for (String place : places) {
            String option = place.substring(place.lastIndexOf('/') + 1);
            if (!option.equals("plain") && !option.equals("open")) {
                Tool.sh("mount --bind \"$1\" \"$1\"; mount -o remount,bind,$2 \"$1\"", place, option);
            }
        }
        // Each tree is one user's, who has one purpose: no verdict can be had from another.
        Map<Integer, List<String>> parts = new TreeMap<>();
        for (String path : made) {
            int tree = Integer.parseInt(path.replaceFirst(".*?/t([0-9]+).*", "$1"));
            parts.computeIfAbsent(tree / places.size() % (USERS.length * PURPOSES.length),
                    unused -> new ArrayList<>()).add(path);
        }
        Map<String, Integer> reasons = new TreeMap<>();
        List<String> wrong = new ArrayList<>();
        for (Map.Entry<Integer, List<String>> part : parts.entrySet()) {
            String user = USERS[part.getKey() % USERS.length];
            String purpose = PURPOSES[part.getKey() / USERS.length];
            List<Map<String, Object>> verdicts = why(user, purpose, part.getValue());
            List<String> truth = oracle(part.getValue(), "ask", Tool.text("id", "-u", user).trim(), purpose);
            assertEquals(truth.size(), verdicts.size());
            for (int at = 0; at < truth.size(); at++) {
                if (!truth.get(at).equals(String.valueOf(verdicts.get(at).get("permitted")))) {
                    wrong.add(truth.get(at) + " " + verdicts.get(at));
                }
                reasons.merge(String.valueOf(verdicts.get(at).get("reason")), 1, Integer::sum);
            }
        }
        oracle(made, "free");
        assertEquals(List.of(), wrong.subList(0, Math.min(5, wrong.size())), wrong.size() + " of "
                + made.size());
        for (String reason : List.of("null", "refused", "missing", "read_only", "no_exec", "no_devices",
                "sticky")) {
            assertTrue(reasons.getOrDefault(reason, 0) > 20, reason + ": " + reasons);
        }
        // Devices are kept in sticky directories whatever the settings are.
        assertTrue(reasons.getOrDefault("protected", 0) > 2, reasons.toString());
        for (String reason : loop ? List.of("immutable", "append_only") : List.<String>of()) {
            assertTrue(reasons.getOrDefault(reason, 0) > 20, reason + ": " + reasons);
        }
    }

    /** What is left is counted as the kernel counts it: with the blocks that are kept for the superuser. */
    @Test
    void fullFileSystemsRefuse() throws Exception {
        Tool.sh("cd \"$1\"; mkdir t/full; mount -t tmpfs -o size=64k none t/full; chmod 777 t/full;"
                + " install -m 666 /dev/null t/full/f; cat /dev/zero >t/full/fill 2>/dev/null || true",
                dir.toString());
        for (String user : USERS) {
            full(user, "full", path("t/full"), path("t/full/f"));
        }
        assertEquals("nobody may write " + path("t/full/f")
                + ", but there is no block left for that\n", Cli.run("why", "--as", "nobody", "--for", "w",
                        path("t/full/f")).text());
        assertEquals(Exit.DENIED, Cli.run("why", "--for", "w", path("t/full/f")).code);
        Tool.raw("rm", path("t/full/fill"));
        full("nobody", "null", path("t/full"), path("t/full/f"));
        if (loop) {
            Tool.sh("chmod 777 \"$1\"/e; install -m 666 /dev/null \"$1\"/e/f; setpriv --reuid=65534 --clear-groups"
                    + " sh -c 'cat /dev/zero >\"$1\"/e/fill; dd if=/dev/zero of=\"$1\"/e/last bs=1k' sh \"$1\""
                    + " 2>/dev/null || true", dir.toString());
            full("nobody", "full", path("e"), path("e/f"));
            full("root", "null", path("e"), path("e/f"));
        }
    }

    private static void full(String user, String reason, String... paths) throws Exception {
        List<String> asked = List.of(paths);
        List<String> truth = oracle(asked, "ask", Tool.text("id", "-u", user).trim(), "w");
        List<Map<String, Object>> verdicts = why(user, "w", asked);
        for (int at = 0; at < paths.length; at++) {
            assertEquals(reason, String.valueOf(verdicts.get(at).get("reason")), verdicts.toString());
            assertEquals(truth.get(at), verdicts.get(at).get("permitted").toString(), verdicts.toString());
        }
    }

    /** What is used of a limit, only the kernel knows. That of a project comes with the free blocks. */
    @Test
    void quotasAreNotGuessedAt() throws Exception {
        Assumptions.assumeTrue(loop, "no loop devices: quotas are left out");
        Tool.sh("cd \"$1\"; umount e; mount -o loop,usrquota image e; install -d -m 777 e/d; install -m 666 /dev/null"
                + " e/d/f", dir.toString());
        for (String path : List.of(path("e/d"), path("e/d/f"))) {
            Cli run = Cli.run("why", "--as", "nobody", "--for", "w", path);
            assertEquals(Exit.FAILED, run.code);
            assertEquals("it is not known whether nobody may write " + path + ": owner, mode and list permit"
                    + " it, but " + path("e") + " may have quotas, which only the kernel knows\n", run.text());
        }
        Map<String, Object> verdict = why("nobody", "w", List.of(path("e/d"))).get(0);
        assertTrue(verdict.containsKey("permitted") && verdict.get("permitted") == null, verdict.toString());
        Cli.done("why", "--as", "nobody", path("e/d"), path("e/d/f"));
        Cli.done("why", "--as", "nobody", "--for", "d", path("e/d/f"));
    }

    @Test
    void flagsAreNamedWithWhatTakesThemAway() throws Exception {
        String where = loop ? "e" : "t";
        String made = Tool.sh("cd \"$1\"/$2; mkdir -m 777 kept log; touch kept/f log/f plain; chmod 666 */f plain;"
                + " mkdir -m 777 open; touch open/i open/a; chattr +i kept open/i 2>/dev/null || exit 0;"
                + " chattr +a log open/a && echo yes", dir.toString(), where);
        Assumptions.assumeTrue(!made.isEmpty(), "no loop devices, and a tmpfs without flags");
        try {
            for (String[] each : new String[][] {
                {"w", "kept", "no one may write or remove %s: it is immutable (chattr +i)", "-i", "kept"},
                {"d", "kept/f", "no one may write or remove %s: it is immutable (chattr +i)", "-i", "kept"},
                {"d", "open/i", "no one may write or remove %s: it is immutable (chattr +i)", "-i", "open/i"},
                {"w", "log", "files may be made in %s, but not removed: it is append only (chattr +a)", "-a",
                    "log"},
                {"d", "log/f", "files may be made in %s, but not removed: it is append only (chattr +a)", "-a",
                    "log"},
                {"w", "open/a", "%s may be appended to, but not written over or removed: it is append only"
                        + " (chattr +a)", "-a", "open/a"},
                {"d", "open/a", "%s may be appended to, but not written over or removed: it is append only"
                        + " (chattr +a)", "-a", "open/a"}}) {
                String refusing = path(where + "/" + each[4]);
                for (String user : List.of("root", "nobody")) {
                    Cli run = Cli.run("why", "--as", user, "--for", each[0], path(where + "/" + each[1]));
                    assertEquals(String.format(each[2], refusing) + "\n  to permit it: chattr " + each[3] + " "
                            + refusing + "\n", run.text());
                    assertEquals(Exit.DENIED, run.code);
                }
            }
            // What has a flag has no new rights before that is gone; and it protects again behind that.
            Tool.sh("cd \"$1\"/$2/open; chattr -i -a i a; chmod 600 i a; chattr +i i; chattr +a a", dir.toString(), where);
            for (String[] each : new String[][] {{"i", "-i"}, {"a", "-a"}}) {
                String file = path(where + "/open/" + each[0]);
                String remedy = String.valueOf(why("nobody", "r", List.of(file)).get(0).get("remedy"));
                assertEquals("chattr " + each[1] + " " + file + " && zolt acl modify u:nobody:r-- " + file + " && chattr "
                        + each[1].replace('-', '+') + " " + file, remedy);
            }
            Cli.done("why", "--for", "w", path(where + "/kept/f"), path(where + "/plain"));
            Cli.done("why", "--for", "r", path(where + "/kept"), path(where + "/open/a"));
        } finally {
            Tool.sh("chattr -R -i -a \"$1\"/$2/kept \"$1\"/$2/log \"$1\"/$2/open", dir.toString(), where);
        }
    }
}
