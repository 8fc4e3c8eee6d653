package zolt.cli.commands;

import java.io.IOException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Optional;
import zolt.cli.doctor.ProcessChecks;
import zolt.cli.output.Shown;
import zolt.fs.ZoltLibrary;

/** What takes part in an answer, and of which version: the first question about a defect. */
final class Version {
    private Version() {}

    static String number() {
        String version = Version.class.getPackage().getImplementationVersion();
        return version == null ? "(no version)" : version;
    }

    static String[] lines() throws IOException {
        String library;
        String client = "unknown without the library";
        String libacl = client;
        try {
            library = ZoltLibrary.version() + ", " + shown(ZoltLibrary.file());
            client = shown(ZoltLibrary.clientFile())
                    + (ProcessChecks.isEmbedded(ZoltLibrary.clientFile().orElse(null)) ? ", the embedded one" : "");
            libacl = ZoltLibrary.aclFile().map(path -> shown(Optional.of(path))).orElse("none: install libacl1");
        } catch (LinkageError e) {
            library = "cannot be loaded: " + e.getMessage();
        }
        return new String[] {
            "zolt " + number(),
            "library " + library,
            "client  " + client,
            "Java    " + System.getProperty("java.version") + ", "
                + shown(Optional.of(Paths.get(System.getProperty("java.home")))),
            "libacl  " + libacl};
    }

    private static String shown(Optional<Path> file) {
        return file.map(path -> Shown.name(path.toString())).orElse("(this process cannot tell which file)");
    }
}
