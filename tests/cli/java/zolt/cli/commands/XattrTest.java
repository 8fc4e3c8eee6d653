package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;

class XattrTest extends CliFixture {
    private static final long SEED = 7;

    private String withValues() throws Exception {
        String path = file("file");
        Random random = new Random(SEED);
        for (int each = 0; each < 40; each++) {
            byte[] value = new byte[random.nextInt(40)];
            random.nextBytes(value);
            for (int at = 0; each % 4 != 0 && at < value.length; at++) {
                value[at] = at % 9 == 8 && each % 4 == 1 ? value[at]
                        : (byte) (' ' + random.nextInt('~' - ' ' + 1));
            }
            if (each % 7 == 0 && value.length > 0) {
                value[value.length - 1] = 0;
            }
            Tool.raw("setfattr", "-n", "user.n" + each, "-v", ValueForm.line(ValueForm.hex, "", value)
                    .substring(1), path);
        }
        Tool.raw("setfattr", "-n", "security.t", "-v", "x", path);
        Tool.raw("setfacl", "-m", "u:1:r", path);
        return path;
    }

    private static List<String> sorted(String lines) {
        List<String> list = Arrays.asList(lines.split("\n"));
        list.sort(null);
        return list;
    }

    @Test
    void listsAreThoseOfGetfattr() throws Exception {
        String path = withValues();
        assertEquals(sorted(Tool.raw("getfattr", "--absolute-names", "-d", "-m", "-", path)),
                sorted(Cli.done("xattr", "list", path).raw()));
    }

    /** Two names that are no UTF-8 stay two, in JSON (I-JSON, RFC 7493: no lone surrogates) and in a pipe. */
    @Test
    void namesThatAreNoTextAreWhole() throws Exception {
        String path = file("file");
        Tool.sh("setfattr -n $'user.a\\xff' -v 1 $1; setfattr -n $'user.a\\xfe' -v 2 $1; setfattr -n user.b -v 3 $1", path);
        String line = Cli.done("xattr", "list", "--json", path).text();
        assertEquals("{\"path\":\"" + path + "\",\"attributes\":{\"user.b\":\"3\"},\"attributesBase64\":"
                + "{\"dXNlci5h/g==\":\"Mg==\",\"dXNlci5h/w==\":\"MQ==\"}}\n", line);
        assertEquals(Map.of("user.b", "3"), Value.object(Cli.done("xattr", "list", "--json", path).text().trim())
                .get("attributes"));
        String raw = Cli.done("xattr", "list", path).raw();
        assertTrue(raw.contains("user.a\u00ff=\"1\"\n") && raw.contains("user.a\u00fe=\"2\"\n"), raw);
    }

    @ParameterizedTest
    @EnumSource(ValueForm.class)
    void formsAreThoseOfGetfattr(ValueForm form) throws Exception {
        String path = withValues();
        assertEquals(sorted(Tool.raw("getfattr", "--absolute-names", "-d", "-m", "-", "-e", form.name(),
                path)), sorted(Cli.done("xattr", "list", "-e", form.name(), path).raw()));
        assertEquals(Tool.raw("getfattr", "--absolute-names", "-n", "user.n5", "-e", form.name(), path),
                Cli.done("xattr", "get", "-e", form.name(), "user.n5", path).raw());
    }

    @ParameterizedTest
    @EnumSource(value = ValueForm.class, names = {"hex", "base64"})
    void whatIsShownCanBeSet(ValueForm form) throws Exception {
        String from = withValues();
        String to = file("to");
        for (String line : Cli.done("xattr", "list", "-e", form.name(), from).lines()) {
            if (line.startsWith("user.")) {
                int equals = line.indexOf('=');
                Cli.done("xattr", "set", line.substring(0, equals), line.substring(equals + 1), to);
            }
        }
        String shown = Tool.raw("getfattr", "--absolute-names", "-d", "-e", form.name(), from);
        assertEquals(shown.replace(from, to),
                Tool.raw("getfattr", "--absolute-names", "-d", "-e", form.name(), to));
    }

