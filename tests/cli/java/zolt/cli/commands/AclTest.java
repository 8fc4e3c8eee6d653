package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Random;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;
import zolt.fs.AclEntry;

class AclTest extends CliFixture {
    private static final String[] IDS = {"0", "1", "2", "3", "13", "65534", "70000", "4000000000"};
    private static final long SEED = 20261121;

    @ParameterizedTest
    @ValueSource(strings = {"/usr/bin", "/var", "/etc", "/usr/lib"})
    void listsAreAsGetfaclShowsThem(String tree) throws Exception {
        List<String> paths = Tool.lines("find", tree, "-maxdepth", "2", "-not", "-type", "l", "-not",
                "-name", "*[[:space:]]*");
        paths = paths.subList(0, Math.min(200, paths.size()));
        assertEquals(Tool.text(Tool.with(paths, "getfacl", "-p", "-E")).replaceAll("\t+#eff.*", ""),
                Cli.done(Tool.with(paths, "acl", "get")).text().replaceAll("\t+#eff.*", ""));
    }

    @Test
    void generatedListsAreAsGetfaclShowsThem() throws Exception {
        Random random = new Random(SEED);
        for (int round = 0; round < 25; round++) {
            String path = Files.createDirectory(dir.resolve("d" + round)).toString();
            Tool.raw("setfacl", "-m", entries(random, true), path);
            Tool.raw("chmod", random.nextInt(8) + "" + random.nextInt(8) + random.nextInt(8)
                    + random.nextInt(8), path);
            assertEquals(Tool.text("getfacl", "-p", path), Cli.done("acl", "get", path).text());
            assertEquals(Tool.text("getfacl", "-pn", path), Cli.done("acl", "get", "-n", path).text());
            assertEquals(Tool.text("getfacl", "-pd", path), Cli.done("acl", "get", "-d", path).text()
                    .replace("default:", ""));
        }
    }

    private static String entries(Random random, boolean withDefault) {
        StringBuilder text = new StringBuilder();
        for (int count = 1 + random.nextInt(5); count > 0; count--) {
            text.append(text.length() == 0 ? "" : ",")
                    .append(withDefault && random.nextInt(3) == 0 ? "d:" : "")
                    .append("ug".charAt(random.nextInt(2))).append(':')
                    .append(IDS[random.nextInt(IDS.length)]).append(':').append(random.nextInt(8));
        }
        return text.append(random.nextBoolean() ? ",m::" + random.nextInt(8) : "").toString();
    }

    @Test
    void changesAreThoseOfSetfacl() throws Exception {
        Random random = new Random(SEED + 1);
        String ours = Files.createDirectory(dir.resolve("ours")).toString();
        String theirs = Files.createDirectory(dir.resolve("theirs")).toString();
        for (int round = 0; round < 15; round++) {
            String all = "u::" + random.nextInt(8) + ",g::" + random.nextInt(8) + ",o::"
                    + random.nextInt(8) + ",m::" + random.nextInt(8) + ",u:2:" + random.nextInt(8);
            Cli.done("acl", "set", all, ours);
            Tool.raw("setfacl", "--set", all, theirs);
            same(ours, theirs);
            String some = "u:" + IDS[random.nextInt(5)] + ":" + random.nextInt(8) + ",m::"
                    + random.nextInt(8);
            Cli.done("acl", "modify", some, ours);
            Tool.raw("setfacl", "-n", "-m", some, theirs);
            same(ours, theirs);
            Cli.done("acl", "modify", "-d", all, ours);
            Tool.raw("setfacl", "-n", "-d", "-m", all, theirs);
            same(ours, theirs);
            for (String key : new String[] {"d:u:1", "u:2,d:u:2", "g:3"}) {
                Cli.done("acl", "remove", key, ours);
                Tool.raw("setfacl", "-x", key, theirs);
                same(ours, theirs);
            }
            Cli.done(round % 2 == 0 ? List.of("acl", "clear", "-d", ours).toArray(new String[0])
                    : List.of("acl", "clear", ours).toArray(new String[0]));
            Tool.raw("setfacl", round % 2 == 0 ? "-k" : "-b", theirs);
            same(ours, theirs);
        }
    }

