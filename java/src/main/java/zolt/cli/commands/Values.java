package zolt.cli.commands;

/**
 * Values that look like options: "--holder=--as". The parser takes no such value, even behind "="; so they are marked on
 * their way through it, by a character that no argument has.
 */
public final class Values {
    private static final String MARK = "\0";

    private Values() {}

    /** The words of a command line for the parser. */
    public static String[] marked(String[] words) {
        String[] marked = words.clone();
        for (int at = 0; at < marked.length && !marked[at].equals("--"); at++) {
            marked[at] = marked[at].replaceFirst("^(--?[a-z][a-z-]*=)(?=-)", "$1" + MARK);
        }
        return marked;
    }

    /** A value, or a message with it, as it was given. */
    static String plain(String text) {
        return text.replace(MARK, "");
    }
}
