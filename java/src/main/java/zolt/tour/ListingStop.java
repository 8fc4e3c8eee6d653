package zolt.tour;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;
import zolt.cli.output.Names;
import zolt.fs.DirectoryEntry;
import zolt.fs.DirectoryListing;
import zolt.fs.Mount;

/** The first stop: what a directory holds, and which file system serves it. */
final class ListingStop {
    private static final int ROWS_SHOWN = 12;

    private ListingStop() {}

    static void visit(Page page, Path directory) throws IOException {
        page.title("What is in " + directory);
        page.line("served by " + fileSystem(directory));
        page.line("");

        List<String[]> rows = new ArrayList<>();
        Map<String, Integer> kinds = new TreeMap<>();
        readAll(directory.toString(), rows, kinds);
        rows.sort((a, b) -> a[2].compareTo(b[2]));

        page.table(new String[] {"TYPE", " INODE", "NAME"},
                rows.subList(0, Math.min(rows.size(), ROWS_SHOWN)));
        if (rows.size() > ROWS_SHOWN) {
            page.line("... and " + (rows.size() - ROWS_SHOWN) + " more");
        }
        page.line("");
        StringBuilder totals = new StringBuilder();
        kinds.forEach((kind, count) -> totals.append(totals.length() == 0 ? " (" : ", ")
                .append(kind).append(' ').append(count));
        totals.append(totals.length() == 0 ? "" : ")");
        page.line("entries: " + rows.size() + totals);
        page.line("counted by itself: " + DirectoryListing.count(directory.toString()));
    }

    private static void readAll(String path, List<String[]> rows, Map<String, Integer> kinds)
            throws IOException {
        try (DirectoryListing listing = DirectoryListing.open(path)) {
            while (listing.hasNext()) {
                DirectoryEntry entry = listing.next();
                String kind = entry.type().name().toLowerCase(Locale.ROOT).replace('_', ' ');
                byte[] name = entry.nameBytes();
                rows.add(new String[] {
                    kind, Long.toUnsignedString(entry.inode()), Names.text(name, name.length)});
                kinds.merge(kind, 1, Integer::sum);
            }
        }
    }

    private static String fileSystem(Path directory) throws IOException {
        Mount mount = Mount.of(directory.toString()).orElse(null);
        return mount == null ? "a file system that the mount table does not show"
                : mount.source() + " on " + mount.point() + " type " + mount.type();
    }
}
