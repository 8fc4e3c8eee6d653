package zolt.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.time.Instant;
import java.time.ZoneId;
import java.time.format.DateTimeFormatter;
import java.util.HashMap;
import java.util.Map;
import zolt.fs.Accounts;
import zolt.fs.DirectoryListing;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

/** Shows entries: their names alone, a line with all that is known, or an object in JSON. */
final class Entries {
    private final Session session;
    private final Output out;
    private final boolean details;
    private final boolean json;
    private final FileStatus reader = new FileStatus();
    private final Map<Long, String> users = new HashMap<>();
    private final Map<Long, String> groups = new HashMap<>();
    private DateTimeFormatter time;
    private String directory = "";

    Entries(Session session, boolean details, boolean json) {
        this.session = session;
        this.out = session.out;
        this.details = details;
        this.json = json;
    }

    /** Whether an entry is its name and nothing else. */
    boolean areBareNames() {
        return !details && !json && !session.outIsTerminal;
    }

    /** Says in which directory the next entries are. */
    void enter(String path) {
        directory = path;
    }

    /** Shows the entry under the cursor of a listing. */
    void show(DirectoryListing listing, byte[] name, int length) {
        if (json) {
            Json object = new Json().put("directory", directory).put("name", name, length);
            Facts facts = details ? look(listing.type(), name, length) : null;
            if (facts == null) {
                object.put("type", Kind.of(listing.type())).put("inode", listing.inode());
            } else {
                facts.putInto(object);
            }
            out.line(object.toString());
        } else if (details) {
            line(listing.type(), look(listing.type(), name, length), name, length);
        } else {
            session.show(name, length);
            out.endName();
        }
    }

    /** Shows a path that is no directory. */
    void show(String path) throws IOException {
        byte[] name = path.getBytes(StandardCharsets.UTF_8);
        if (!json && !details) {
            session.show(name, name.length);
            out.endName();
            return;
        }
        Facts facts = Facts.of(path, false, reader);
        if (json) {
            out.line(facts.putInto(new Json().put("path", path)).toString());
        } else {
            line(facts.type(), facts, name, name.length);
        }
    }

    /** Asks where the file system has not said what an entry is. */
    boolean isDirectory(String parent, byte[] name, int length) {
        try {
            String text = Names.decode(name, length);
            return text != null && Facts.of(Names.join(parent, text), false, reader).type()
                    == FileType.DIRECTORY;
        } catch (IOException e) {
            session.fail(parent, e);
            return false;
        }
    }

    /** Null for what cannot be looked at; that has then been said. */
    private Facts look(FileType type, byte[] name, int length) {
        String text = Names.decode(name, length);
        if (text == null || !Names.isReachable(text)) {
            session.fail(Exit.FAILED, Names.join(directory, new String(name, 0, length,
                    StandardCharsets.UTF_8)) + ": " + Names.UNREACHABLE);
            return null;
        }
        String path = Names.join(directory, text);
        try {
            return type == FileType.LINK ? Facts.ofLink(path)
                    : type == FileType.UNKNOWN ? Facts.of(path, false, reader)
                    : Facts.ofTarget(path, false, reader);
        } catch (IOException e) {
            session.fail(path, e);
            return null;
        }
    }

    private void line(FileType type, Facts facts, byte[] name, int length) {
        if (facts == null) {
            out.text(String.format("%-11s %-8s %-8s %12s %16s ", type.letter() + "?????????", "?", "?",
                    "?", "?"));
        } else {
            out.text(String.format("%-11s %-8s %-8s %12d %s ", facts.modeText(),
                    users.computeIfAbsent(facts.uid, id -> session.shown(Accounts.userOrId(id))),
                    groups.computeIfAbsent(facts.gid, id -> session.shown(Accounts.groupOrId(id))),
                    facts.size, time(facts.modified)));
        }
        session.show(name, length);
        if (facts != null && facts.target != null) {
            out.text(" -> ");
            session.show(facts.target, facts.target.length);
        }
        out.endName();
    }

    private String time(Instant instant) {
        if (time == null) {
            time = DateTimeFormatter.ofPattern("yyyy-MM-dd HH:mm").withZone(ZoneId.systemDefault());
        }
        return time.format(instant);
    }
}
