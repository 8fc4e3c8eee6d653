package zolt.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** A program of the system, for its answer to be compared. */
public final class Tool {
    private Tool() {}

    /** Standard output of a program that must succeed, its bytes as characters, one each. */
    public static String raw(String... command) throws IOException, InterruptedException {
        Process process = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT)
                .start();
        process.getOutputStream().close();
        byte[] out = process.getInputStream().readAllBytes();
        assertEquals(0, process.waitFor(), String.join(" ", command));
        return new String(out, StandardCharsets.ISO_8859_1);
    }

    public static String text(String... command) throws IOException, InterruptedException {
        return new String(raw(command).getBytes(StandardCharsets.ISO_8859_1), StandardCharsets.UTF_8);
    }

    public static List<String> lines(String... command) throws IOException, InterruptedException {
        String text = text(command);
        return text.isEmpty() ? List.of() : Arrays.asList(text.split("\n"));
    }

    public static String[] with(List<String> more, String... first) {
        List<String> all = new ArrayList<>(Arrays.asList(first));
        all.addAll(more);
        return all.toArray(new String[0]);
    }

    /** A script of the shell, with arguments. */
    public static String sh(String script, String... arguments) throws IOException, InterruptedException {
        return text(with(Arrays.asList(arguments), "bash", "-c", script, "bash"));
    }
}
