package zolt.soak;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.List;

/** Entries that come, change their names and go. The service does it, through Java alone. */
final class ChurnCalls {
    static final String TARGET = "keep0";

    private static final int NAMES = 8; // of each kind
    private static final String[] KINDS = {"f", "d", "l"};

    private ChurnCalls() {}

    static List<Call> all() {
        return List.of(ChurnCalls::churn);
    }

    static String name(Scene scene) {
        return name(scene, scene.oneOf(KINDS));
    }

    private static String name(Scene scene, String kind) {
        return kind + scene.random.nextInt(NAMES);
    }

    /** Whether it can ever have been in the directory beside what stays. */
    static boolean isName(String name) {
        return name.matches("[fdl][0-7]");
    }

    static int count() {
        return KINDS.length * NAMES;
    }

    /** The type in a listing. */
    static int typeOf(String name) {
        return name.startsWith("d") ? 4 : name.startsWith("l") ? 10 : 8;
    }

    private static void churn(Scene scene) {
        if (scene.user() != Users.SERVICE) {
            return;
        }
        String kind = scene.oneOf(KINDS);
        Path dir = Path.of(scene.tree.path(scene.somebody(), "churn"));
        Path path = dir.resolve(name(scene, kind));
        try {
            switch (scene.random.nextInt(3)) {
                case 0:
                    create(kind, path);
                    break;
                case 1:
                    Files.move(path, dir.resolve(name(scene, kind)),
                            StandardCopyOption.ATOMIC_MOVE);
                    break;
                default:
                    Files.delete(path);
            }
        } catch (IOException e) {
            // Another thread was there first.
        }
    }

    private static void create(String kind, Path path) throws IOException {
        switch (kind) {
            case "d":
                Files.createDirectory(path);
                break;
            case "l":
                Files.createSymbolicLink(path, Path.of(TARGET));
                break;
            default:
                Files.createFile(path);
        }
    }
}
