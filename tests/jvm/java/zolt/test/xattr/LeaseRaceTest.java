package zolt.test.xattr;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Preload;

/** Two virtual machines after the same leases. */
class LeaseRaceTest {
    private static final String[] NAMES = {"A", "B"};
    private static final int FILES = 50;

    @TempDir Path dir;
    private final Process[] racers = new Process[2];
    private final BufferedReader[] outputs = new BufferedReader[2];

    /** Goes on until both have won leases of one batch: then they have been at it side by side. */
    @Test
    void neverHoldTheSameLease() throws Exception {
        try {
            for (int i = 0; i < racers.length; i++) {
                racers[i] = racer(NAMES[i]);
                outputs[i] = racers[i].inputReader();
            }
            for (BufferedReader output : outputs) {
                assertEquals("ready", output.readLine());
            }
            boolean contested = false;
            for (int batch = 0; batch < 20 || !contested; batch++) {
                contested |= isContested(batch);
            }
            for (Process racer : racers) {
                racer.getOutputStream().close();
                assertEquals(0, racer.waitFor());
            }
        } finally {
            for (Process racer : racers) {
                if (racer != null) {
                    racer.destroyForcibly();
                }
            }
        }
    }

    /** One batch, in which every lease must have one holder; whether each racer has got some. */
    private boolean isContested(int batch) throws IOException {
        Path folder = Files.createDirectory(dir.resolve("" + batch));
        for (int i = 0; i < FILES; i++) {
            Files.createFile(folder.resolve("" + i));
        }
        // Who is told first changes, so that neither is always late.
        for (int i = 0; i < racers.length; i++) {
            Process racer = racers[(batch + i) % racers.length];
            racer.getOutputStream().write((folder + "\n").getBytes(UTF_8));
            racer.getOutputStream().flush();
        }
        String[] holders = new String[FILES];
        int[] won = new int[racers.length];
        for (int i = 0; i < racers.length; i++) {
            String numbers = outputs[i].readLine();
            assertNotNull(numbers, NAMES[i] + " has ended");
            for (String number : numbers.split(" ")) {
                if (number.isEmpty()) {
                    continue;
                }
                int file = Integer.parseInt(number);
                assertNull(holders[file], number + " has two holders");
                holders[file] = NAMES[i];
                won[i]++;
            }
        }
        for (int i = 0; i < FILES; i++) {
            Path file = folder.resolve("" + i);
            assertEquals(holders[i], XattrFixture.stored(file, "user.lease.holder"));
            assertEquals(8, XattrFixture.stored(file, "user.lease.update").length());
        }
        return won[0] > 0 && won[1] > 0;
    }

    private static Process racer(String name) throws IOException {
        ProcessBuilder builder = new ProcessBuilder(
                ProcessHandle.current().info().command().orElseThrow(),
                "-Xshare:auto", "-XX:TieredStopAtLevel=1", "-Xmx64m",
                "-Dzolt.library=" + System.getProperty("zolt.library"), "-Dzolt.test.level=OFF",
                "-cp", System.getProperty("java.class.path"),
                LeaseRacer.class.getName(), "" + FILES, name);
        Preload.noFaults(builder);
        builder.environment().remove("CLASSPATH");
        Process racer = builder.redirectError(ProcessBuilder.Redirect.INHERIT).start();
        // One that hangs is ended, and with it the wait for its answer.
        CompletableFuture.delayedExecutor(60, TimeUnit.SECONDS).execute(racer::destroyForcibly);
        return racer;
    }
}