    /** The mask itself, entries of the mode, lists that are not there: the same results, and failures. */
    @Test
    void removalsAreThoseOfSetfacl() throws Exception {
        for (String made : new String[] {"u:1:rwx,u:2:r,m::r", "u:1:rwx,m::r,d:u:1:w,d:g:2:r,d:m::x", "m::w", "u::6"}) {
            for (String keys : new String[] {"u:1", "u:7", "u:1,u:2", "m", "u:1,u:2,m", "u:1,m", "u::", "d:u:1",
                "d:m", "d:u:1,d:g:2,d:m", "d:u::", "d:u::,d:g::,d:o::,d:m,d:u:1,d:g:2", "d:u:7,u:1"}) {
                for (boolean directory : new boolean[] {true, false}) {
                    if (!directory && made.contains("d:")) {
                        continue;
                    }
                    String ours = path("ours");
                    String theirs = path("theirs");
                    String make = directory ? "mkdir -m 750" : "install -m 640 /dev/null";
                    Tool.sh("rm -rf \"$1\" \"$2\"; for each; do " + make + " \"$each\"; setfacl -n -m " + made
                            + " \"$each\"; done", ours, theirs);
                    boolean done = Tool.sh("setfacl -x " + keys + " \"$1\" 2>/dev/null && echo yes || true",
                            theirs).equals("yes\n");
                    assertEquals(done, Cli.run("acl", "remove", keys, ours).code == Exit.OK, made + " " + keys);
                    same(ours, theirs);
                }
            }
        }
    }

    /** What the mask has taken from the owning group is not given back. */
    @Test
    void clearingGivesNobodyARight() throws Exception {
        String file = file("file");
        for (int group = 0; group < 8; group++) {
            for (int mask = 0; mask < 8; mask++) {
                Tool.raw("setfacl", "-n", "-m", "u:1:rwx,g::" + group + ",m::" + mask, file);
                Cli.done("acl", "clear", file);
                assertEquals("user::rw-\ngroup::" + AclEntry.letters(group & mask) + "\nother::r--\n\n",
                        Tool.text("getfacl", "-cp", file));
            }
        }
    }

    /** As setfacl(1) refuses it; of a default list it takes the rest from the mode, as setfacl does. */
    @Test
    void aListThatIsSetIsWhole() throws Exception {
        String file = file("file");
        for (String part : new String[] {"u:1:r", "u::rw,g::r", "g::r,o::-,u:1:r,m::r"}) {
            Cli.fails(Exit.USAGE, file + ": a whole list has u::, g:: and o:: (zolt acl modify keeps the others)", "acl",
                    "set", part, file);
            assertEquals("no", Tool.sh("setfacl --set $1 $2 2>/dev/null || printf no", part, file));
        }
        String ours = Files.createDirectory(dir.resolve("ours")).toString();
        String theirs = Files.createDirectory(dir.resolve("theirs")).toString();
        Cli.done("acl", "set", "d:u:1:r", ours);
        Tool.raw("setfacl", "--set", "d:u:1:r", theirs);
        same(ours, theirs);
    }

    @Test
    void onlyDirectoriesHaveDefaultLists() throws Exception {
        String file = file("file");
        for (String verb : new String[] {"modify", "set"}) {
            Cli.fails(Exit.FAILED, file + ": only directories have default lists", "acl", verb,
                    "u::rw,g::r,o::r,u:1:r,d:u:1:r", file);
        }
        assertEquals("-rw-r--r--", Tool.text("stat", "-c", "%A", file).trim());
        Cli.done("acl", "remove", "d:u:1", file);
    }

    /** The kernel takes set-group-id from a directory whose list is written from outside its group. */
    @Test
    void aListThatStaysIsNotWritten() throws Exception {
        String shared = path("shared");
        Tool.sh("chmod 755 $1; mkdir $2; chown nobody $2; chmod 2775 $2", dir.toString(), shared);
        String lists = file("lists");
        Files.writeString(Path.of(lists), Cli.done("acl", "get", shared).text());
        for (String[] each : new String[][] {{"modify", "u::rwx", shared}, {"modify", "g::rwx,o::rx", shared},
            {"set", "u::rwx,g::rwx,o::rx", shared}, {"remove", "u:2", shared}, {"clear", shared},
            {"restore", lists}}) {
            List<String> words = new ArrayList<>(List.of("acl", each[0], "--as", "nobody"));
            words.addAll(List.of(each).subList(1, each.length));
            Cli.done(words.toArray(new String[0]));
            assertEquals("2775", Tool.text("stat", "-c", "%a", shared).trim(), words.toString());
        }
        Tool.sh("sed -i s/other::r-x/other::---/ $1", lists);
        Cli run = Cli.run("acl", "restore", "--as", "nobody", lists);
        assertEquals("zolt: " + shared + ": the flags -s- are not permitted\nzolt: 0 restored\n", run.err);
        assertEquals(Exit.DENIED, run.code);
    }

