package zolt.hdfs.namespace;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The service's own folder, where others may rename it. */
class ServiceFolderTest {
    @TempDir
    private Path folder;

    @Test
    void whatTakesItsPlaceIsNotUsed() throws Exception {
        try (ServiceFolder service = new ServiceFolder(folder.toString())) {
            whatTakesItsPlaceIsNotUsed(service);
        }
    }

    private void whatTakesItsPlaceIsNotUsed(ServiceFolder service) throws Exception {
        SafeMode safeMode = new SafeMode(service);
        Holders holders = new Holders(service);
        String name = service.name("cluster");
        Path own = Files.move(folder.resolve(".zolt"), folder.resolve("moved"));
        for (String each : new String[] {"state", "holders"}) {
            Files.createDirectories(folder.resolve(".zolt").resolve(each));
        }
        Files.createFile(folder.resolve(".zolt/state/safemode"));
        assertFalse(safeMode.isOn());
        safeMode.set(true);
        assertTrue(Files.exists(own.resolve("state/safemode")));
        holders.sweep(Duration.ofMinutes(10));
        assertEquals(name, service.name("cluster"));
        assertFalse(Files.exists(folder.resolve(".zolt/cluster")));
    }

    @Test
    void anothersFolderIsRefused() throws Exception {
        Path others = Files.createDirectory(folder.resolve(".zolt"));
        Files.setAttribute(others, "unix:uid", 65534);
        assertThrows(IOException.class, () -> new ServiceFolder(folder.toString()));
        Files.delete(others);
        Files.createSymbolicLink(others, Files.createDirectory(folder.resolve("elsewhere")));
        assertThrows(IOException.class, () -> new ServiceFolder(folder.toString()));
        Files.delete(others);
        Files.createFile(others);
        assertThrows(IOException.class, () -> new ServiceFolder(folder.toString()));
    }
}
