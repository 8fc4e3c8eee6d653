package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Instant;
import java.util.ArrayList;
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

class StatTest extends CliFixture {
    private static final String FIELDS = "%n %F|%i %s %04a %u %g %X %Y %Z";

    @ParameterizedTest
    @ValueSource(strings = {"/usr/bin", "/etc", "/var/lib/dpkg", "/dev", "/run"})
    void filesAreAsStatSaysThem(String tree) throws Exception {
        List<String> paths = Tool.lines("find", tree, "-maxdepth", "2", "-not", "-type", "s", "-not",
                "-name", "* *", "-not", "-path", "/dev/pts*", "-not", "-path", "/dev/fd*");
        paths = new ArrayList<>(paths.subList(0, Math.min(400, paths.size())));
        // Others read and change these files too: an answer is that of before or of after.
        List<String> before = Tool.lines(Tool.with(paths, "stat", "-c", FIELDS));
        List<String> found = Cli.done(Tool.with(paths, "stat", "--json")).lines();
        List<String> after = Tool.lines(Tool.with(paths, "stat", "-c", FIELDS));
        assertEquals(paths.size(), found.size());
        for (int at = 0; at < found.size(); at++) {
            String fields = fields(Value.object(found.get(at)));
            if (!fields.equals(before.get(at))) {
                assertEquals(after.get(at), fields);
            }
        }
    }

    private static String fields(Map<String, Object> stat) {
        String type = (String) stat.get("type");
        long size = (Long) stat.get("size");
        String words = type.equals("file") ? size == 0 ? "regular empty file" : "regular file"
                : type.equals("link") ? "symbolic link"
                : type.endsWith("device") ? type.replace(" device", " special file") : type;
        return String.format("%s %s|%s %s %s %s %s %d %d %d", stat.get("path"), words, stat.get("inode"),
                size, stat.get("mode"), stat.get("uid"), stat.get("gid"), seconds(stat, "accessed"),
                seconds(stat, "modified"), seconds(stat, "changed"));
    }

    private static long seconds(Map<String, Object> stat, String time) {
        return Instant.parse((String) stat.get(time)).getEpochSecond();
    }

    @Test
    void modeTextIsThatOfStatForEveryMode() throws Exception {
        String file = file("file");
        for (int mode = 0; mode <= 07777; mode += 0123) {
            Tool.raw("chmod", Integer.toOctalString(mode), file);
            assertEquals(Tool.text("stat", "-c", "%A %04a", file).trim(), modes(file), file);
        }
        Tool.raw("setfacl", "-m", "u:1:r", file);
        assertTrue(modes(file).contains("+ "), modes(file));
    }

    private static String modes(String file) {
        Map<String, Object> stat = Value.object(Cli.done("stat", "--json", file).text().trim());
        return stat.get("modeText") + " " + stat.get("mode");
    }

    /** tmpfs keeps any time. */
    @Test
    void aYearHasNoSign() throws Exception {
        Path late = Files.createTempFile(Path.of("/dev/shm"), "zolt", "");
        try {
            Tool.raw("touch", "-d", "@253402300800", late.toString());
            assertEquals(Tool.text("stat", "-c", "%y", late.toString()),
                    Cli.done("stat", "-c", "%y", late.toString()).text());
            assertTrue(Cli.done("stat", late.toString()).text().contains("10000-01-01 00:00:00.000000000"));
        } finally {
            Files.delete(late);
        }
    }

    @Test
    void theTextNamesWhatThereIs() throws Exception {
        String file = file("file");
        Cli.done("lease", "set", "writer", file);
        String text = Cli.done("stat", file).text();
        assertTrue(text.startsWith(file + "\n  type      file, 0 bytes, inode "), text);
        assertTrue(text.contains("  mode      -rw-r--r-- (0644)\n"), text);
        assertTrue(text.contains("  owner     root (0), group root (0)\n"), text);
        assertTrue(text.contains("  blocks    of 134217728 bytes, replication 3\n"), text);
        assertTrue(text.contains("  lease     held"), text);
        assertFalse(Cli.done("stat", "/").text().contains("blocks"));
    }

    @Test
    void linksAreFollowedWhenAsked() throws Exception {
        String file = file("file");
        Tool.raw("ln", "-s", "file", path("link"));
        assertEquals("link", Value.object(Cli.done("stat", "--json", path("link")).text().trim())
                .get("type"));
        assertEquals("file", Value.object(Cli.done("stat", "-L", "--json", path("link")).text().trim())
                .get("type"));
        assertTrue(Cli.done("stat", path("link")).text().startsWith(path("link") + " -> file\n"));
        assertEquals("0", Value.object(Cli.done("stat", "--json", file).text().trim()).get("size")
                .toString());
    }

    @Test
    void aUserSeesTheStatusOfWhatHeMayNotOpen() throws Exception {
        String file = file("secret");
        Tool.raw("chmod", "600", file);
        assertEquals(Cli.done("stat", "--json", file).text(),
                Cli.done("stat", "--json", "--as", "nobody", file).text());
        Tool.raw("chmod", "700", dir.toString());
        Cli.fails(Exit.DENIED, file + ": Permission denied", "stat", "--as", "nobody", file);
    }

    @Test
    void reasonsThatDifferGiveTheCommonCode() throws Exception {
        Cli run = Cli.run("stat", path("no"), path("nor"));
        assertEquals(Exit.NOT_FOUND, run.code);
        Tool.raw("ln", "-s", "loop", path("loop"));
        run = Cli.run("stat", "-L", path("no"), path("loop"));
        assertEquals(Exit.FAILED, run.code);
        assertEquals(2, run.err.split("\n").length);
    }

    @ParameterizedTest
    @ValueSource(strings = {"%n %N|%F %s", "%a %A %f %i", "%04a|%8s|%-8s|%08s|%5U|%-7G|", "%u %U %g %G",
        "%y %Y %z %Z", "%.3Y %.9Y %.0Z %.12Y", "100%% %n", "no directive"})
    void formatsAreThoseOfStat(String format) throws Exception {
        Tool.sh("cd \"$1\"; touch empty; echo x >full; mkdir -m 1755 sub; ln -s full link; mkfifo pipe; chmod 7654 full",
                dir.toString());
        List<String> paths = List.of(path("empty"), path("full"), path("sub"), path("link"), path("pipe"), "/dev/null");
        assertEquals(Tool.text(Tool.with(paths, "stat", "-c", format)),
                Cli.done(Tool.with(paths, "stat", "-c", format)).text());
    }

    @Test
    void formatsHaveBlockSizeAndCopies() throws Exception {
        String file = file("file");
        assertEquals("134217728 3\n", Cli.done("stat", "--format=%o %r", file).text());
        for (String wrong : List.of("%q", "%", "%5", "%n %b")) {
            assertEquals(Exit.USAGE, Cli.run("stat", "-c", wrong, file).code, wrong);
        }
    }
}
