package zolt.cli.commands;

import java.io.IOException;
import java.time.Instant;
import java.time.ZoneId;
import java.time.format.DateTimeFormatter;
import java.util.HashMap;
import java.util.Map;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Kind;
import zolt.cli.output.Names;
import zolt.cli.output.Output;
import zolt.cli.output.Session;
import zolt.cli.output.Sizes;
import zolt.fs.Accounts;
import zolt.fs.DirectoryEntry;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

/** Shows entries: their names alone, a line with all that is known, or an object in JSON. */
final class Entries {
    private final Session session;
    private final Output out;
    private final boolean details;
    private final boolean json;
    private final boolean human;
    private final FileStatus reader = new FileStatus();
    private final Map<Long, String> users = new HashMap<>();
    private final Map<Long, String> groups = new HashMap<>();
    private DateTimeFormatter time;
    private String directory = "";

    Entries(Session session, boolean details, boolean json, boolean human) {
        this.session = session;
        this.out = session.out;
        this.details = details;
        this.json = json;
        this.human = human;
    }

    /** Whether an entry is its name and nothing else. */
    boolean areBareNames() {
        return !details && !json && !session.outIsTerminal;
    }

    /** Says in which directory the next entries are. */
    void enter(String path) {
        directory = path;
    }

    /** Shows an entry; what is not yet known of it and is to be shown is asked for. */
    void show(Item item) {
        if (details && item.facts == null) {
            look(item);
        }
        if (json) {
            Json object = new Json().put("directory", directory).put("name", item.name, item.length);
            if (item.facts == null) {
                object.put("type", Kind.of(item.type)).put("inode", item.inode);
            } else {
                item.facts.putInto(object);
            }
            out.line(object.toString());
        } else if (details) {
            line(item);
        } else {
            session.show(item.name, item.length);
            out.endName();
        }
    }

    /** Shows a path by itself. */
    void show(String path) throws IOException {
        show(path, Facts.of(path, false, reader));
    }

    void show(String path, Facts facts) {
        if (json) {
            out.line(facts.putInto(new Json().put("path", path)).toString());
        } else {
            show(Item.of(path, facts));
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

    /** Asks for the facts of an entry. That they cannot be had is said. */
    void look(Item item) {
        String text = Names.decode(item.name, item.length);
        if (text == null || !DirectoryEntry.isReachable(text)) {
            session.fail(Names.join(directory, Names.text(item.name, item.length)),
                    new Failure(Exit.FAILED, Names.UNREACHABLE));
            return;
        }
        String path = Names.join(directory, text);
        try {
            item.facts = item.type == FileType.LINK ? Facts.ofLink(path)
                    : item.type == FileType.UNKNOWN ? Facts.of(path, false, reader)
                    : Facts.ofTarget(path, false, reader);
        } catch (IOException e) {
            session.fail(path, e);
        }
    }

    private void line(Item item) {
        Facts facts = item.facts;
        if (facts == null) {
            out.text(String.format("%-11s %-8s %-8s %12s %16s ", item.type.letter() + "?????????", "?", "?",
                    "?", "?"));
        } else {
            out.text(String.format("%-11s %-8s %-8s %12s %s ", facts.modeText(),
                    users.computeIfAbsent(facts.uid, id -> session.shown(Accounts.userOrId(id))),
                    groups.computeIfAbsent(facts.gid, id -> session.shown(Accounts.groupOrId(id))),
                    human ? Sizes.human(facts.size) : "" + facts.size, time(facts.modified)));
        }
        session.show(item.name, item.length);
        if (facts != null && facts.target != null) {
            out.text(" -> ");
            session.show(facts.target, facts.target.length);
        }
        out.endName();
    }

    private String time(Instant instant) {
        if (time == null) {
            time = Facts.times("HH:mm").withZone(ZoneId.systemDefault());
        }
        return time.format(instant);
    }
}
