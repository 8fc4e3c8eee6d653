package zolt.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;

/** A directory that every user may enter, for the files of one test. */
public abstract class CliFixture {
    /** Names that are hard to write down: bytes that are no UTF-8, line ends, what shells and JSON mind. */
    public static final String HARD_NAMES = "cd \"$1\" && touch plain \"a b\" $'line\\nend' $'tab\\there' 'quote\"s'"
            + " 'back\\slash' $'\\xff\\xfe' $'half\\xc3' $'\\xf0\\x9f\\x98\\x80' ümlaut -- -dash"
            + " $'del\\x7f' $'esc\\e[1m'";

    public Path dir;

    @BeforeEach
    public void makeDirectory() throws IOException {
        dir = Files.createTempDirectory("zolt-cli-");
        Files.setPosixFilePermissions(dir, PosixFilePermissions.fromString("rwxr-xr-x"));
    }

    @AfterEach
    public void removeDirectory() throws IOException, InterruptedException {
        Tool.raw("rm", "-rf", dir.toString());
    }

    public String file(String name) throws IOException {
        return Files.write(dir.resolve(name), new byte[0]).toString();
    }

    public String path(String name) {
        return dir.resolve(name).toString();
    }
}
