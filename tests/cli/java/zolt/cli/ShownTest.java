package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.output.Exit;
import zolt.cli.output.Names;
import zolt.cli.output.Shown;

/** What others have written never reaches a terminal as it is. */
class ShownTest extends CliFixture {
    /** A title, a colour of one byte, a line end, the direction of writing, and what cannot be seen. */
    private static final String HOSTILE = "a\033]0;x\007\u009b5m\n\t\177\u202eb\u2066\u200b\ufeff\u2028c";
    private static final String SHOWN = "a\\033]0;x\\007\\302\\2335m\\012\\011\\177\\342\\200\\256b\\342\\201"
            + "\\246\\342\\200\\213\\357\\273\\277\\342\\200\\250c";

    /** The styles that the command itself gives. */
    private static final String STYLES = "\033\\[(0|1|3[0-9]|1;36)m|\r\033\\[K";

    private String sub;
    private String file;

    @BeforeEach
    void makeHostileFiles() throws Exception {
        sub = path(HOSTILE);
        file = sub + "/" + HOSTILE;
        Tool.sh("mkdir \"$1\" && cd \"$1\" && truncate -s 8K \"$2\" && ln -s \"$2\" link && ln -s \"$2$2\" dangling"
                + " && mkdir deep && touch $'deep/\\xff\\x9b\\xc3'", sub, HOSTILE);
        Tool.raw("setfattr", "-n", "user." + HOSTILE, "-v", HOSTILE, file);
        Tool.raw("setfattr", "-n", "user.lease.holder", "-v", HOSTILE, file);
        Tool.raw("setfattr", "-n", "user.lease.update", "-v", "0x0000000000000000", file);
        Tool.raw("chmod", "700", sub);
    }

    @ParameterizedTest
    @ValueSource(strings = {"ls SUB", "ls -l SUB", "ls -R SUB", "ls -lR SUB", "ls FILE", "ls -l FILE", "ls --json SUB",
        "ls -l --json SUB", "stat FILE SUB/link", "stat --json SUB/link", "link SUB/link", "link --json SUB/link",
        "blocks FILE", "blocks --draw FILE", "blocks --json FILE", "acl get FILE", "acl get --json FILE",
        "xattr list FILE", "xattr list --json FILE", "xattr get user.HOSTILE FILE", "lease get FILE",
        "lease get --json FILE", "lease get -l FILE", "leases SUB", "leases --json SUB", "find SUB", "find --json SUB",
        "du SUB", "du --json SUB", "count SUB", "count --json SUB", "stat --format %n_%o_%N FILE SUB/link",
        "chmod -R 755 SUB", "acl get FILE/no", "why FILE", "why --as nobody FILE", "why --as nobody --json FILE",
        "why --for look SUB/dangling", "doctor FILE", "doctor SUB", "doctor --as nobody SUB", "tour SUB",
        "ls FILE/no", "ls -z FILE", "chmod HOSTILE FILE", "stat SUB/HOSTILEno", "xattr get HOSTILE FILE",
        "lease set HOSTILE FILE", "whoami --as HOSTILE", "acl modify u:HOSTILE:r FILE"})
    void terminalsAreSparedWhatOthersWrote(String call) {
        List<String> arguments = new ArrayList<>();
        for (String word : call.split(" ")) {
            arguments.add(word.replace("FILE", file).replace("SUB", sub).replace("HOSTILE", HOSTILE));
        }
        Cli run = Cli.onTerminal(arguments.toArray(new String[0]));
        assertTrue(run.out.length + run.err.length() > 0, call);
        for (String text : List.of(run.text(), run.err)) {
            assertTrue(!text.contains("\n\t\177"), call);
            // Line ends and tabs stand between columns too.
            text.replaceAll(STYLES, "").codePoints().filter(c -> c != '\n' && c != '\t').forEach(c -> assertTrue(
                    Shown.isPlain(c), () -> call + " shows " + Character.getName(c) + ": " + Shown.line(text)));
        }
    }

