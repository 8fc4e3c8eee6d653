package zolt.cli.commands;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.Deque;
import java.util.List;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Names;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.cli.output.Stop;
import zolt.fs.DirectoryEntry;
import zolt.fs.DirectoryListing;
import zolt.fs.FileOperations;
import zolt.fs.FileType;

/** Lists directories, one after the other: what is kept meanwhile are only those that still wait. */
final class Walk {
    private static final int LONGEST_NAME = 256;

    private final Session session;
    private final Entries entries;
    private final boolean directoriesOnly;
    private final boolean recursive;
    private final boolean titled;
    /** Null where entries are shown as they are read. */
    private final Comparator<Item> order;
    private final boolean needsFacts;
    private final boolean withDots;
    private final Progress progress;
    private final ByteBuffer buffer =
            ByteBuffer.allocateDirect(DirectoryListing.DEFAULT_BUFFER_BYTES);
    private final byte[] name = new byte[LONGEST_NAME];
    private boolean first = true;

    Walk(Session session, Entries entries, LsCommand how, boolean titled) {
        this.session = session;
        this.entries = entries;
        this.directoriesOnly = how.directoriesOnly;
        this.recursive = how.recursive;
        this.titled = titled;
        this.order = how.comparator();
        this.needsFacts = how.needsFacts();
        this.withDots = how.all;
        this.progress = new Progress(session);
        if (recursive) {
            session.stop.listen();
        }
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
        if (!recursive && !titled && order == null && !withDots && entries.areBareNames()) {
            only(path);
            return;
        }
        Deque<String> waiting = new ArrayDeque<>();
        list(path, waiting);
        while (!waiting.isEmpty() && !session.stop.isAsked()) {
            String next = waiting.pop();
            try {
                list(next, waiting);
            } catch (IOException e) {
                progress.clear();
                session.fail(next, e);
            }
        }
    }

    /** Something stands before the next title, and an empty line is to be between them. */
    void follow() {
        first = false;
    }

    void end() {
        progress.clear();
        if (session.stop.isAsked()) {
            session.say(Stop.SAID);
        }
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
            List<Item> sorted = new ArrayList<>();
            if (withDots) {
                take(dot(path, "."), sorted);
                take(dot(path, ".."), sorted);
            }
            while (listing.advance() && !session.stop.isAsked()) {
                int length = listing.nameBytes(name);
                byte[] bytes = order == null ? name : Arrays.copyOf(name, length);
                take(new Item(listing.type(), listing.inode(), bytes, length), sorted);
                progress.step(path);
                if (order == null && recursive && isDirectory(listing.type(), path, length)) {
                    remember(path, length, found);
                }
            }
            show(path, sorted, found);
        }
        for (int at = found.size(); at > 0; at--) {
            waiting.push(found.get(at - 1));
        }
    }

    /** Shows an entry, or keeps it to be sorted. */
    private void take(Item item, List<Item> sorted) {
        if (order == null) {
            entries.show(item);
        } else {
            if (needsFacts) {
                entries.look(item);
            }
            sorted.add(item);
        }
    }

    private void show(String path, List<Item> sorted, List<String> found) {
        sorted.sort(order);
        for (Item item : sorted) {
            entries.show(item);
            System.arraycopy(item.name, 0, name, 0, item.length);
            if (recursive && !isDot(item) && isDirectory(item.type, path, item.length)) {
                remember(path, item.length, found);
            }
        }
    }

    private static boolean isDot(Item item) {
        return item.name[0] == '.' && (item.length == 1 || item.length == 2 && item.name[1] == '.');
    }

    private static Item dot(String path, String dots) throws IOException {
        byte[] bytes = dots.getBytes(StandardCharsets.UTF_8);
        return new Item(FileType.DIRECTORY, FileOperations.inode(Names.join(path, dots), false), bytes,
                bytes.length);
    }

    private boolean isDirectory(FileType type, String path, int length) {
        return type == FileType.DIRECTORY || type == FileType.UNKNOWN
                && entries.isDirectory(path, name, length);
    }

    private void remember(String path, int length, List<String> found) {
        String text = Names.decode(name, length);
        if (text == null || !DirectoryEntry.isReachable(text)) {
            progress.clear();
            session.fail(Names.join(path, Names.text(name, length)), new Failure(Exit.FAILED, Names.UNREACHABLE));
            return;
        }
        found.add(Names.join(path, text));
    }
}
