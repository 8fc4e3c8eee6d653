package zolt.cli.doctor;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.LinkedHashSet;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.regex.Pattern;

/** The libraries that a process has mapped (proc(5)): by name, or by what is in them, since a file may have any name. */
final class LoadedLibraries {
    static final String LIBRARY = "libzolthadoop.so";
    static final String CLIENT = "libzolt.so";
    static final String ACL = "libacl.so";
    /** What the HDFS service and zolt:// have besides: it puts capabilities into effect, and takes them out again. */
    static final String SERVICE = "libzolthdfs.so";

    private static final String[] ALL = {LIBRARY, CLIENT, ACL, SERVICE};
    private static final String GONE = " (deleted)";
    private static final String NATIVES = "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_";
    private static final String CLIENT_CALL = "zolt_restripe_file";
    private static final String ELF = "\177ELF";
    private static final Pattern UNPACKED = Pattern.compile("/zolt-[0-9]+/[^/]*$");
    private static final int PIECE = 1 << 16;

    private final Path process;
    private final Map<String, String> found = new TreeMap<>();

    /** @throws IOException where the process may not be looked at */
    LoadedLibraries(Path process) throws IOException {
        this.process = process;
        Set<String> mapped = new LinkedHashSet<>();
        for (String line : Files.readAllLines(process.resolve("maps"), StandardCharsets.ISO_8859_1)) {
            if (line.indexOf('/') >= 0) {
                mapped.add(line.substring(line.indexOf('/')));
            }
        }
        for (String file : mapped) {
            String name = name(file);
            for (String library : ALL) {
                if (name.equals(library) || name.startsWith(library + ".")) {
                    found.put(library, file);
                }
            }
        }
        if (!found.containsKey(LIBRARY) || !found.containsKey(CLIENT)) {
            mapped.removeAll(found.values());
            mapped.forEach(this::recognize);
        }
    }

    private void recognize(String file) {
        if (file.endsWith(GONE)) {
            return; // what was in it cannot be read any more
        }
        try {
            if (contains(here(file), NATIVES)) {
                found.putIfAbsent(LIBRARY, file);
            } else if (contains(here(file), CLIENT_CALL)) {
                found.putIfAbsent(CLIENT, file);
            }
        } catch (IOException e) {
            // Nothing that could be looked at.
        }
    }

    /** Null where it is not loaded. */
    String file(String library) {
        String file = found.get(library);
        return file == null ? null : file.replace(GONE, "");
    }

    boolean has(String library) {
        return found.containsKey(library);
    }

    /** Whether the file is no longer there, or is another by now. */
    boolean isGone(String library) {
        return found.getOrDefault(library, library).endsWith(GONE);
    }

    /** Whether it was in the service's jar: it is unpacked for the time of the load alone. */
    boolean isUnpacked(String library) {
        String file = file(library);
        return isGone(library) && UNPACKED.matcher(file).find() && !Files.exists(here(file).getParent());
    }

    /** What is installed beside a file that was renamed after it was loaded, or has another name; null for nothing. */
    String installedBeside(String library) {
        String file = file(library);
        Pattern installed = Pattern.compile(Pattern.quote(library) + "([.][0-9]+)*");
        if (installed.matcher(name(file)).matches()) {
            return null;
        }
        for (String version : new String[] {".1.0.0", ".1", ""}) {
            String other = file.substring(0, file.lastIndexOf('/') + 1) + library + version;
            if (Files.exists(here(other))) {
                return other;
            }
        }
        return null;
    }

    /** As the process sees it, which may have another root. */
    Path here(String file) {
        return Paths.get(process + "/root" + file);
    }

    private static String name(String file) {
        return file.substring(file.lastIndexOf('/') + 1).replace(GONE, "");
    }

    /** Whether a library has a text in it. */
    private static boolean contains(Path file, String text) throws IOException {
        if (!Files.isRegularFile(file)) {
            return false;
        }
        try (InputStream in = Files.newInputStream(file)) {
            byte[] piece = new byte[PIECE];
            String kept = "";
            for (int read = in.read(piece); read > 0; read = in.read(piece)) {
                String now = kept + new String(piece, 0, read, StandardCharsets.ISO_8859_1);
                if (kept.isEmpty() && !now.startsWith(ELF)) {
                    return false;
                }
                if (now.contains(text)) {
                    return true;
                }
                kept = now.substring(Math.max(0, now.length() - text.length()));
            }
        }
        return false;
    }
}
