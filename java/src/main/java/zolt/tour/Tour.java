package zolt.tour;

import java.io.IOException;
import java.io.PrintStream;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Comparator;
import java.util.List;
import java.util.function.UnaryOperator;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import zolt.fs.DirectoryEntry;

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
        Path own = room(directory);
        Ending ending = new Ending(own);
        Runtime.getRuntime().addShutdownHook(ending);
        try {
            walk(new Stop(page, own, switching));
        } finally {
            if (ending.begun) {
                Thread.sleep(Long.MAX_VALUE); // the virtual machine ends, and there is nothing to complain of
            }
            remove(own);
        }
    }

    /** On the file system that is shown, where that may be written to; else where temporary files are. */
    private static Path room(Path directory) throws IOException {
        try {
            Path temporary = Paths.get(System.getProperty("java.io.tmpdir"));
            if (DirectoryEntry.isReachable(directory.toAbsolutePath().toString())
                    && !Files.getFileStore(directory).equals(Files.getFileStore(temporary))) {
                return Files.createTempDirectory(directory, ".zolt-tour-");
            }
        } catch (IOException e) {
            // the tour takes place all the same
        }
        return Files.createTempDirectory("zolt-tour-");
    }

    /** What a signal starts: it removes the directory while the tour may still work in it. */
    private static final class Ending extends Thread {
        private static final int TRIALS = 200;

        volatile boolean begun;
        private final Path own;

        Ending(Path own) {
            this.own = own;
        }

        @Override
        public void run() {
            begun = true;
            for (int left = TRIALS; left > 0 && Files.exists(own); left--) {
                try {
                    remove(own);
                } catch (IOException | UncheckedIOException e) {
                    // the tour has just made or removed something
                }
            }
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
        if (!Files.exists(tree)) {
            return;
        }
        List<Path> deepestFirst;
        try (Stream<Path> paths = Files.walk(tree)) {
            deepestFirst = paths.sorted(Comparator.reverseOrder()).collect(Collectors.toList());
        }
        for (Path path : deepestFirst) {
            Files.deleteIfExists(path);
        }
    }
}