    @Test
    void textThatIsShownCanBeSet() throws Exception {
        String path = file("file");
        String value = "\"grün\" \\ and\nmore";
        Cli.done("xattr", "set", "user.a", value, path);
        String shown = Cli.done("xattr", "get", "-e", "text", "user.a", path).lines().get(1);
        assertEquals("user.a=\"\\\"grün\\\" \\\\ and\\012more\"", shown);
        Cli.done("xattr", "set", "user.b", shown.substring("user.a=".length()), path);
        assertEquals(value, Cli.done("xattr", "get", "--raw", "user.b", path).text());
    }

    @Test
    void rawValuesAndJsonAreExact() throws Exception {
        String path = file("file");
        Cli.done("xattr", "set", "-e", "hex", "user.b", "00ff0a", path);
        assertArrayEquals(new byte[] {0, -1, 10}, Cli.done("xattr", "get", "--raw", "user.b", path).out);
        Map<String, Object> all = Value.object(Cli.done("xattr", "list", "--json", path).text().trim());
        assertEquals("AP8K", ((Map<?, ?>) all.get("attributes")).get("user.bBase64"));
        Cli.done("xattr", "set", "user.t", "grün", path);
        assertEquals("grün", Value.object(Cli.done("xattr", "get", "--json", "user.t", path).text()
                .trim()).get("value"));
        assertEquals("grün", new String(Cli.done("xattr", "get", "--raw", "user.t", path).out,
                StandardCharsets.UTF_8));
    }

    @Test
    void codesTellWhatThereWas() throws Exception {
        String path = file("file");
        Cli.fails(Exit.NOT_FOUND, path + ": user.a: no such attribute", "xattr", "get", "user.a", path);
        Cli.done("xattr", "set", "--create", "user.a", "1", path);
        Cli.fails(Exit.EXISTS, path + ": File exists: user.a already exists", "xattr", "set", "--create",
                "user.a", "2", path);
        Cli.done("xattr", "set", "--replace", "user.a", "3", path);
        Cli.done("xattr", "remove", "user.a", path);
        assertEquals(Exit.NOT_FOUND, Cli.run("xattr", "remove", "user.a", path).code);
        assertEquals(Exit.NOT_FOUND, Cli.run("xattr", "set", "--replace", "user.a", "3", path).code);
        assertEquals("", Cli.done("xattr", "list", path).text());
        assertEquals(Exit.USAGE, Cli.run("xattr", "set", "user.a", "0x0", path).code);
        assertEquals(Exit.USAGE, Cli.run("xattr", "set", "-e", "base64", "user.a", "=", path).code);
        assertEquals(Exit.USAGE, Cli.run("xattr", "set", "-e", "rot13", "user.a", "=", path).code);
        for (String name : new String[] {"colour", ".colour", "user.", ""}) {
            String line = name + " is no name of an attribute: it begins with a namespace, as user.colour does";
            Cli.fails(Exit.USAGE, line, "xattr", "get", name, path);
            Cli.fails(Exit.USAGE, line, "xattr", "set", name, "1", path);
            Cli.fails(Exit.USAGE, line, "xattr", "remove", name, path);
        }
        for (String name : new String[] {"user.lease.holder", "user.lease.update"}) {
            String line = name + " belongs to the lease of the file: see zolt lease";
            Cli.fails(Exit.USAGE, line, "xattr", "get", name, path);
            Cli.fails(Exit.USAGE, line, "xattr", "set", name, "1", path);
            Cli.fails(Exit.USAGE, line, "xattr", "remove", name, path);
        }
        assertEquals(Exit.USAGE, Cli.run("xattr", "set", "--create", "--replace", "user.a", "1", path)
                .code);
        Cli.fails(Exit.DENIED, path + ": Permission denied: setxattr failed for user.a", "xattr", "set",
                "--as", "nobody", "user.a", "1", path);
    }
}
