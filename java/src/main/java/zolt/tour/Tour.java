package zolt.tour;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import zolt.fs.ZoltLibrary;

/**
 * A guided tour of the library: {@code Tour [DIRECTORY]}. It lists the directory, and shows the rest
 * on files of its own in a temporary directory that it removes.
 */
public final class Tour {
    private Tour() {}

    /** Walks the tour; the exit status is 0, or 1 with the reason on standard error. */
    public static void main(String[] arguments) {
        Path directory = Paths.get(arguments.length > 0 ? arguments[0] : ".").toAbsolutePath();
        if (!new File(directory.toString()).isDirectory()) {
            System.err.println("tour: " + directory + " is not a directory");
            System.exit(1);
        }
        Page page = new Page(System.out, System.console() != null);
        try {
            // Only root may take on another identity; everyone else stays who he is.
            boolean root = "root".equals(System.getProperty("user.name"));
            ZoltLibrary.setAlwaysSuper(!root);
            ListingStop.visit(page, directory.normalize());
            Path own = Files.createTempDirectory("zolt-tour-");
            try {
                walk(new Stop(page, own, root));
            } finally {
                remove(own);
            }
        } catch (Exception | LinkageError e) {
            System.out.flush();
            System.err.println("tour: " + e.getMessage());
            System.exit(1);
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
