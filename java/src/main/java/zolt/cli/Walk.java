package zolt.cli;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import zolt.fs.DirectoryListing;
import zolt.fs.FileType;

/** Lists directories, one after the other: what is kept meanwhile are only those that still wait. */
final class Walk {
    private static final int LONGEST_NAME = 256;

    private final Session session;
    private final Entries entries;
    private final boolean directoriesOnly;
    private final boolean recursive;
    private final boolean titled;
    private final Progress progress;
    private final ByteBuffer buffer =
            ByteBuffer.allocateDirect(DirectoryListing.DEFAULT_BUFFER_BYTES);
    private final byte[] name = new byte[LONGEST_NAME];
    private boolean first = true;

    Walk(Session session, Entries entries, boolean directoriesOnly, boolean recursive,
            boolean titled) {
        this.session = session;
        this.entries = entries;
        this.directoriesOnly = directoriesOnly;
        this.recursive = recursive;
        this.titled = titled;
        this.progress = new Progress(session);
    }

    /** Lists a directory, quickly where only names are wanted. */
    private void only(String path) throws IOException {
        try {
            NameStream.copy(path, directoriesOnly, session.out);
        } catch (InterruptedException e) {
            throw new InterruptedIOException("interrupted");
        }
    }

    /** Lists a directory and, recursively, those in it, each before what is beside it. */
    void take(String path) throws IOException {
        if (!recursive && !titled && entries.areBareNames()) {
            only(path);
            return;
        }
        Deque<String> waiting = new ArrayDeque<>();
        list(path, waiting);
        while (!waiting.isEmpty()) {
            String next = waiting.pop();
            try {
                list(next, waiting);
            } catch (IOException e) {
                progress.clear();
                session.fail(next, e);
            }
        }
    }

    void end() {
        progress.clear();
    }

    private void list(String path, Deque<String> waiting) throws IOException {
        List<String> found = new ArrayList<>();
        try (DirectoryListing listing = DirectoryListing.open(path, directoriesOnly, buffer)) {
            if (titled) {
                session.out.text(first ? "" : "\n");
                session.out.text(session.shown(path));
                session.out.text(":\n");
                first = false;
            }
            entries.enter(path);
            while (listing.advance()) {
                int length = listing.nameBytes(name);
                entries.show(listing, name, length);
                progress.step(path);
                if (recursive && isDirectory(listing, path, length)) {
                    remember(path, length, found);
                }
            }
        }
        for (int at = found.size(); at > 0; at--) {
            waiting.push(found.get(at - 1));
        }
    }

    private boolean isDirectory(DirectoryListing listing, String path, int length) {
        FileType type = listing.type();
        return type == FileType.DIRECTORY || type == FileType.UNKNOWN
                && entries.isDirectory(path, name, length);
    }

    private void remember(String path, int length, List<String> found) {
        String text = Names.decode(name, length);
        if (text == null || !Names.isReachable(text)) {
            progress.clear();
            session.fail(Exit.FAILED, Names.join(path, new String(name, 0, length,
                    StandardCharsets.UTF_8)) + ": " + Names.UNREACHABLE);
            return;
        }
        found.add(Names.join(path, text));
    }
}
