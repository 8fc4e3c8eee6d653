package zolt.tour;

import java.io.File;
import java.nio.file.Path;
import java.nio.file.Paths;

/** A guided tour of the library over a directory of one's own: {@code Tour [DIRECTORY]}. */
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
            ListingStop.visit(page, directory.normalize());
        } catch (Exception | LinkageError e) {
            System.out.flush();
            System.err.println("tour: " + e.getMessage());
            System.exit(1);
        }
    }
}
