package zolt.tour;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;

/** Where the tour prints: titles, lines and tables for a person to read. */
final class Page {
    private final PrintStream out;
    private final boolean coloured;

    Page(PrintStream out, boolean coloured) {
        this.out = out;
        this.coloured = coloured;
    }

    void title(String text) {
        out.println();
        out.println(coloured ? "\033[1;36m" + text + "\033[0m" : text);
    }

    void line(String text) {
        out.println("  " + painted(text));
    }

    /** On a terminal, what is refused in red, and where blocks lie in green. */
    private String painted(String text) {
        return coloured ? text.replaceAll("([A-Za-z]*Exception)", "\033[31m$1\033[0m")
                .replaceAll("(#+)", "\033[32m$1\033[0m") : text;
    }

    /** Rows under a header, numbers (a column whose header begins with a blank) to the right. */
    void table(String[] header, List<String[]> rows) {
        int[] widths = new int[header.length];
        List<String[]> all = new ArrayList<>();
        all.add(header);
        all.addAll(rows);
        for (String[] row : all) {
            for (int c = 0; c < row.length; c++) {
                widths[c] = Math.max(widths[c], row[c].trim().length());
            }
        }
        for (String[] row : all) {
            StringBuilder line = new StringBuilder("  ");
            for (int c = 0; c < row.length; c++) {
                boolean right = header[c].startsWith(" ");
                boolean last = c == row.length - 1;
                String format = right ? "%" + widths[c] + "s" : last ? "%s" : "%-" + widths[c] + "s";
                line.append(String.format(format, row[c].trim())).append(last ? "" : "  ");
            }
            out.println(painted(line.toString()));
        }
    }

    /** A text in which nothing moves the cursor or changes the terminal. */
    static String printable(String text) {
        StringBuilder safe = new StringBuilder();
        text.codePoints().forEach(c -> {
            if (Character.isISOControl(c)) {
                safe.append(String.format("\\x%02x", c));
            } else {
                safe.appendCodePoint(c);
            }
        });
        return safe.toString();
    }
}
