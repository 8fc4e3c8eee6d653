package zolt.cli.commands;

import java.util.regex.Pattern;
import java.util.regex.PatternSyntaxException;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;

/** A pattern for names as fnmatch(3) has it: *, ?, [...] with ! and ranges, and \ before what is meant. */
final class Glob {
    private final Pattern pattern;

    Glob(String text) throws Failure {
        StringBuilder regex = new StringBuilder();
        for (int at = 0; at < text.length(); ) {
            int each = text.codePointAt(at);
            int end = each == '[' ? endOfClass(text, at) : -1;
            if (end > 0) {
                regex.append(classOf(text.substring(at + 1, end)));
                at = end + 1;
                continue;
            }
            at += Character.charCount(each);
            if (each == '*') {
                regex.append(".*");
            } else if (each == '?') {
                regex.append('.');
            } else if (each == '\\' && at < text.length()) {
                regex.append(Pattern.quote(new String(Character.toChars(text.codePointAt(at)))));
                at += Character.charCount(text.codePointAt(at));
            } else {
                regex.append(Pattern.quote(new String(Character.toChars(each))));
            }
        }
        try {
            pattern = Pattern.compile(regex.toString(), Pattern.DOTALL);
        } catch (PatternSyntaxException e) {
            throw new Failure(Exit.USAGE, text + " is no pattern: " + e.getDescription());
        }
    }

    /** The bracket that closes a class; what comes first in it cannot. */
    private static int endOfClass(String text, int at) {
        int first = at + 1;
        first += text.startsWith("!", first) || text.startsWith("^", first) ? 1 : 0;
        int from = first + 1;
        for (int end = text.indexOf(']', from); end >= 0; end = text.indexOf(']', end + 1)) {
            int named = text.lastIndexOf("[:", end);
            if (named < from - 1 || text.indexOf(":]", named) + 1 < end) {
                return end;
            }
        }
        return -1;
    }

    private static String classOf(String inside) {
        boolean not = inside.startsWith("!") || inside.startsWith("^");
        String members = (not ? inside.substring(1) : inside).replaceAll("[\\\\\\[\\]&^]", "\\\\$0")
                .replaceAll("\\\\\\[:(alpha|digit|alnum|upper|lower|space|punct|cntrl|xdigit|blank|graph|print):\\\\\\]",
                        "\\\\p{$1}");
        for (String[] name : new String[][] {{"alpha", "Alpha"}, {"digit", "Digit"}, {"alnum", "Alnum"},
            {"upper", "Upper"}, {"lower", "Lower"}, {"space", "Space"}, {"punct", "Punct"},
            {"cntrl", "Cntrl"}, {"xdigit", "XDigit"}, {"blank", "Blank"}, {"graph", "Graph"},
            {"print", "Print"}}) {
            members = members.replace("\\p{" + name[0] + "}", "\\p{" + name[1] + "}");
        }
        return (not ? "[^" : "[") + members + "]";
    }

    boolean matches(String name) {
        return pattern.matcher(name).matches();
    }
}
