package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

/** Whether the folder may only be read: a mark in it, so that all NameNodes on it know, and after any restart. */
public final class SafeMode {
    private final Path mark;
    private final byte[] markBytes;

    public SafeMode(ServiceFolder service) throws IOException {
        mark = service.directory("state").resolve("safemode");
        markBytes = mark.toString().getBytes(StandardCharsets.UTF_8);
    }

    public boolean isOn() throws IOException {
        try (Acting own = Acting.service()) {
            return isMarked();
        }
    }

    /** A failure to look is none to be silent about: it is no answer. */
    private boolean isMarked() throws IOException {
        int result = NativeFiles.status(NativeFiles.NO_DIRECTORY, markBytes, new long[NativeFiles.STATUS_WORDS]);
        return result != -SystemCallException.ENOENT && SystemCallException.check(result, mark.toString()) == 0;
    }

    /** Asked for by a superuser, who has the service's rights. */
    public void set(boolean on) throws IOException {
        if (!on) {
            Files.deleteIfExists(mark);
        } else if (!isOn()) {
            Files.write(mark, new byte[0]);
        }
    }
}
