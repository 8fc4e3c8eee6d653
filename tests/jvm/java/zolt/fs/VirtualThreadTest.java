package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.nio.file.Path;
import java.util.concurrent.FutureTask;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

/** What a thread of the kernel keeps, no virtual thread may begin; what is one call, it may do. */
class VirtualThreadTest {
    @TempDir
    Path folder;

    @Test
    void noIdentityBegins() throws Exception {
        assertEquals("the identity of nobody belongs to a thread of the kernel, and a virtual thread has none"
                + " of its own: use a platform thread", refusal(() -> Identity.of("nobody")));
    }

    @Test
    void noListingBegins() throws Exception {
        assertEquals("the listing of " + folder + " belongs to a thread of the kernel, and a virtual thread has"
                + " none of its own: use a platform thread", refusal(() -> DirectoryListing.open(folder)));
    }

    @Test
    void aStatusIsRead() throws Exception {
        FileStatus status = new FileStatus();
        onVirtualThread(() -> status.read(folder.toString()));
        assertEquals(FileType.DIRECTORY, status.type());
    }

    private static String refusal(Executable call) throws Exception {
        String[] message = new String[1];
        onVirtualThread(() -> message[0] = assertThrows(IllegalStateException.class, call).getMessage());
        return message[0];
    }

    private static void onVirtualThread(Executable call) throws Exception {
        assumeTrue(Integer.parseInt(System.getProperty("java.specification.version").replaceFirst("^1\\.", "")) >= 21,
                "virtual threads came with Java 21");
        FutureTask<Void> task = new FutureTask<>(() -> {
            try {
                call.execute();
            } catch (Throwable e) {
                throw new AssertionError(e);
            }
            return null;
        });
        Thread.class.getMethod("startVirtualThread", Runnable.class).invoke(null, task);
        task.get();
    }
}
