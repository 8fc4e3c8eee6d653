package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Files that are renamed while a client writes them: it goes on with each block as if nothing had been. */
class MovedFilesTest {
    private static final Path BASE = new Path("/moved");
    private static final int BLOCK = 1 << 20;

    private FileSystem client;

    @BeforeEach
    void connect() throws Exception {
        client = Service.shared().client();
        client.delete(BASE, true);
        client.mkdirs(new Path(BASE, "into"));
        client.mkdirs(new Path(BASE, "from"));
    }

    @AfterEach
    void close() throws IOException {
        client.delete(BASE, true);
        client.close();
    }

    @FunctionalInterface
    private interface Moves {
        void run() throws IOException;
    }

    private void writeWhile(Moves moves, String where) throws IOException {
        try (FSDataOutputStream out = client.create(new Path(BASE, "from/file"), true, 4096, (short) 1, BLOCK)) {
            out.write(new byte[BLOCK]);
            out.hflush();
            moves.run();
            out.write(new byte[BLOCK]);
        }
        assertEquals(2 * BLOCK, client.getFileStatus(new Path(BASE, where)).getLen());
    }

    @Test
    void intoADirectory() throws Exception {
        writeWhile(() -> assertTrue(client.rename(new Path(BASE, "from/file"), new Path(BASE, "into"))), "into/file");
    }

    @Test
    void withTheDirectoryInWhichItIs() throws Exception {
        writeWhile(() -> assertTrue(client.rename(new Path(BASE, "from"), new Path(BASE, "into"))), "into/from/file");
    }

    /** What others do in the folder, no NameNode is told. */
    @Test
    void andBackByAnother() throws Exception {
        java.nio.file.Path base = java.nio.file.Path.of(Service.FOLDER + BASE);
        writeWhile(() -> {
            assertTrue(client.rename(new Path(BASE, "from/file"), new Path(BASE, "into/elsewhere")));
            Files.move(base.resolve("into/elsewhere"), base.resolve("from/file"));
        }, "from/file");
    }
}
