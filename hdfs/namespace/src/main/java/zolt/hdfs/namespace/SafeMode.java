package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.TimeUnit;

/** Whether the folder may only be read: a mark in it, so that all NameNodes on it know, and after any restart. */
public final class SafeMode {
    /** How late a NameNode may be to see what another one has been told. */
    private static final long HOLDS_NANOS = TimeUnit.MILLISECONDS.toNanos(200);

    private final Path mark;
    private final byte[] markBytes;
    private volatile long setLast = System.nanoTime();
    private volatile long seenOff = setLast;

    public SafeMode(ServiceFolder service) throws IOException {
        mark = service.directory("state").resolve("safemode");
        markBytes = mark.toString().getBytes(StandardCharsets.UTF_8);
    }

    /** What was seen a moment ago holds, unless it was changed here since: each change asks. */
    public boolean isOn() throws IOException {
        long now = System.nanoTime();
        long seen = seenOff;
        if (now - seen < HOLDS_NANOS && seen - setLast > 0) {
            return false;
        }
        boolean on = look();
        if (!on) {
            seenOff = now;
        }
        return on;
    }

    private boolean look() throws IOException {
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
        } else if (!look()) {
            Files.write(mark, new byte[0]);
        }
        setLast = System.nanoTime();
    }
}
