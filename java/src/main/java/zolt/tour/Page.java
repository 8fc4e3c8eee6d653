package zolt.tour;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;
import java.util.function.UnaryOperator;

/** Where the tour prints: titles, lines and tables for a person to read. */
final class Page {
    private final PrintStream out;
    private final boolean coloured;
    private final UnaryOperator<String> shown;

    Page(PrintStream out, boolean coloured, UnaryOperator<String> shown) {
        this.out = out;
        this.coloured = coloured;
        this.shown = shown;
    }

    void title(String text) {
        out.println();
        String line = shown.apply(text);
        out.println(coloured ? "\033[1;36m" + line + "\033[0m" : line);
    }

    void line(String text) {
        out.println("  " + painted(shown.apply(text)));
    }

    /** On a terminal, what is refused in red, and where blocks lie in green. */
    private String painted(String text) {
        return coloured ? text.replaceAll("([A-Za-z]*Exception)", "\033[31m$1\033[0m")
                .replaceAll("(#+)", "\033[32m$1\033[0m") : text;
    }

    /** A blank before a title says where its column is; one before a name is the name's. */
    private String cell(String text, boolean title) {
        return shown.apply(title ? text.trim() : text);
    }

    /** Rows under a header, numbers (a column whose header begins with a blank) to the right. */
    void table(String[] header, List<String[]> rows) {
        int[] widths = new int[header.length];
        List<String[]> all = new ArrayList<>();
        all.add(header);
        all.addAll(rows);
        for (String[] row : all) {
            for (int c = 0; c < row.length; c++) {
                widths[c] = Math.max(widths[c], cell(row[c], row == header).length());
            }
        }
        for (String[] row : all) {
            StringBuilder line = new StringBuilder("  ");
            for (int c = 0; c < row.length; c++) {
                boolean right = header[c].startsWith(" ");
                boolean last = c == row.length - 1;
                String format = right ? "%" + widths[c] + "s" : last ? "%s" : "%-" + widths[c] + "s";
                line.append(String.format(format, cell(row[c], row == header))).append(last ? "" : "  ");
            }
            out.println(painted(line.toString()));
        }
    }
}
