package zolt.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import zolt.cli.commands.Commands;
import zolt.cli.output.Names;
import zolt.fs.DirectoryEntry;

/** The words of a command line in the order that its parser takes: people write them in others, too. */
final class Arguments {
    private static final String HELP = "help";
    private static final String CHMOD = "chmod";
    private static final String AS = "--as";
    private static final List<String> FLAGS = Arrays.asList("--json", "-0");

    private Arguments() {}

    /** With the bytes that are no UTF-8, of which Java makes U+FFFD. */
    static String[] exact(String[] given) {
        if (Arrays.stream(given).allMatch(DirectoryEntry::isReachable)) {
            return given;
        }
        try {
            byte[] all = Files.readAllBytes(Paths.get("/proc/self/cmdline"));
            String[] words = Names.text(all, all.length).split("\0", -1); // and nothing behind the last NUL
            return Arrays.copyOfRange(words, words.length - 1 - given.length, words.length - 1);
        } catch (IOException e) {
            return given;
        }
    }

    /**
     * Options of every command may stand before the command, and before the verb of a group: they move
     * behind it. "help COMMAND" is "COMMAND --help".
     */
    static String[] ordered(String[] given) {
        if (given.length > 0 && given[0].equals(HELP)) {
            List<String> words = new ArrayList<>(Arrays.asList(given).subList(1, given.length));
            words.add("--help");
            return words.toArray(new String[0]);
        }
        if (given.length > 1 && CHMOD.equals(given[0])) {
            for (int at = 1; at < given.length; at++) {
                // "-x" is a mode there, and no option; "+" before it changes nothing.
                given[at] = given[at].matches("-[rwxXst]+") ? "+," + given[at] : given[at];
            }
        }
        List<String> command = new ArrayList<>();
        List<String> options = new ArrayList<>();
        int at = 0;
        while (at < given.length && command.size() < wordsOf(command)) {
            String word = given[at];
            if (word.equals(AS) && at + 1 < given.length) {
                Collections.addAll(options, word, given[++at]);
            } else if (FLAGS.contains(word) || word.startsWith(AS + "=")) {
                options.add(word);
            } else if (word.startsWith("-")) {
                break;
            } else {
                command.add(word);
            }
            at++;
        }
        List<String> ordered = new ArrayList<>(command);
        if (command.size() == wordsOf(command)) {
            ordered.addAll(options);
        }
        ordered.addAll(Arrays.asList(given).subList(at, given.length));
        return ordered.toArray(new String[0]);
    }

    private static int wordsOf(List<String> command) {
        return !command.isEmpty() && Commands.isGroup(command.get(0)) ? 2 : 1;
    }
}
