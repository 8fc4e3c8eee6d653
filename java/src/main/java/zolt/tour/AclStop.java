package zolt.tour;

import java.io.IOException;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.FileOperations;
import zolt.fs.Identity;

/** Access control lists: set, shown, and what they change. */
final class AclStop {
    private AclStop() {}

    static void visit(Stop stop) throws IOException {
        String dir = stop.path("closed");
        stop.page.title("An access control list on closed/");
        show(stop, "before", dir);
        look(stop);
        String refused = Stop.outcome(() -> {
            Acl.of(AclEntry.user(Stop.OTHER_USER, AclEntry.READ | AclEntry.EXECUTE)).modify(dir);
            return "";
        });
        show(stop, Stop.OTHER_USER + (refused.isEmpty() ? " added" : " refused: " + refused), dir);
        look(stop);
        Acl.clear(dir);
        show(stop, "removed", dir);
    }

    private static void look(Stop stop) throws IOException {
        if (!stop.root) {
            return;
        }
        try (Identity user = Identity.of(Stop.OTHER_USER)) {
            stop.page.line(Stop.OTHER_USER + " looks at closed/inner.txt: " + Stop.outcome(
                    () -> "inode " + FileOperations.inode(stop.path("closed/inner.txt"), true)));
        }
    }

    private static void show(Stop stop, String when, String path) throws IOException {
        stop.page.line(String.format("%-12s  %s", when,
                Acl.get(path).format().trim().replace("\n", "  ")));
    }
}
