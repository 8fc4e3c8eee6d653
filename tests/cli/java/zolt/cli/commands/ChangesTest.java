package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;

class ChangesTest extends CliFixture {
    @Test
    void aLeaseIsTakenHeldAndEnded() throws Exception {
        String path = file("file");
        Cli.fails(Exit.NOT_FOUND, path + ": no lease", "lease", "get", path);
        Cli.done("lease", "set", "writer-1", path);
        assertEquals("writer-1\n", Cli.done("lease", "get", path).text());
        assertEquals("writer-1", Value.object(Cli.done("lease", "get", "--json", path).text().trim())
                .get("holder"));
        Cli.fails(Exit.EXISTS, path + ": File exists: user.lease.holder already exists", "lease", "set",
                "writer-2", path);
        Cli.done("lease", "renew", path);
        assertEquals("writer-1\n", Cli.done("lease", "get", "--expire", "1h", path).text());
        Cli.done("lease", "remove", path);
        assertEquals(Exit.NOT_FOUND, Cli.run("lease", "renew", path).code);
        assertEquals(Exit.NOT_FOUND, Cli.run("lease", "get", path).code);
    }

    @Test
    void aLeaseIsAsOldAsTheFilesLastChange() throws Exception {
        String path = file("file");
        Cli.done("lease", "set", "writer-1", path);
        assertEquals("writer-1\n", Cli.done("lease", "get", "--expire", "0s", path).text());
        Thread.sleep(1100);
        Cli.done("lease", "renew", path);
        assertEquals("writer-1\n", Cli.done("lease", "get", "--expire", "0s", path).text());
        Map<String, Object> lease = Value.object(Cli.done("lease", "get", "--json", path).text().trim());
        assertEquals(Value.object(Cli.done("stat", "--json", path).text().trim()).get("changed"), lease.get("renewed"));
        assertEquals(0L, lease.get("age"));
        String line = Cli.done("lease", "get", "-l", path).text();
        assertTrue(line.matches("writer-1, last renewed [0-9: .+-]+ or before, [0-9] s ago\n"), line);
        Thread.sleep(1100);
        Tool.raw("chmod", "600", path); // a change that is no renewal is none against the holder
        assertEquals("writer-1\n", Cli.done("lease", "get", "--expire", "0s", path).text());
        Thread.sleep(1100);
        Cli.fails(Exit.NOT_FOUND, path + ": no lease", "lease", "get", "--expire", "0s", path);
        assertEquals("", Tool.raw("getfattr", "-d", "-m", "user.lease", path));
    }

    @Test
    void halfALeaseIsToldOfAndMended() throws Exception {
        for (String half : List.of("holder", "update")) {
            String path = file(half);
            String told = path + ": only half a lease, which a crash has left and nobody holds: zolt lease remove"
                    + " ends it";
            Tool.raw("setfattr", "-n", "user.lease." + half, "-v", "0x0000000000000000", path);
            Cli.fails(Exit.NOT_FOUND, told, "lease", "get", path);
            Cli.fails(Exit.NOT_FOUND, told, "lease", "renew", path);
            Cli.fails(Exit.EXISTS, told, "lease", "set", "writer-1", path);
            assertEquals(half.equals("holder"), Cli.done("stat", path).text().contains("lease     only half of one"));
            Cli.fails(Exit.DENIED, path + ": Permission denied: removexattr failed for user.lease.*", "lease",
                    "remove", "--as", "nobody", path);
            assertEquals("", Cli.done("lease", "remove", path).text());
            Cli.fails(Exit.NOT_FOUND, path + ": No data available: user.lease.* does not exist", "lease", "remove",
                    path);
            Cli.done("lease", "set", "writer-1", path);
        }
    }

    @Test
    void aLeaseThatWasNotRenewedIsRemoved() throws Exception {
        String path = file("file");
        Cli.done("lease", "set", "writer-1", path);
        Tool.raw("setfattr", "-n", "user.lease.update", "-v", "0x0000000000000000", path);
        Cli.fails(Exit.NOT_FOUND, path + ": no lease", "lease", "get", "--expire", "90s", path);
        assertEquals("", Tool.raw("getfattr", "-d", "-m", "user.lease", path));
    }