    @Test
    void whereNoListsAreKeptTheModeIsShown() throws Exception {
        String place = Files.createDirectory(dir.resolve("ram")).toString();
        Assumptions.assumeTrue(new ProcessBuilder("mount", "-t", "ramfs", "none", place).start().waitFor() == 0,
                "this process may not mount");
        try {
            Tool.sh("install -m 640 /dev/null $1/file", place);
            assertEquals(Tool.text("getfacl", "-p", place + "/file"), Cli.done("acl", "get", place + "/file").text());
            Cli.fails(Exit.FAILED, place + "/file: Operation not supported", "acl", "modify", "u:2:r", place + "/file");
        } finally {
            Tool.raw("umount", place);
        }
    }

    private static void same(String ours, String theirs) throws Exception {
        assertEquals(Tool.text("getfacl", "-cpn", theirs), Tool.text("getfacl", "-cpn", ours));
    }

    @Test
    void headersQuoteNames() throws Exception {
        String path = file("line\nend\\back blank");
        assertEquals(Tool.text("getfacl", "-p", path), Cli.done("acl", "get", path).text());
    }

    @Test
    void jsonHasEntriesAndWhatTheMaskLeaves() throws Exception {
        String path = file("file");
        Tool.raw("setfacl", "-m", "u:nobody:rwx,m::r", path);
        Map<String, Object> acl = Value.object(Cli.done("acl", "get", "--json", path).text().trim());
        assertTrue(((List<?>) acl.get("entries")).get(1).equals(Map.of("scope", "access", "type", "user",
                "name", "nobody", "id", 65534L, "permissions", "rwx", "effective", "r--")),
                acl.toString());
        assertTrue(Cli.done("acl", "modify", "--json", "u:1:r", path).text().contains("user:daemon:r--"));
    }

    /** Entries behind the name of one file are not taken for those of another. */
    @Test
    void eachFileOfARestoreHasItsEnd() throws Exception {
        String list = path("list");
        Tool.sh("cd $1; install -m 600 /dev/null a; install -m 600 /dev/null b", dir.toString());
        Files.writeString(Path.of(list), "# file: " + path("a") + "\nuser:bin:rw-\n# file: " + path("b")
                + "\nuser::rw-\ngroup::r--\nmask::rw-\nother::r--\n");
        Cli.fails(Exit.USAGE, list + ": line 3 begins with another file: an empty line is to end what is said of "
                + path("a"), "acl", "restore", list);
        assertEquals("-rw-------\n-rw-------\n", Tool.text("stat", "-c", "%A", path("a"), path("b")));
    }

    @Test
    void filesOfEntriesThatCannotBeReadAreNamedWithTheReason() throws Exception {
        String list = file("list");
        Tool.raw("chmod", "600", list);
        for (String[] each : new String[][] {{list, "Permission denied", "nobody"},
            {path("no"), "No such file or directory", "root"}}) {
            int code = each[2].equals("root") ? Exit.NOT_FOUND : Exit.DENIED;
            Cli.fails(code, each[0] + ": " + each[1], "acl", "restore", "--as", each[2], each[0]);
            Cli.fails(code, each[0] + ": " + each[1], "acl", "set", "--as", each[2], "--file", each[0], list);
        }
    }

    @Test
    void whatIsWrongIsSaidInOneLine() throws Exception {
        String path = file("file");
        assertEquals(Exit.USAGE, Cli.run("acl", "modify", "u:nobody:rwz", path).code);
        assertEquals(Exit.USAGE, Cli.run("acl", "remove", "u:nobody:r", path).code);
        Cli.fails(Exit.NOT_FOUND, "u:no-such-user:r: unknown user or group", "acl", "modify",
                "u:no-such-user:r", path);
        Cli.fails(Exit.NOT_FOUND, path("no") + ": No such file or directory", "acl", "get", path("no"));
        Cli.fails(Exit.DENIED, path + ": Operation not permitted", "acl", "modify", "--as", "nobody",
                "u:1:r", path);
        Cli.fails(Exit.USAGE, "Missing command: one of get, set, modify, remove, clear, restore (see zolt acl"
                + " --help)", "acl");
    }
}
