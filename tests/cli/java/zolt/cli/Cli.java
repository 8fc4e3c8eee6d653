package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.InputStream;
import java.io.PrintStream;
import java.io.SequenceInputStream;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;
import java.util.function.Function;
import zolt.cli.output.Exit;
import zolt.cli.output.Session;

/** A run of the command in this virtual machine: what it printed, and its exit code. */
public final class Cli {
    public final int code;
    public final byte[] out;
    public final String err;

    private Cli(int code, byte[] out, String err) {
        this.code = code;
        this.out = out;
        this.err = err;
    }

    public static Cli run(String... arguments) {
        return run("", arguments);
    }

    /** A run as a person sees it, with both streams on a terminal. */
    public static Cli onTerminal(String... arguments) {
        return run("oe", arguments);
    }

    /** A run with bytes, one a character, on standard input. */
    public static Cli fed(String input, String... arguments) {
        return run("", unused -> new ByteArrayInputStream(input.getBytes(StandardCharsets.ISO_8859_1)), arguments);
    }

    private static Cli run(String terminals, String[] arguments) {
        return run(terminals, unused -> InputStream.nullInputStream(), arguments);
    }

    /** A run that a signal asks to stop when it has read a part of its input, and that finds another part then. */
    public static Cli stopped(String read, String left, String... arguments) {
        return run("", session -> new SequenceInputStream(new ByteArrayInputStream(read.getBytes(StandardCharsets.UTF_8)),
                new ByteArrayInputStream(left.getBytes(StandardCharsets.UTF_8)) {
                    @Override
                    public synchronized int read(byte[] into, int from, int length) {
                        new Thread(session.stop::ask).start();
                        while (!session.stop.isAsked()) {
                            Thread.onSpinWait();
                        }
                        return super.read(into, from, length);
                    }
                }), arguments);
    }

    private static Cli run(String terminals, Function<Session, InputStream> in, String[] arguments) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        ByteArrayOutputStream err = new ByteArrayOutputStream();
        Session session = new Session(out, new PrintStream(err, true, StandardCharsets.UTF_8), terminals);
        session.in = in.apply(session);
        int code = Zolt.run(arguments, session);
        return new Cli(code, out.toByteArray(), err.toString(StandardCharsets.UTF_8));
    }

    /** A run that must succeed and say nothing on standard error. */
    public static Cli done(String... arguments) {
        Cli run = run(arguments);
        assertEquals("", run.err, String.join(" ", arguments));
        assertEquals(Exit.OK, run.code, String.join(" ", arguments));
        return run;
    }

    /** A run that must fail with a code and exactly one line. */
    public static Cli fails(int code, String line, String... arguments) {
        Cli run = run(arguments);
        assertEquals("zolt: " + line + "\n", run.err, String.join(" ", arguments));
        assertEquals(code, run.code, String.join(" ", arguments));
        return run;
    }

    public String text() {
        return new String(out, StandardCharsets.UTF_8);
    }

    /** The bytes as characters, one each: names are not always text. */
    public String raw() {
        return new String(out, StandardCharsets.ISO_8859_1);
    }

    public List<String> lines() {
        return text().isEmpty() ? List.of() : Arrays.asList(text().split("\n"));
    }
}
