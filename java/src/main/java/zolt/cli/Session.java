package zolt.cli;

import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintStream;

/** One run of the command: where it prints, whether people watch, and what has failed so far. */
final class Session {
    final Output out;
    final PrintStream err;
    final boolean outIsTerminal;
    final boolean errIsTerminal;
    final Stop stop = new Stop();
    InputStream in = System.in;
    /** Whether failures are told as objects. */
    boolean json;
    private int code = Exit.OK;

    /** @param terminals the streams that are terminals: any of "o" and "e" */
    Session(OutputStream out, PrintStream err, String terminals) {
        this.out = new Output(out);
        this.err = err;
        this.outIsTerminal = terminals.indexOf('o') >= 0;
        this.errIsTerminal = terminals.indexOf('e') >= 0;
    }

    /** Reports a failure about a path, in one line. */
    void fail(String path, Exception e) {
        Failure failure = Failure.of(path, e);
        out.flush();
        tell(path, failure.code, failure.getMessage());
        answer(failure.code);
    }

    void fail(int failed, String line) {
        out.flush();
        tell(null, failed, line);
        answer(failed);
    }

    /** Says on standard error, as a line or an object, what has failed. */
    void tell(String path, int failed, String what) {
        if (json) {
            Json error = path == null ? new Json() : new Json().put("path", path);
            err.println(error.put("error", what).put("exit", failed));
        } else {
            err.println("zolt: " + Shown.line(path == null ? what : path + ": " + what));
        }
    }

    /** Says something that is no failure, where failures are said. */
    void say(String line) {
        out.flush();
        err.println(json ? new Json().put("note", line).toString() : "zolt: " + Shown.line(line));
    }

    /** Takes part in the exit code: what all agree on, or a failure. */
    void answer(int part) {
        code = code == Exit.OK || code == part ? part : Exit.FAILED;
    }

    int code() {
        return code;
    }

    /** A name that others have chosen, to be written: its bytes in a pipe, {@link Shown} on a terminal. */
    String shown(String name) {
        return outIsTerminal ? Shown.name(name) : name;
    }

    void show(byte[] name, int length) {
        if (outIsTerminal) {
            out.text(Shown.name(name, length));
        } else {
            out.write(name, length);
        }
    }

    /** A name in the header of a list or of attributes: line ends and backslashes would end or change it. */
    String header(String name) {
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
    String bold(String text) {
        return styled("1", text);
    }

    /** A text with a style (ECMA-48, "select graphic rendition") on a terminal. */
    String styled(String style, String text) {
        return outIsTerminal ? "\033[" + style + "m" + text + "\033[0m" : text;
    }
}
