package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;

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
                "status", "mount", "listing", "attributes", "ACLs", "leases", "blocks")) {
            assertNotNull(found.get(check), check);
            assertEquals("ok", found.get(check).get("verdict"), found.get(check).toString());
        }
        assertEquals("warn", found.get("client").get("verdict"), "the embedded client is one to know of");
        assertEquals("", Tool.raw("ls", "-A", dir.toString()));
        assertTrue(found.get("library").get("found").toString().endsWith(", version 1.0.0"));
    }

    @Test
    void aFileSystemWithoutAttributesFails() {
        Cli run = Cli.run("doctor", "--json", "/proc/self");
        assertEquals("warn", findings(run).get("writing").get("verdict"));
        run = Cli.run("doctor", "--json", path("no"));
        assertEquals(Exit.FAILED, run.code);
        assertEquals("fail", findings(run).get("status").get("verdict"));
    }

    @Test
    void aPlaceThatIsNotOnesOwnIsNotTried() throws Exception {
        Map<String, Map<String, Object>> found =
                findings(Cli.done("doctor", "--as", "nobody", "--json", dir.toString()));
        assertEquals("warn", found.get("writing").get("verdict"));
        assertEquals(null, found.get("attributes"));
        String file = file("file");
        assertEquals(Exit.FAILED, Cli.run("doctor", file).code);
        assertTrue(Files.exists(dir.resolve("file")));
    }

    @Test
    void peopleSeeColumnsAndHowToMend() {
        String text = Cli.done("doctor").text();
        assertTrue(text.contains("ok   libacl           /"), text);
        assertTrue(text.contains("warn client           /"), text);
        assertTrue(text.contains("\n                      mend: "), text);
    }
}
