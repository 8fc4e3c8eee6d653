package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Iterator;
import java.util.Queue;

/**
 * A way through a tree, which may be deeper than any path, for trees are renamed into each other. One descriptor is open
 * at a time, and what is kept of the way back is which directories it leads through.
 */
final class TreeWalk {
    private static final byte[] UP = {'.', '.'};
    private static final byte[] TOP = {};
    /** Deeper than this, a message names the top alone. */
    private static final int MOST_NAMED = 1000;

    /** What is done on the way. */
    interface Visitor {
        /** Comes into a directory; answers the names in it of the directories to go into. */
        Queue<byte[]> enter(TreeWalk walk) throws IOException;

        /** Has come back to a directory from one in it. */
        void leave(TreeWalk walk, byte[] name) throws IOException;

        /** What a client is told of a directory that cannot be opened. */
        IOException refused(HdfsPath path, SystemCallException e);
    }

    private static final class Level {
        private final byte[] name;
        private final Entry entry;
        private Queue<byte[]> ahead;

        Level(byte[] name, Entry entry) {
            this.name = name;
            this.entry = entry;
        }
    }

    private final HdfsPath top;
    private final Visitor visitor;
    private final Deque<Level> way = new ArrayDeque<>();
    private int directory;

    private TreeWalk(HdfsPath top, int directory, Visitor visitor) {
        this.top = top;
        this.directory = directory;
        this.visitor = visitor;
    }

    /** Goes through a directory and all below it. */
    static void go(Folder folder, HdfsPath path, Visitor visitor) throws IOException {
        int directory;
        try (Place place = folder.place(path)) {
            directory = SystemCallException.check(open(NativeFiles.NO_DIRECTORY, place.bytes()), path.toString());
        } catch (SystemCallException e) {
            throw visitor.refused(path, e);
        }
        TreeWalk walk = new TreeWalk(path, directory, visitor);
        try {
            walk.enter(TOP);
            walk.go();
        } finally {
            NativeFiles.close(walk.directory);
        }
    }

    private static int open(int directory, byte[] name) {
        return NativeFiles.open(directory, name,
                NativeFiles.O_RDONLY | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0);
    }

    /** The directory where the walk is, open for reading, or just come back to. */
    int directory() {
        return directory;
    }

    boolean isAtTop() {
        return way.size() == 1;
    }

    /** The path of an entry of the directory where the walk is. */
    HdfsPath path(byte[] name) {
        return here().child(text(name));
    }

    /** The path of the directory where the walk is. */
    HdfsPath here() {
        if (top.depth() + way.size() > MOST_NAMED) {
            return top;
        }
        HdfsPath path = top;
        for (Iterator<Level> each = way.descendingIterator(); each.hasNext();) {
            byte[] name = each.next().name;
            path = name == TOP ? path : path.child(text(name));
        }
        return path;
    }

    private static String text(byte[] name) {
        return new String(name, StandardCharsets.UTF_8);
    }

    private void go() throws IOException {
        while (true) {
            byte[] name = way.peek().ahead.poll();
            if (name != null) {
                down(name);
            } else if (!isAtTop()) {
                up();
            } else {
                return;
            }
        }
    }

    private void enter(byte[] name) throws IOException {
        way.push(new Level(name, Entry.of(directory)));
        way.peek().ahead = visitor.enter(this);
    }

    /** What is gone by now is passed over. */
    private void down(byte[] name) throws IOException {
        int below = open(directory, name);
        if (below == -SystemCallException.ENOENT) {
            return;
        } else if (below < 0) {
            throw visitor.refused(path(name), new SystemCallException(-below, path(name).toString()));
        }
        NativeFiles.close(directory);
        directory = below;
        enter(name);
    }

    /** Back by the directory's own entry for the one above it, which is another one when it was moved meanwhile. */
    private void up() throws IOException {
        int above = NativeFiles.open(directory, UP,
                NativeFiles.O_PATH | NativeFiles.O_DIRECTORY | NativeFiles.O_NOFOLLOW, 0);
        if (above < 0) {
            throw visitor.refused(here(), new SystemCallException(-above, here().toString()));
        }
        NativeFiles.close(directory);
        directory = above;
        byte[] name = way.pop().name;
        if (!Entry.of(above).isSameAs(way.peek().entry)) {
            throw new IOException(path(name) + " was moved meanwhile");
        }
        visitor.leave(this, name);
    }
}
