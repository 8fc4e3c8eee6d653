package zolt.cli.doctor;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;

class DoctorTest extends CliFixture {
    private static Map<String, Map<String, Object>> findings(Cli run) {
        Map<String, Map<String, Object>> findings = new LinkedHashMap<>();
        for (String line : run.lines()) {
            Map<String, Object> finding = Value.object(line);
            findings.put((String) finding.get("check"), finding);
            boolean mended = !finding.get("verdict").equals("ok");
            assertEquals(mended, finding.get("mend") != null, line);
        }
        return findings;
    }

    @Test
    void aGoodPlaceIsFoundGoodAndLeftAsItWas() throws Exception {
        Map<String, Map<String, Object>> found =
                findings(Cli.done("doctor", "--json", dir.toString()));
        for (String check : List.of("library", "libacl", "identity", "nobody", "superuser", "log level",
                "status", "mount", "listing", "attributes", "ACLs", "leases", "blocks",
                "clocks", "default ACLs", "groups")) {
            assertNotNull(found.get(check), check);
            assertEquals("ok", found.get(check).get("verdict"), found.get(check).toString());
        }
        assertEquals("warn", found.get("client").get("verdict"), "the embedded client is one to know of");
        assertEquals("", Tool.raw("ls", "-A", dir.toString()));
        assertTrue(found.get("library").get("found").toString().endsWith(", version 1.0.0"));
    }

    @Test
    void aFileSystemWithoutAttributesFails() {
        Cli run = Cli.run("doctor", "--json", "/proc");
        assertEquals("fail", findings(run).get("writing").get("verdict"));
        assertEquals(Exit.FAILED, run.code);
        assertFalse(run.text().contains("zolt why"), "nothing refuses there: " + run.text());
        run = Cli.run("doctor", "--json", path("no"));
        assertEquals(Exit.FAILED, run.code);
        assertEquals("fail", findings(run).get("status").get("verdict"));
    }

    /** The kernel has made it immutable, and chattr(1) cannot change that. */
    @Test
    void whatProcKeepsFromEveryoneIsNotToBeMended() {
        Cli run = Cli.run("doctor", "--json", "/proc/self");
        Map<String, Object> writing = findings(run).get("writing");
        assertEquals("fail", writing.get("verdict"));
        assertEquals("name a directory in which the kernel lets this process make files", writing.get("mend"));
        run = Cli.run("why", "--for", "w", "--json", "/proc/self");
        Map<String, Object> why = Value.object(run.text().trim());
        assertEquals("file_system", why.get("reason"));
        assertEquals(null, why.get("remedy"));
        assertEquals(Exit.DENIED, run.code);
    }

    @Test
    void aPlaceThatIsNotOnesOwnIsNotTried() throws Exception {
        Map<String, Map<String, Object>> found =
                findings(Cli.done("doctor", "--as", "nobody", "--json", dir.toString()));
        assertEquals("warn", found.get("writing").get("verdict"));
        assertEquals("zolt why --as nobody --for w " + dir, found.get("writing").get("mend"));
        assertEquals(null, found.get("attributes"));
        assertEquals(null, found.get("capabilities"), "they are the command's, and not those of nobody");
        String file = file("file");
        assertEquals(Exit.FAILED, Cli.run("doctor", file).code);
        assertTrue(Files.exists(dir.resolve("file")));
    }

    /** What is mounted a second time lies where it is mounted then. */
    @Test
    void aMountOfAFolderIsNamed() throws Exception {
        String bound = Files.createDirectory(dir.resolve("bou nd")).toString();
        Assumptions.assumeTrue(new ProcessBuilder("sh", "-c", "mkdir \"$1/of\" && mount --bind \"$1/of\" \"$1/bou nd\"",
                "sh", dir.toString()).start().waitFor() == 0, "this process may not mount");
        try {
            assertTrue(findings(Cli.done("doctor", "--json", bound)).get("mount").get("found").toString()
                    .startsWith(bound + " ("));
            assertTrue(Cli.done("tour", bound).text().contains(" on " + bound + " type "));
            Tool.raw("mount", "-o", "remount,bind,ro", bound);
            Map<String, Object> mount = findings(Cli.run("doctor", "--json", bound)).get("mount");
            assertEquals("fail", mount.get("verdict"));
            assertTrue(mount.get("found").toString().endsWith(" is mounted read-only"), mount.toString());
        } finally {
            Tool.raw("umount", bound);
        }
    }

