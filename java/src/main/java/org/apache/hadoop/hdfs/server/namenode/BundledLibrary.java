package org.apache.hadoop.hdfs.server.namenode;

import static java.nio.charset.StandardCharsets.ISO_8859_1;
import static java.nio.charset.StandardCharsets.US_ASCII;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Set;
import java.util.stream.Stream;

/**
 * The native libraries that a jar carries for its platform. They are unpacked into a
 * private folder of unpredictable name, loaded and deleted again: the process keeps what it has mapped,
 * and nothing is left behind.
 */
public final class BundledLibrary {
    /** In a jar: this folder, then one folder a platform. */
    private static final String FOLDER = "/zolt/native/";
    private static final String CLIENT = "libzolt.so";

    private static final FileAttribute<Set<PosixFilePermission>> PRIVATE =
            PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------"));

    private BundledLibrary() {}

    /**
     * The name of this machine's platform, as the folders of the jar have it: "linux-x86_64". Where the C library
     * is musl, which has another loader and other symbols than GLIBC, it is "linux-x86_64-musl".
     */
    static String platform() {
        String arch = System.getProperty("os.arch");
        return System.getProperty("os.name").toLowerCase() + "-"
                + (arch.equals("amd64") ? "x86_64" : arch) + (onMusl() ? "-musl" : "");
    }

    /** Whether the loader of this process is musl's: the file is mapped by its name. */
    private static boolean onMusl() {
        try (Stream<String> mapped = Files.lines(Paths.get("/proc/self/maps"), ISO_8859_1)) {
            return mapped.anyMatch(line -> line.contains("/ld-musl-"));
        } catch (IOException | UncheckedIOException e) {
            return false; // a system without /proc, whose loader speaks for itself
        }
    }

    /** Whether the class path has a library for this platform. */
    static boolean present(String name) {
        return BundledLibrary.class.getResource(resource(fileOf(name))) != null;
    }

    private static String fileOf(String name) {
        return "lib" + name + ".so";
    }

    /**
     * Loads a library: an installed one on {@code java.library.path}, or else the one that the class path carries, for where
     * nobody has installed one.
     *
     * @param name without "lib" and ".so"
     * @throws UnsatisfiedLinkError when there is none, or the loader refuses it
     */
    public static void loadInstalledOrOwn(String name) {
        try {
            System.loadLibrary(name);
        } catch (UnsatisfiedLinkError e) {
            boolean absent = String.valueOf(e.getMessage()).contains("java.library.path");
            if (!absent || !present(name)) {
                throw e;
            }
            load(fileOf(name));
        }
    }

    /** The platform of the libraries that the class path carries; null where it carries none. */
    static String carried() {
        try (InputStream in = BundledLibrary.class.getResourceAsStream(FOLDER + "platform")) {
            return in == null ? null : new BufferedReader(new InputStreamReader(in, US_ASCII)).readLine();
        } catch (IOException e) {
            return null;
        }
    }

    /**
     * Unpacks and loads a library. A client library on the loader's search path is the one that
     * answers; where there is none, it is the embedded one of the jar.
     *
     * @throws UnsatisfiedLinkError when the loader refuses it, or it cannot be unpacked
     */
    private static void load(String file) {
        try {
            Path folder = Files.createTempDirectory("zolt-", PRIVATE);
            Path library = folder.resolve(file);
            Path client = folder.resolve(CLIENT);
            try {
                unpack(library);
                if (!loadedAlone(library)) {
                    unpack(client);
                    System.load(client.toString());
                    System.load(library.toString());
                }
            } finally {
                Files.deleteIfExists(client);
                Files.deleteIfExists(library);
                Files.delete(folder);
            }
        } catch (IOException e) {
            UnsatisfiedLinkError error = new UnsatisfiedLinkError("cannot unpack " + file
                    + " below " + System.getProperty("java.io.tmpdir") + ": " + e);
            error.initCause(e);
            throw error;
        }
    }

    /** False where a client library is all that is missing. */
    private static boolean loadedAlone(Path library) {
        try {
            System.load(library.toString());
            return true;
        } catch (UnsatisfiedLinkError e) {
            if (String.valueOf(e.getMessage()).contains(CLIENT + ": cannot open")) {
                return false;
            }
            throw e;
        }
    }

    private static void unpack(Path file) throws IOException {
        String name = resource(file.getFileName().toString());
        try (InputStream in = BundledLibrary.class.getResourceAsStream(name)) {
            if (in == null) {
                throw new IOException("the jar has no " + name);
            }
            Files.copy(in, file);
        }
    }

    private static String resource(String file) {
        return FOLDER + platform() + "/" + file;
    }
}
