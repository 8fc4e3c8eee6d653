package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** HDFS gives what is made the group of its folder; Linux the maker's own. */
final class Group {
    private static final int SERVICE = 0;

    private Group() {}

    /**
     * Gives what the thread's caller has just made, and holds open, the group of the directory, and to a superuser
     * what was made with the service's identity. A maker need not be in that group, so the service does it: to what
     * belongs to that very maker, and to nothing else that may have taken its place.
     */
    static void inherit(Folder folder, HdfsPath path, int descriptor) throws IOException {
        Entry made = Entry.of(descriptor);
        Caller maker = Acting.now();
        int madeBy = maker.superuser() ? SERVICE : maker.uid();
        if (made.isLink() || made.uid() != madeBy) {
            return;
        }
        try (Acting own = Acting.service()) {
            Path itself = Path.of(Place.nameOf(descriptor));
            int wanted = folder.status(path.parent()).gid();
            if (made.gid() != wanted) {
                Files.setAttribute(itself, "unix:gid", wanted);
            }
            if (maker.superuser() && maker.uid() != SERVICE && made.links() <= (made.isDirectory() ? 2 : 1)) {
                Files.setAttribute(itself, "unix:uid", maker.uid());
            }
        }
    }
}
