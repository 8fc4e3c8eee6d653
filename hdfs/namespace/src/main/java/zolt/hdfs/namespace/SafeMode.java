package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** Whether the folder may only be read: a mark in it, so that all NameNodes on it know, and after any restart. */
public final class SafeMode {
    private final Path mark;

    public SafeMode(ServiceFolder service) throws IOException {
        mark = service.directory("state").resolve("safemode");
    }

    public boolean isOn() throws IOException {
        try (Acting own = Acting.service()) {
            return Files.exists(mark);
        }
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
