package zolt.hdfs.namespace;

import java.io.IOException;

/**
 * HDFS gives what is made the group of its directory, and to a superuser what was made with the service's rights; Linux
 * gives it the ids of the thread that makes it. So the thread has those ids just then, and the kernel gives them:
 * nothing is given away afterwards, when another entry may stand at the path.
 */
final class Group {
    private static final int SERVICE = 0;
    private static final int WRITE_AND_SEARCH = 3;

    private Group() {}

    /** Makes an entry; answers a descriptor or 0, or -errno. */
    @FunctionalInterface
    interface Call {
        int make(byte[] name);
    }

    /** Makes what stands at no path yet; the answer of the call, or its raw failure. */
    static int make(Folder folder, HdfsPath path, Call call) throws IOException {
        if (path.isRoot()) {
            throw new SystemCallException(SystemCallException.EEXIST, path.toString());
        }
        try (Place place = folder.place(path)) {
            if (Acting.isGuest()) {
                return SystemCallException.check(call.make(place.bytes()), path.toString());  // the kernel alone decides
            }
            Entry directory = Entry.of(place.directory());
            byte[] name = place.inDirectory();
            return SystemCallException.check(make(place, name, directory, Acting.now(), call), path.toString());
        }
    }

    private static int make(Place place, byte[] name, Entry directory, Caller maker, Call call) throws IOException {
        if (maker.superuser() ? maker.uid() == SERVICE && maker.gid() == directory.gid()
                : maker.gid() == directory.gid() || directory.handsGroupDown()) {
            return call.make(name);
        }
        // A stranger to the group gets no right by it: the kernel lets it make entries in this very directory before.
        if (maker.superuser() || maker.isIn(directory.gid())
                || NativeFiles.mayAccess(place.directoryName(), WRITE_AND_SEARCH) == 0) {
            try (Acting as = Acting.withGroup(directory.gid())) {
                int result = call.make(name);
                if (result != -SystemCallException.EACCES) {
                    return result;
                }
            }
        }
        // The caller may not, or may as one of the others while the group may not; or something is there already.
        return call.make(name);
    }
}
