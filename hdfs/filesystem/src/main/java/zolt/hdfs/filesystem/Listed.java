package zolt.hdfs.filesystem;

import java.io.Closeable;
import java.io.IOException;
import java.lang.ref.Cleaner;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import org.apache.hadoop.fs.RemoteIterator;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Entries;
import zolt.hdfs.namespace.Folder;
import zolt.hdfs.namespace.Forgotten;
import zolt.hdfs.namespace.HdfsPath;

/**
 * A directory, while somebody goes through it. It is closed at its end, or by {@link #close}, or when nobody has it any
 * more.
 *
 * @param <T> what is made of each entry
 */
final class Listed<T> implements RemoteIterator<T>, Closeable {
    private final User user;
    private final Entries entries;
    private final Form<T> form;
    private final Cleaner.Cleanable closing;
    private Iterator<T> some = Collections.emptyIterator();
    private boolean ended;

    /** What is made of an entry, with the rights of the user; null for what is left out. */
    @FunctionalInterface
    interface Form<T> {
        T of(Entries.Item item) throws IOException;
    }

    private Listed(User user, Entries entries, Form<T> form) {
        this.user = user;
        this.entries = entries;
        this.form = form;
        closing = Forgotten.watch(this, entries::close);
    }

    /** What is no directory lists itself. */
    private Listed(T itself) {
        user = null;
        entries = null;
        form = null;
        closing = () -> { };
        some = itself == null ? Collections.emptyIterator() : List.of(itself).iterator();
        ended = true;
    }

    static <T> Listed<T> one(T itself) {
        return new Listed<>(itself);
    }

    /** Opens a directory, with the rights of the thread, and reads the first entries. */
    static <T> Listed<T> of(Folder folder, HdfsPath path, User user, Form<T> form) throws IOException {
        Entries entries = Entries.of(folder, path);
        Listed<T> listing = new Listed<>(user, entries, form);
        boolean begun = false;
        try {
            listing.read();
            begun = true;
            return listing;
        } finally {
            if (!begun) {
                listing.close();
            }
        }
    }

    /** Reads on until there is an entry that is not left out; the thread acts for the user. */
    private void read() throws IOException {
        while (!some.hasNext()) {
            List<Entries.Item> items = entries.next();
            if (items.isEmpty()) {
                close();
                return;
            }
            List<T> formed = new ArrayList<>(items.size());
            for (Entries.Item item : items) {
                T each = form.of(item);
                if (each != null) {
                    formed.add(each);
                }
            }
            some = formed.iterator();
        }
    }

    @Override
    public boolean hasNext() throws IOException {
        if (!some.hasNext() && !ended) {
            try (Acting as = user.acting()) {
                read();
            }
        }
        return some.hasNext();
    }

    @Override
    public T next() throws IOException {
        if (!hasNext()) {
            throw new NoSuchElementException("no more entries");
        }
        return some.next();
    }

    @Override
    public void close() {
        ended = true;
        closing.clean();
    }
}
