package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.InputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;

/** A run of the command in this virtual machine: what it printed, and its exit code. */
final class Cli {
    final int code;
    final byte[] out;
    final String err;

    private Cli(int code, byte[] out, String err) {
        this.code = code;
        this.out = out;
        this.err = err;
    }

    static Cli run(String... arguments) {
        return run("", arguments);
    }

    /** A run as a person sees it, with both streams on a terminal. */
    static Cli onTerminal(String... arguments) {
        return run("oe", arguments);
    }

    /** A run with bytes, one a character, on standard input. */
    static Cli fed(String input, String... arguments) {
        return run("", new ByteArrayInputStream(input.getBytes(StandardCharsets.ISO_8859_1)), arguments);
    }

    private static Cli run(String terminals, String[] arguments) {
        return run(terminals, InputStream.nullInputStream(), arguments);
    }

    private static Cli run(String terminals, InputStream in, String[] arguments) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        ByteArrayOutputStream err = new ByteArrayOutputStream();
        Session session = new Session(out, new PrintStream(err, true, StandardCharsets.UTF_8), terminals);
        session.in = in;
        int code = Zolt.run(arguments, session);
        return new Cli(code, out.toByteArray(), err.toString(StandardCharsets.UTF_8));
    }

    /** A run that must succeed and say nothing on standard error. */
    static Cli done(String... arguments) {
        Cli run = run(arguments);
        assertEquals("", run.err, String.join(" ", arguments));
        assertEquals(Exit.OK, run.code, String.join(" ", arguments));
        return run;
    }

    /** A run that must fail with a code and exactly one line. */
    static Cli fails(int code, String line, String... arguments) {
        Cli run = run(arguments);
        assertEquals("zolt: " + line + "\n", run.err, String.join(" ", arguments));
        assertEquals(code, run.code, String.join(" ", arguments));
        return run;
    }

    String text() {
        return new String(out, StandardCharsets.UTF_8);
    }

    /** The bytes as characters, one each: names are not always text. */
    String raw() {
        return new String(out, StandardCharsets.ISO_8859_1);
    }

    List<String> lines() {
        return text().isEmpty() ? List.of() : Arrays.asList(text().split("\n"));
    }
}
