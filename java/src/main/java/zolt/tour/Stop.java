package zolt.tour;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;

/** What every stop of the tour has: where to print, and a directory of the tour's own to work in. */
final class Stop {
    static final String OTHER_USER = "nobody";

    final Page page;
    final Path directory;
    final boolean root;

    Stop(Page page, Path directory, boolean root) {
        this.page = page;
        this.directory = directory;
        this.root = root;
    }

    String path(String name) {
        return directory.resolve(name).toString();
    }

    /** Makes a file, with a mode of its own whatever the umask is. */
    void file(String name, String content, String permissions) throws IOException {
        Path file = Files.write(directory.resolve(name), content.getBytes(StandardCharsets.UTF_8));
        Files.setPosixFilePermissions(file, PosixFilePermissions.fromString(permissions));
    }

    /** A call whose failure is part of the story: what it answers, or the exception's message. */
    static String outcome(Attempt attempt) {
        try {
            return attempt.run();
        } catch (Exception e) {
            return e.getClass().getSimpleName() + ": " + e.getMessage();
        }
    }

    /** Something that a native may refuse. */
    interface Attempt {
        String run() throws Exception;
    }
}
