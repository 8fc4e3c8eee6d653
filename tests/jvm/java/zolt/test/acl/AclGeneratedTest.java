package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.util.Random;
import java.util.stream.IntStream;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;

/** Generated lists of both scopes, stored by us and shown by the system's own tool. */
class AclGeneratedTest extends AclFixture {
    private static final int[] BASE = {1, 4, 32};
    private static final String[] NAMES = {"user:", "user:", "group:", "group:", "mask:", "other:"};

    private final Random random = new Random(1);

    private static String letters(int permission) {
        return ((permission & 4) != 0 ? "r" : "-") + ((permission & 2) != 0 ? "w" : "-")
                + ((permission & 1) != 0 ? "x" : "-");
    }

    /** A whole list, in the order in which it is stored. */
    private IntStream entries(int scope, boolean named) {
        IntStream.Builder values = IntStream.builder();
        for (int tag : BASE) {
            if (tag == 32 && named) {
                entry(values, scope, 16, -1);
            }
            entry(values, scope, tag, -1);
            for (int id = 2001; named && tag != 32 && id < 2003 + random.nextInt(3); id++) {
                entry(values, scope, 2 * tag, id);
            }
        }
        return values.build();
    }

    private void entry(IntStream.Builder values, int scope, int tag, int id) {
        values.add(scope).add(tag);
        if (id != -1) {
            values.add(id);
        }
        values.add(random.nextInt(8));
    }

    /** The entries in the words of getfacl. */
    private static String text(byte[] entries, int[] count) {
        StringBuilder text = new StringBuilder();
        ByteBuffer bytes = ByteBuffer.wrap(entries).order(ByteOrder.nativeOrder());
        while (bytes.hasRemaining()) {
            text.append(bytes.getInt() == DEFAULT ? "default:" : "");
            int tag = bytes.getInt();
            text.append(NAMES[Integer.numberOfTrailingZeros(tag)])
                    .append(tag == 2 || tag == 8 ? bytes.getInt() : "")
                    .append(':').append(letters(bytes.getInt())).append('\n');
            count[0]++;
        }
        return text.append('\n').toString();
    }

    @Test
    void listsOfBothScopesAreStoredAndReportedAsTheyAre() throws Exception {
        String path = Files.createDirectory(dir.resolve("directory")).toString();
        for (int round = 0; round < 24; round++) {
            byte[] status = ints(IntStream.concat(entries(ACCESS, random.nextBoolean()),
                    entries(DEFAULT, random.nextBoolean())).toArray());
            int[] count = {0};
            String text = text(status, count);
            ZOLTNative.setAcl(path, asSpecification(count[0], status));
            assertEquals(text, getfacl(path));
            assertEquals(text, text(ZOLTNative.getAclStatus(path, true), new int[1]));
            ZOLTNative.modifyAclEntries(path, asSpecification(count[0], status));
            assertEquals(text, getfacl(path));
        }
    }
}
