package zolt.cli.commands;

import java.io.Closeable;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.NoSuchFileException;
import java.util.ArrayDeque;
import java.util.Deque;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Names;
import zolt.cli.output.Output;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.cli.output.Stop;
import zolt.fs.DirectoryEntry;
import zolt.fs.DirectoryListing;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

/**
 * A walk through trees, each directory before what is in it, in the order in which directories are read. It
 * follows no symbolic link below where it begins, takes bounded memory however many entries a directory has,
 * and goes on past what fails and what vanishes meanwhile.
 */
final class TreeWalk implements Closeable {
    /** What is done on the way. */
    interface Visitor {
        /** @return whether what is in a directory is to be visited too */
        boolean visit(Node node) throws IOException, Failure;

        /** After all that is in a directory, where that was to be visited. */
        default void leave(Node directory) {}

        /** For an entry that no path can name. @return whether it was dealt with; else it has failed */
        default boolean unreachable(Node parent, byte[] name, int length, FileType type) {
            return false;
        }
    }

    /** A place on the way. */
    static final class Node {
        final String path;
        final FileType type;
        /** 0 where the walk begins. */
        final int depth;

        Node(String path, FileType type, int depth) {
            this.path = path;
            this.type = type;
            this.depth = depth;
        }

        boolean isDirectory() {
            return type == FileType.DIRECTORY;
        }
    }

    /** A directory that the walk is in: its entries lie in the stack, from where it is to where they end. */
    private static final class Level {
        final Node node;
        final long start;
        long at;
        long end;

        Level(Node node, long start) {
            this.node = node;
            this.start = start;
            this.at = start;
        }
    }

    private static final int LONGEST_NAME = 256;
    /** The type, and the length of the name less one. */
    private static final int HEAD = 2;

    private final Session session;
    private final Visitor visitor;
    /** Who prints on the way clears it first. */
    final Progress progress;
    private final FileStatus reader = new FileStatus();
    private final ByteBuffer buffer = ByteBuffer.allocateDirect(DirectoryListing.DEFAULT_BUFFER_BYTES);
    private final byte[] record = new byte[HEAD + LONGEST_NAME];
    private final byte[] name = new byte[LONGEST_NAME];
    private final NameStack names = new NameStack();
    private final Deque<Level> levels = new ArrayDeque<>();
    private long vanished;

    TreeWalk(Session session, Visitor visitor) {
        this.session = session;
        this.visitor = visitor;
        this.progress = new Progress(session);
        session.stop.listen();
    }

    /**
     * Walks through one tree. What a link leads to counts where it is followed, else the link itself.
     *
     * @return whether there is such a tree, and the walk came to its end
     */
    boolean walk(String path, boolean follow) throws IOException {
        if (session.stop.isAsked()) {
            return false;
        }
        try {
            visit(new Node(path, Facts.of(path, follow, reader).type(), 0));
        } catch (IOException e) {
            failed(new Node(path, FileType.UNKNOWN, 0), e);
            return false;
        }
        while (!levels.isEmpty()) {
            Level level = levels.peek();
            if (level.at < level.end && !session.stop.isAsked()) {
                next(level);
            } else {
                levels.pop();
                names.cut(level.start);
                if (!session.stop.isAsked()) {
                    visitor.leave(level.node);
                }
            }
        }
        return !session.stop.isAsked();
    }

    private void visit(Node node) {
        progress.stepInSilence(node.path);
        boolean enter = true;
        try {
            enter = visitor.visit(node);
        } catch (IOException | Failure | RuntimeException e) {
            failed(node, e);
        }
        if (enter && node.isDirectory()) {
            enter(node);
        }
    }

    private void enter(Node node) {
        Level level = new Level(node, names.end());
        levels.push(level);
        try {
            list(node.path);
        } catch (IOException | RuntimeException e) {
            failed(node, e);
        }
        level.end = names.end();
    }

    /** Reads a directory as a whole: a thread has one listing at a time, and a listing no memory of its own. */
    private void list(String path) throws IOException {
        try (DirectoryListing listing = DirectoryListing.open(path, false, buffer)) {
            while (listing.advance() && !session.stop.isAsked()) {
                int length = listing.nameBytes(name);
                record[0] = (byte) listing.type().ordinal();
                record[1] = (byte) (length - 1);
                System.arraycopy(name, 0, record, HEAD, length);
                names.push(record, HEAD + length);
            }
        }
    }

    private void next(Level level) throws IOException {
        names.read(level.at, record, HEAD);
        FileType type = FileType.values()[record[0]];
        int length = (record[1] & 0xff) + 1;
        names.read(level.at + HEAD, name, length);
        level.at += HEAD + length;
        String text = Names.decode(name, length);
        if (text == null || !DirectoryEntry.isReachable(text)) {
            unreachable(level.node, length, type);
            return;
        }
        String path = Names.join(level.node.path, text);
        int depth = level.node.depth + 1;
        try {
            visit(new Node(path, type == FileType.UNKNOWN ? Facts.of(path, false, reader).type() : type,
                    depth));
        } catch (IOException e) {
            failed(new Node(path, type, depth), e);
        }
    }

    private void unreachable(Node parent, int length, FileType type) {
        if (visitor.unreachable(parent, name, length, type) && type != FileType.DIRECTORY) {
            return;
        }
        progress.clear();
        session.fail(Names.join(parent.path, Names.text(name, length)),
                new Failure(Exit.FAILED, Names.UNREACHABLE));
    }

    /** What somebody has removed meanwhile is no failure; what was asked for by name is. */
    private void failed(Node node, Exception e) {
        if (e instanceof Output.Lost) {
            throw (Output.Lost) e;
        }
        if (e instanceof NoSuchFileException && node.depth > 0) {
            vanished++;
            return;
        }
        progress.clear();
        session.fail(node.path, e);
    }

    /** Says what became of the walk: always where something is known to be done, else where not all was. */
    void summary(String done) {
        progress.clear();
        boolean stopped = session.stop.isAsked();
        long failed = session.failures();
        if (done != null || failed > 0 || stopped) {
            String line = done == null ? "" : ", " + done;
            line += failed > 0 || done != null ? ", " + failed + " failed" : "";
            line += vanished > 0 ? ", " + vanished + " vanished meanwhile" : "";
            line += !stopped ? "" : line.isEmpty() ? ", " + Stop.SAID
                    : ", and then stopped by a signal";
            session.say(line.substring(2));
        }
    }

    @Override
    public void close() throws IOException {
        progress.clear();
        names.close();
    }
}
