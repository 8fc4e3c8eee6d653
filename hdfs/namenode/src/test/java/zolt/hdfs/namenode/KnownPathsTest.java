package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.util.HashMap;
import java.util.Map;
import java.util.Random;
import org.junit.jupiter.api.Test;
import zolt.hdfs.namespace.HdfsPath;

/** Where inodes are known to be. */
class KnownPathsTest {
    private final KnownPaths paths = new KnownPaths(100);

    private void put(long inode, String path) {
        paths.put(inode, HdfsPath.of(path));
    }

    private void moved(String from, String to) {
        paths.moved(HdfsPath.of(from), HdfsPath.of(to));
    }

    private String get(long inode) {
        return String.valueOf(paths.get(inode));
    }

    @Test
    void aDirectoryTakesAlongWhatIsBelowIt() {
        put(1, "/a/b/c");
        put(2, "/a/b");
        put(3, "/a/bc");
        moved("/a/b", "/x/y/z");
        assertEquals("/x/y/z/c", get(1));
        assertEquals("/x/y/z", get(2));
        assertEquals("/a/bc", get(3));
        moved("/nowhere", "/x");
        assertEquals("/x/y/z/c", get(1));
    }

    @Test
    void whatIsReplacedIsForgotten() {
        put(1, "/a");
        put(2, "/b");
        put(3, "/b/c");
        moved("/a", "/b");
        assertEquals("/b", get(1));
        assertNull(paths.get(2));
        assertNull(paths.get(3));
        put(4, "/b");
        assertNull(paths.get(1));
        assertEquals("/b", get(4));
    }

    /** However deep: it is names that take memory. */
    @Test
    void whatWasNotAskedForLongestGoesFirst() {
        put(1, "/first");
        put(2, "/second");
        get(1);
        put(3, "/a".repeat(99));
        assertEquals("/first", get(1));
        assertNull(paths.get(2));
        for (int i = 0; i < 1000; i++) {
            put(100 + i, "/" + i + "/a".repeat(20));
        }
        int known = 0;
        for (int i = 0; i < 1000; i++) {
            known += paths.get(100 + i) == null ? 0 : 1;
        }
        assertEquals(4, known);
    }

    /** Against a list of all paths. */
    @Test
    void theTreeIsThatOfTheFolder() {
        Random random = new Random(3);
        KnownPaths tree = new KnownPaths(Integer.MAX_VALUE);
        Map<Long, String> list = new HashMap<>();
        for (int round = 0; round < 5000; round++) {
            String path = path(random);
            if (random.nextInt(3) > 0) {
                long inode = 1 + random.nextInt(30);
                tree.put(inode, HdfsPath.of(path));
                list.values().removeIf(path::equals);
                list.put(inode, path);
            } else {
                String to = path(random);
                if (!(to + "/").startsWith(path + "/") && !(path + "/").startsWith(to + "/")
                        && list.values().stream().anyMatch(each -> (each + "/").startsWith(path + "/"))) {
                    tree.moved(HdfsPath.of(path), HdfsPath.of(to));
                    list.values().removeIf(each -> (each + "/").startsWith(to + "/"));
                    list.replaceAll((inode, each) -> (each + "/").startsWith(path + "/")
                            ? to + each.substring(path.length()) : each);
                }
            }
            for (long inode = 1; inode <= 30; inode++) {
                assertEquals(String.valueOf(list.get(inode)), String.valueOf(tree.get(inode)));
            }
        }
    }

    private static String path(Random random) {
        StringBuilder path = new StringBuilder();
        for (int i = random.nextInt(4); i >= 0; i--) {
            path.append('/').append((char) ('a' + random.nextInt(3)));
        }
        return path.toString();
    }
}