    @Test
    void aHolderHasAName() throws Exception {
        String path = file("file");
        Cli.fails(Exit.USAGE, "the empty name is that of no holder", "lease", "set", "", path);
        Cli.fails(Exit.NOT_FOUND, path + ": no lease", "lease", "get", path);
    }

    @Test
    void durationsAreRead() throws Exception {
        String path = file("file");
        Cli.done("lease", "set", "w", path);
        for (String time : List.of("90s", "5m", "1h", "2d", "1h30m", Long.MAX_VALUE + "s")) {
            assertEquals("w\n", Cli.done("lease", "get", "--expire", time, path).text());
        }
        for (String time : List.of("", "5", "x", "1w", "0s-1s")) {
            assertEquals(Exit.USAGE, Cli.run("lease", "get", "--expire", time, path).code, time);
        }
    }

    @Test
    void linksAreAsReadlinkShowsThem() throws Exception {
        Tool.sh("ln -s $'to/\\xff and more' $1/link", dir.toString());
        assertEquals(Tool.raw("readlink", path("link")), Cli.done("link", path("link")).raw());
        for (String path : Tool.lines("find", "/usr/bin", "/etc/alternatives", "-type", "l")) {
            assertEquals(Tool.raw("readlink", path), Cli.done("link", path).raw());
            if (path.hashCode() % 8 != 0) {
                continue; // enough of them in the other form
            }
            assertEquals(Cli.done("link", path).text().trim(), Value.object(
                    Cli.done("link", "--json", path).text().trim()).get("target"));
        }
        assertEquals(Exit.FAILED, Cli.run("link", file("file")).code);
        assertEquals(Exit.NOT_FOUND, Cli.run("link", path("no")).code);
    }

    @Test
    void theEmptyPathIsNotTheCurrentFolder() throws Exception {
        for (String call : new String[] {"touch", "stat", "why", "ls", "link", "lease get", "blocks"}) {
            List<String> words = new java.util.ArrayList<>(List.of(call.split(" ")));
            words.add("");
            Cli.fails(Exit.NOT_FOUND, ": the empty path is that of nothing", words.toArray(new String[0]));
        }
    }

    @Test
    void modesAreSet() throws Exception {
        String path = file("file");
        for (String mode : List.of("0", "7", "644", "0755", "1777", "00000640")) {
            Cli.done("chmod", mode, path);
            assertEquals(Integer.parseInt(mode, 8), Integer.parseInt(
                    Tool.text("stat", "-c", "%a", path).trim(), 8));
        }
        for (String mode : List.of("8", "4755", "u+z", "", "-1", "20000")) {
            assertEquals(Exit.USAGE, Cli.run("chmod", "--", mode, path).code, mode);
        }
        Cli.fails(Exit.DENIED, path + ": Operation not permitted", "chmod", "--as", "nobody", "644", path);
        assertEquals("{\"path\":\"" + path + "\",\"mode\":\"0644\"}\n",
                Cli.done("chmod", "--json", "644", path).text());
    }

    @ParameterizedTest
    @ValueSource(strings = {"755", "0750", "1777", "0", "00755", "000000"})
    void numbersTakeFromDirectoriesWhatThoseOfChmodTake(String mode) throws Exception {
        for (String kind : List.of("mkdir", "touch")) {
            String ours = path(kind + "-ours");
            String theirs = path(kind + "-theirs");
            Tool.sh("$1 \"$2\" \"$3\"; chmod 6711 \"$2\" \"$3\"; chmod \"$4\" \"$3\"", kind, ours, theirs, mode);
            assertEquals(kind.equals("mkdir") && mode.length() < 5 ? Integer.parseInt(mode, 8) | 06000
                    : Integer.parseInt(mode, 8), Integer.parseInt(Tool.text("stat", "-c", "%a", theirs).trim(), 8));
            Cli.done("chmod", mode, ours);
            assertEquals(Tool.text("stat", "-c", "%a", theirs), Tool.text("stat", "-c", "%a", ours), kind);
        }
        Tool.raw("chmod", "02711", path("mkdir-ours"));
        Cli.fails(Exit.DENIED, path("mkdir-ours") + ": Operation not permitted", "chmod", "--as", "nobody", "755",
                path("mkdir-ours"));
        assertEquals("2711\n", Tool.text("stat", "-c", "%a", path("mkdir-ours")));
    }

