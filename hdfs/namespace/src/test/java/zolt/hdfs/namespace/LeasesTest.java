package zolt.hdfs.namespace;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.time.Duration;
import java.util.Optional;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** When a lease ends that nobody gives back. */
class LeasesTest {
    private static final Duration LONG = Duration.ofMinutes(10);
    private static final Duration SHORT = Duration.ofMillis(400);
    private static final OpenFiles.Writer FIRST = new OpenFiles.Writer("first", "here", false);
    private static final OpenFiles.Writer SECOND = new OpenFiles.Writer("second", "there", false);

    private final HdfsPath path = HdfsPath.of("/lease-of-a-test");
    private Folder folder;
    private Holders holders;

    @BeforeEach
    void open() throws Exception {
        Root root = Root.open(System.getProperty("zolt.test.folder"));
        folder = new Folder(root, new Names(LONG));
        holders = new Holders(new ServiceFolder(root));
    }

    @AfterEach
    void remove() throws Exception {
        new Removing(folder, null).remove(path, false);
    }

    private OpenFiles files(Duration soft, Duration hard) {
        return new OpenFiles(folder, new Making(folder), holders, new OpenFiles.Limits(soft, hard));
    }

    private static void create(OpenFiles files, HdfsPath path, OpenFiles.Writer writer) throws IOException {
        files.create(path, new OpenFiles.Creation(new FsPermission((short) 0644), true, false, true, 0, 0), writer);
    }

    @Test
    void theNextWriterEndsTheLeaseOfASilentOne() throws Exception {
        OpenFiles files = files(SHORT, LONG);
        create(files, path, FIRST);
        assertThrows(AlreadyBeingCreatedException.class, () -> files.append(path, SECOND));
        Thread.sleep(SHORT.toMillis() / 2);
        holders.touch("first");
        Thread.sleep(SHORT.toMillis() / 2 + 50);
        assertThrows(AlreadyBeingCreatedException.class, () -> files.append(path, SECOND), "it was heard of");
        Thread.sleep(SHORT.toMillis() + 50);
        files.append(path, SECOND);
        assertEquals(Optional.of("second"), files.holder(path));
    }

    @Test
    void anyLookEndsTheLeaseOfADeadOne() throws Exception {
        OpenFiles files = files(SHORT, SHORT);
        create(files, path, FIRST);
        assertEquals(Optional.of("first"), files.holder(path));
        Thread.sleep(SHORT.toMillis() + 100);
        assertEquals(Optional.empty(), files.holder(path));
    }

    /** A client that heard no answer asks again, and gets what it has made; another client does not. */
    @Test
    void aRepeatedCallGetsWhatItHasMade() throws Exception {
        OpenFiles files = files(LONG, LONG);
        create(files, path, FIRST);
        create(files, path, new OpenFiles.Writer("first", "here", true));
        assertThrows(AlreadyBeingCreatedException.class, () -> create(files, path, FIRST));
        assertThrows(AlreadyBeingCreatedException.class,
                () -> create(files, path, new OpenFiles.Writer("second", "there", true)));
    }
}
