package zolt.hdfs.namespace;

import java.io.IOException;

/** HDFS gives what is made the group of its folder; Linux the maker's own. */
final class Group {
    private static final int SERVICE = 0;
    private static final int KEEP = -1;

    private Group() {}

    /**
     * Gives what a caller has just made, and the thread holds open, the group of the directory, and to a superuser
     * what was made with the service's identity. A maker need not be in that group, so the service does it: to what
     * belongs to that very maker, and to nothing else that may have taken its place.
     */
    static void inherit(Folder folder, HdfsPath path, int descriptor, Caller maker) throws IOException {
        Entry made = Entry.of(descriptor);
        int madeBy = maker.superuser() ? SERVICE : maker.uid();
        if (made.isLink() || made.uid() != madeBy) {
            return;
        }
        int group = folder.status(path.parent()).gid();
        boolean isSuperusers = maker.superuser() && maker.uid() != SERVICE
                && made.links() <= (made.isDirectory() ? 2 : 1);
        if (made.gid() != group || isSuperusers) {
            try (Acting own = Acting.service()) {
                SystemCallException.check(NativeFiles.own(descriptor, isSuperusers ? maker.uid() : KEEP, group),
                        path.toString());
            }
        }
    }
}