    @Test
    void timesAreSet() throws Exception {
        String path = file("file");
        Cli.done("touch", "-d", "@86400", path);
        assertEquals("86400 86400\n", Tool.text("stat", "-c", "%X %Y", path));
        Cli.done("touch", "-a", "-d", "2026-01-31T12:00Z", path);
        Cli.done("touch", "-m", "-d", "2026-01-31T12:00:00.5+01:00", path);
        assertEquals("1769860800 1769857200.500000000\n", Tool.text("stat", "-c", "%X %.9Y", path));
        Cli.done("touch", "-d", "2026-01-31", path);
        assertEquals(Tool.text("date", "-d", "2026-01-31", "+%s"), Tool.text("stat", "-c", "%Y", path));
        long before = System.currentTimeMillis() / 1000;
        Cli.done("touch", path);
        assertTrue(Long.parseLong(Tool.text("stat", "-c", "%Y", path).trim()) >= before);
        assertEquals(Exit.USAGE, Cli.run("touch", "-d", "soon", path).code);
        Cli.fails(Exit.NOT_FOUND, path("no") + ": No such file or directory", "touch", path("no"));
        Cli.fails(Exit.DENIED, path + ": Operation not permitted", "touch", "--as", "nobody", path);
    }

    @Test
    void copiesAndFactorsShowInStatusAndBlocks() throws Exception {
        String path = path("blocks");
        Tool.raw("truncate", "-s", "40K", path);
        Cli.done("replication", "--now", "2", path);
        Cli.done("bgf", "4", path);
        Map<String, Object> stat = Value.object(Cli.done("stat", "--json", path).text().trim());
        assertEquals(2L, stat.get("replication"));
        assertEquals(4 * 4096L, stat.get("blockSize"));
        Map<String, Object> blocks = Value.object(Cli.done("blocks", "--json", path).text().trim());
        assertEquals(3, ((List<?>) blocks.get("blocks")).size());
        Map<?, ?> last = (Map<?, ?>) ((List<?>) blocks.get("blocks")).get(2);
        assertEquals(32768L, last.get("offset"));
        assertEquals(8192L, last.get("length"));
        assertEquals(2, ((List<?>) last.get("nodes")).size());
        List<String> drawn = Cli.done("blocks", "--draw", "--form", "fs", path).lines();
        assertEquals(path + ": 10 blocks of 4096 bytes, 2 replicas", drawn.get(0));
        assertEquals(2 * 10, drawn.stream().mapToLong(line -> line.chars().filter(c -> c == '#').count())
                .sum(), drawn.toString());
        List<String> table = Cli.done("blocks", "--form", "fs", "--offset", "8192", "--length", "4096",
                path).lines();
        assertEquals(3, table.size(), table.toString());
        assertTrue(table.get(2).matches(" +8192 +4096  \\d \\d"), table.toString());
        Cli.fails(Exit.USAGE, "1025 is no factor: 1 to 1024", "bgf", "1025", path);
        Cli.fails(Exit.USAGE, path + ": the file system does not take 256 copies", "replication", "256", path);
        Cli.fails(Exit.USAGE, dir + ": only files have a number of copies", "replication", "2", dir.toString());
        assertEquals(Exit.USAGE, Cli.run("replication", "0", path).code);
        assertEquals(Exit.USAGE, Cli.run("bgf", "many", path).code);
        assertEquals(Exit.DENIED, Cli.run("replication", "--as", "nobody", "1", path).code);
    }

    @Test
    void aLongFileIsDrawnInColumns() throws Exception {
        String path = path("long");
        Tool.raw("truncate", "-s", "2M", path);
        List<String> drawn = Cli.done("blocks", "--draw", "--form", "fs", path).lines();
        assertEquals("  NODE  BLOCKS IN FILE ORDER, 8 in a column", drawn.get(1));
        assertTrue(drawn.get(2).matches(" +\\d  [#+.]{64}"), drawn.get(2));
    }
}
