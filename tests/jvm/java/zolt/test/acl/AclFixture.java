package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;
import zolt.test.Cleared;

/** A file and a directory with known lists, and the system's own tools. */
public abstract class AclFixture extends Cleared {
    public static final int ACCESS = AclBytes.ACCESS;
    public static final int DEFAULT = AclBytes.DEFAULT;

    @TempDir Path dir;

    public static byte[] ints(int... values) {
        ByteBuffer buffer = ByteBuffer.allocate(4 * values.length).order(ByteOrder.nativeOrder());
        Arrays.stream(values).forEach(buffer::putInt);
        return buffer.array();
    }

    /** A status has no count before its entries; a specification has. */
    static byte[] asSpecification(int count, byte[] status) {
        byte[] spec = Arrays.copyOf(ints(count), 4 + status.length);
        System.arraycopy(status, 0, spec, 4, status.length);
        return spec;
    }

    /** Runs a command against the system's own libraries. */
    public static String run(String... command) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().keySet().removeAll(List.of("LD_LIBRARY_PATH", "LD_PRELOAD"));
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), output);
        return output;
    }

    static String getfacl(String path) throws Exception {
        return run("getfacl", "-pcnE", path);
    }

    String file(String acl) throws Exception {
        Path path = dir.resolve("file");
        if (!Files.exists(path)) {
            Files.createFile(path);
        }
        run("setfacl", "--set", acl, path.toString());
        return path.toString();
    }

    String directory(String access, String byDefault) throws Exception {
        Path path = dir.resolve("directory");
        if (!Files.exists(path)) {
            Files.createDirectory(path);
        }
        run("setfacl", "-k", "--set", access, path.toString());
        if (byDefault != null) {
            run("setfacl", "-d", "--set", byDefault, path.toString());
        }
        return path.toString();
    }

    /** Every native on one path, with a specification that changes the access list. */
    static Map<String, Executable> natives(String path) {
        byte[] spec = ints(1, ACCESS, 2, 7, 4);
        Map<String, Executable> calls = new LinkedHashMap<>();
        calls.put("getAclStatus", () -> ZOLTNative.getAclStatus(path, true));
        calls.put("setAcl", () -> ZOLTNative.setAcl(path, spec));
        calls.put("modifyAclEntries", () -> ZOLTNative.modifyAclEntries(path, spec));
        calls.put("removeAclEntries", () -> ZOLTNative.removeAclEntries(path, spec));
        calls.put("removeDefaultAcl", () -> ZOLTNative.removeDefaultAcl(path, true));
        calls.put("removeAcl", () -> ZOLTNative.removeAcl(path, true));
        return calls;
    }
}