    /** Two names that differ in bytes only are told apart, and can be renamed from what is said. */
    @Test
    void messagesHaveTheBytesOfNames() throws Exception {
        String tree = path("tree");
        Tool.sh("mkdir $1; cd $1; touch $'\\xffq' $'\\xfeq' 'back\\377'", tree);
        assertEquals(List.of("zolt: " + tree + "/\\376q: " + Names.UNREACHABLE, "zolt: " + tree + "/\\377q: "
                + Names.UNREACHABLE), Cli.run("count", tree).err.lines().sorted().limit(2).toList());
        Cli.fails(Exit.NOT_FOUND, tree + "/back\\\\378: No such file or directory", "stat", tree + "/back\\378");
        Cli.fails(Exit.FAILED, tree + "/\\377q: " + Names.UNREACHABLE, "stat", tree + "/\udcffq");
        Map<String, Object> error = Value.object(Cli.run("stat", "--json", tree + "/\udcffq").err.trim());
        assertEquals(tree + "/\ufffdq", error.get("path"));
        assertEquals(Base64.getEncoder().encodeToString((tree + "/\u00ffq").getBytes(StandardCharsets.ISO_8859_1)),
                error.get("pathBase64"));
    }

    /** Also within a message: one name has a line end, and the other a backslash and three digits. */
    @Test
    void messagesTellNamesApart() throws Exception {
        Tool.sh("cd \"$1\"; mkdir $'z\nb' 'z\\012b'; touch $'z\nb/f' $'z\nb/\\xff' 'z\\012b/f'; chmod 700 z*;"
                + " chmod 600 z*/*", dir.toString());
        String tree = path("z\nb");
        String other = path("z\\012b");
        for (String call : List.of("why TREE/none", "why --as nobody TREE/f", "why TREE/f", "doctor TREE/none",
                "doctor --as nobody TREE", "acl set --file TREE/none TREE", "find --newer TREE/none /dev/null",
                "xattr get user.TREE TREE", "ls --TREE", "TREE", "whoami TREE", "whoami --as TREE", "chmod TREE /",
                "acl restore TREE/none", "ls --sort TREE", "lease remove TREE/none", "tour TREE")) {
            String[] said = new String[2];
            for (int which = 0; which < said.length; which++) {
                String name = which == 0 ? tree : other;
                Cli run = Cli.run(Stream.of(call.split(" ")).map(word -> word.replace("TREE", name))
                        .toArray(String[]::new));
                said[which] = run.text() + run.err;
                String shown = which == 0 ? "z\\012b" : "z\\\\012b";
                // A command for a shell is one: it has quotes of its own.
                String words = said[which].replaceAll("(permit it|mend): zolt .*", "");
                assertTrue(words.contains(shown), call + ": " + said[which]);
                assertFalse(words.contains(which == 0 ? "z\\\\012b" : "z\\012b"), call + ": " + said[which]);
            }
        }
        assertTrue(Cli.run("tour", tree).lines().stream().anyMatch(line -> line.matches("  file +[0-9]+  \\\\377")));
    }

    @Test
    void namesStandThereByteByByte() {
        assertEquals(SHOWN, Shown.name(HOSTILE));
        byte[] bytes = HOSTILE.getBytes(StandardCharsets.UTF_8);
        assertEquals(SHOWN, Shown.name(bytes, bytes.length));
        assertEquals("\\377\\303", Shown.name(new byte[] {-1, (byte) 0xc3}, 2));
        assertEquals("\\377", Shown.name("\udcff"));
        assertEquals("a\\\\b", Shown.name("a\\b"));
        assertEquals("a\\b", Shown.line("a\\b"));
        for (String unseen : List.of("\u00a0", "\u3000", "\u034f", "\u115f", "\u3164", "\uffa0", "\ufe0f", "\u2800",
                "\udb40\udd00")) {
            assertTrue(Shown.name("report" + unseen).matches("report(\\\\[0-7]{3})+"), Shown.name(unseen));
        }
        for (String plain : List.of("a b", "ümlaut", "\ud83d\ude00", "\u06cc\u200c\u062e", "\u0915\u200d")) {
            assertEquals(plain, Shown.name(plain));
        }
    }

    @Test
    void pipesGetTheBytes() throws Exception {
        assertEquals(Tool.raw("ls", "-AU1", sub), Cli.done("ls", sub).raw());
        assertEquals(Tool.raw("readlink", sub + "/link"), Cli.done("link", sub + "/link").raw());
        assertEquals(HOSTILE, Value.object(Cli.done("lease", "get", "--json", file).text().trim()).get("holder"));
    }

    @Test
    void aRemedyIsWhatAShellReads() throws Exception {
        List<String> lines = Cli.run("why", "--as", "nobody", file).lines();
        Tool.sh("out=$2; zolt() { printf %s \"$4\" >\"$out\"; }; eval \"$1\"",
                lines.get(1).replaceFirst("^ *to permit it: ", ""), path("said"));
        assertEquals(sub, Tool.text("cat", path("said")));
    }
}
