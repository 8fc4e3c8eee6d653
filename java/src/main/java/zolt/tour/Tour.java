package zolt.tour;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Comparator;
import java.util.List;
import java.util.function.UnaryOperator;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * A guided tour of the library. It lists a directory, and shows the rest on files of its own in a
 * temporary directory that it removes.
 */
public final class Tour {
    private Tour() {}

    /**
     * Takes the tour.
     *
     * @param out where it is told
     * @param coloured whether that is a terminal
     * @param shown how a line is shown to people
     * @param directory the directory to list
     * @param switching whether this thread may take on another identity; who may not stays who he is
     * @throws IOException when something fails that should not
     * @throws InterruptedException when the thread is interrupted
     */
    public static void take(PrintStream out, boolean coloured, UnaryOperator<String> shown,
            Path directory, boolean switching)
            throws IOException, InterruptedException {
        Page page = new Page(out, coloured, shown);
        ListingStop.visit(page, directory);
        Path own = Files.createTempDirectory("zolt-tour-");
        try {
            walk(new Stop(page, own, switching));
        } finally {
            remove(own);
        }
    }

    private static void walk(Stop stop) throws IOException, InterruptedException {
        Files.setPosixFilePermissions(stop.directory, PosixFilePermissions.fromString("rwxr-xr-x"));
        StatusStop.visit(stop);
        BlocksStop.visit(stop);
        AttributesStop.visit(stop);
        AclStop.visit(stop);
    }

    private static void remove(Path tree) throws IOException {
        List<Path> deepestFirst;
        try (Stream<Path> paths = Files.walk(tree)) {
            deepestFirst = paths.sorted(Comparator.reverseOrder()).collect(Collectors.toList());
        }
        for (Path path : deepestFirst) {
            Files.delete(path);
        }
    }
}