    /** Nor can anything be made in what is mounted and was removed. */
    @Test
    void aMountOfWhatWasRemovedFails() throws Exception {
        String bound = Files.createDirectory(dir.resolve("bound")).toString();
        Assumptions.assumeTrue(new ProcessBuilder("sh", "-c", "mkdir \"$1/of\" && mount --bind \"$1/of\" \"$1/bound\""
                + " && rmdir \"$1/of\"", "sh", dir.toString()).start().waitFor() == 0, "this process may not mount");
        try {
            Map<String, Map<String, Object>> found = findings(Cli.run("doctor", "--json", bound));
            assertEquals("umount it, and mount one that is there", found.get("mount").get("mend"));
            assertEquals("fail", found.get("writing").get("verdict"));
        } finally {
            Tool.raw("umount", bound);
        }
    }

    /** What a file system does not keep is no matter of how it is mounted. */
    @Test
    void aTypeWithoutAttributesIsNamed() throws Exception {
        String place = Files.createDirectory(dir.resolve("ram")).toString();
        Assumptions.assumeTrue(new ProcessBuilder("mount", "-t", "ramfs", "none", place).start().waitFor() == 0,
                "this process may not mount");
        try {
            Map<String, Map<String, Object>> found = findings(Cli.run("doctor", "--json", place));
            for (String check : List.of("attributes", "ACLs", "leases", "blocks")) {
                assertEquals("ramfs keeps none here: use another file system, such as ext4 or xfs",
                        found.get(check).get("mend"), check);
            }
        } finally {
            Tool.raw("umount", place);
        }
    }

    @Test
    void aFileSystemThatIsFullFails() throws Exception {
        Map<String, String> kinds = Map.of("size=4k", "no space is left on ", "nr_inodes=1",
                "no inodes are left \\([0-9]+ bytes of space are\\) on ");
        for (Map.Entry<String, String> kind : kinds.entrySet()) {
            String full = dir.resolve("full").toString();
            Assumptions.assumeTrue(new ProcessBuilder("sh", "-c", "mkdir -p \"$1\" && mount -t tmpfs -o \"$2\" none"
                    + " \"$1\" && { head -c 8192 /dev/zero >\"$1/fill\"; :; } 2>/dev/null", "sh", full, kind.getKey())
                    .start().waitFor() == 0, "this process may not mount");
            try {
                Cli run = Cli.run("doctor", "--json", full);
                Map<String, Object> writing = findings(run).get("writing");
                assertEquals("fail", writing.get("verdict"));
                assertTrue(writing.get("found").toString().matches(".*" + full + ".*: " + kind.getValue() + full + ".*"),
                        writing.toString());
                assertEquals(Shortage.MEND, writing.get("mend"));
                assertEquals(Exit.FAILED, run.code);
            } finally {
                Tool.raw("umount", full);
            }
        }
        assertEquals("the quota of this user is used up",
                Shortage.of(new FileSystemException("/f", null, "Disk quota exceeded"), "/"));
        assertEquals("the quota of this user is used up",
                Shortage.of(new IOException("Disk quota exceeded: setxattr failed for user.a"), "/"));
    }

    @Test
    void aRunningServiceIsExamined() throws Exception {
        long self = ProcessHandle.current().pid();
        Map<String, Map<String, Object>> found = findings(Cli.run("doctor", "--json", "--pid", String.valueOf(self)));
        assertTrue(found.get("libzolthadoop").get("found").toString().endsWith("/libzolthadoop.so.1.0.0"));
        for (String check : List.of("process", "libacl", "groups")) {
            assertEquals("ok", found.get(check).get("verdict"), found.get(check).toString());
        }
        assertEquals("warn", found.get("libzolt").get("verdict"), "the embedded client is one to know of");
        assertTrue(found.get("open files").get("found").toString().matches("[0-9]+ of up to .*"));

        Cli.fails(Exit.NOT_FOUND, "4194305: no such process", "doctor", "--pid", "4194305"); // more than there may be
        // Its parent, which becomes another program, does not know of it.
        Process parent = new ProcessBuilder("sh", "-c", "sleep 0.2 & echo $!; exec sleep 60").start();
        try {
            String zombie = parent.inputReader().readLine();
            while (!Tool.text("cat", "/proc/" + zombie + "/status").contains("State:\tZ")) {
                Thread.onSpinWait();
            }
            Cli.fails(Exit.NOT_FOUND, zombie + ": this process has ended, and its parent has not asked for its exit code"
                    + " (a zombie)", "doctor", "--pid", zombie);
        } finally {
            parent.destroy();
        }
    }

    @Test
    void peopleSeeColumnsAndHowToMend() {
        String text = Cli.done("doctor").text();
        assertTrue(text.contains("ok   libacl           /"), text);
        assertTrue(text.contains("warn client           /"), text);
        assertTrue(text.contains("\n                      mend: "), text);
    }
}
