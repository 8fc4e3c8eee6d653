package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Random;
import org.apache.hadoop.fs.FsShell;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.hdfs.namenode.Commands.Result;

/** Hadoop's own shell on the service. */
class ShellTest {
    private static final int SIZE = 3_000_001;

    @TempDir
    Path local;

    private static Result run(String user, String... arguments) throws Exception {
        return Commands.run(Service.shared().conf(), new FsShell(), user, arguments);
    }

    private static String ok(String... arguments) throws Exception {
        Result result = run("root", arguments);
        assertEquals(0, result.code(), result.err());
        return result.out();
    }

    @Test
    void whatIsPutIsListedAndReadAgain() throws Exception {
        byte[] bytes = new byte[SIZE];
        new Random(1).nextBytes(bytes);
        Path file = Files.write(local.resolve("file"), bytes);

        ok("-mkdir", "-p", "/shell/deep");
        ok("-put", file.toString(), "/shell/deep/file");
        assertTrue(ok("-ls", "/shell/deep").contains(" " + SIZE + " "));
        assertArrayEquals(bytes, Files.readAllBytes(Path.of(Service.FOLDER, "shell/deep/file")));
        ok("-get", "/shell/deep/file", local.resolve("back").toString());
        assertArrayEquals(bytes, Files.readAllBytes(local.resolve("back")));
        ok("-appendToFile", file.toString(), "/shell/deep/file");
        assertEquals(2L * SIZE, Files.size(Path.of(Service.FOLDER, "shell/deep/file")));
        ok("-rm", "-r", "-skipTrash", "/shell");
        assertEquals(1, run("root", "-ls", "/shell").code());
    }

    @Test
    void whatTheKernelRefusesIsRefused() throws Exception {
        ok("-mkdir", "-p", "/closed");
        ok("-touchz", "/closed/file");
        ok("-chmod", "700", "/closed");
        Result refused = run("nobody", "-cat", "/closed/file");
        assertEquals(1, refused.code());
        assertTrue(refused.err().contains("Permission denied: user=nobody, access=EXECUTE, inode=\"/closed\""),
                refused.err());
    }

    @Test
    void unknownUsersAreToldTheRemedy() throws Exception {
        Result refused = run("whoever", "-ls", "/");
        assertEquals(1, refused.code());
        assertTrue(refused.err().contains("create the user on all kolvane nodes"), refused.err());
    }
}
