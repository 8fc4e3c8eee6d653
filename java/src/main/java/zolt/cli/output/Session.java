package zolt.cli.output;

import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintStream;

/** One run of the command: where it prints, whether people watch, and what has failed so far. */
public final class Session {
    public final Output out;
    final PrintStream err;
    public final boolean outIsTerminal;
    public final boolean errIsTerminal;
    public final Stop stop = new Stop();
    public InputStream in = System.in;
    /** Whether failures are told as objects. */
    public boolean json;
    private int code = Exit.OK;
    private long failures;

    /** @param terminals the streams that are terminals: any of "o" and "e" */
    public Session(OutputStream out, PrintStream err, String terminals) {
        this.out = new Output(out);
        this.err = err;
        this.outIsTerminal = terminals.indexOf('o') >= 0;
        this.errIsTerminal = terminals.indexOf('e') >= 0;
    }

    /** Reports a failure about a path, in one line. */
    public void fail(String path, Exception e) {
        Failure failure = Failure.of(path, e);
        out.flush();
        failures++;
        tell(path, failure.code, failure.getMessage());
        answer(failure.code);
    }

    public void fail(int failed, String line) {
        out.flush();
        tell(null, failed, line);
        answer(failed);
    }

    /** Standard output is lost: who has closed a pipe wants no more, and no message. */
    public int lost(Output.Lost e) {
        if (e.isPipe()) {
            return Exit.PIPE;
        }
        tell(null, Exit.FAILED, "standard output: " + e.getCause().getMessage());
        return Exit.FAILED;
    }

    /** A command has ended by an exception that it does not know. */
    public int broken(Exception e) {
        if (e instanceof Output.Lost) {
            return lost((Output.Lost) e);
        }
        fail(Exit.FAILED, String.valueOf(e.getMessage()));
        return Exit.FAILED;
    }

    /** Says on standard error, as a line or an object, what has failed. */
    void tell(String path, int failed, String what) {
        if (json) {
            Json error = path == null ? new Json() : new Json().put("path", path);
            err.println(error.put("error", what).put("exit", failed));
        } else {
            err.println("zolt: " + (path == null ? "" : Shown.name(path) + ": ") + Shown.name(what));
        }
    }

    /** Says something that is no failure, where failures are said. */
    public void say(String line) {
        out.flush();
        err.println(json ? new Json().put("note", line).toString() : "zolt: " + Shown.name(line));
    }

    /** Takes part in the exit code: what all agree on, or a failure. */
    public void answer(int part) {
        code = code == Exit.OK || code == part ? part : Exit.FAILED;
    }

    public int code() {
        return code;
    }

    /** Of how many paths a failure was reported. */
    public long failures() {
        return failures;
    }

    /** A name that others have chosen, to be written: its bytes in a pipe, {@link Shown} on a terminal. */
    public String shown(String name) {
        return outIsTerminal ? Shown.name(name) : name;
    }

    public void show(byte[] name, int length) {
        if (outIsTerminal) {
            out.text(Shown.name(name, length));
        } else {
            out.write(name, length);
        }
    }

    /** A name in the header of a list or of attributes: line ends and backslashes would end or change it. */
    public String header(String name) {
        if (outIsTerminal) {
            return Shown.name(name);
        }
        StringBuilder text = new StringBuilder();
        for (int at = 0; at < name.length(); at++) {
            char each = name.charAt(at);
            if (each == '\\') {
                text.append("\\\\");
            } else if (each == '\n' || each == '\r') {
                text.append(String.format("\\%03o", (int) each));
            } else {
                text.append(each);
            }
        }
        return text.toString();
    }

    /** A text in bold on a terminal, as it is in a pipe. */
    public String bold(String text) {
        return styled("1", text);
    }

    /** A text with a style (ECMA-48, "select graphic rendition") on a terminal. */
    public String styled(String style, String text) {
        return outIsTerminal ? "\033[" + style + "m" + text + "\033[0m" : text;
    }
}
