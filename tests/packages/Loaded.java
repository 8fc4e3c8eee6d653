import java.io.File;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Loads the library, and prints where the process has it and its client from. */
public final class Loaded {
    private Loaded() {}

    public static void main(String[] args) throws Exception {
        ZOLTNative.getINum("/", true);
        TreeSet<String> files = new TreeSet<>();
        for (String line : Files.readAllLines(Paths.get("/proc/self/maps"))) {
            if (line.contains("/libzolt")) {
                files.add(line.substring(line.indexOf('/')));
            }
        }
        String folder = new File(System.getProperty("java.io.tmpdir")).getCanonicalPath();
        for (String file : files) {
            System.out.println(file.replaceFirst("^" + folder + "/zolt-[0-9]+/", "UNPACKED/"));
        }
    }
}
