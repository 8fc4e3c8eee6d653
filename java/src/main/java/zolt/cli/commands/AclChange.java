package zolt.cli.commands;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

/** Entries as a person gives them for many paths: "X", and what only directories have, differ by path. */
final class AclChange {
    /** How entries are read: with or without permissions. */
    interface Reader {
        Acl read(String text) throws IOException;
    }

    /** An X among the permissions, which are the last field. */
    private static final Pattern CONDITIONAL = Pattern.compile("(:\\s*[rwx-]*)X([rwx-]*\\s*(?=[,\n#]|$))");

    private final Acl withExecute;
    private final Acl without;
    private final boolean conditional;
    private final FileStatus reader = new FileStatus();

    private AclChange(Acl withExecute, Acl without, boolean conditional) {
        this.withExecute = withExecute;
        this.without = without;
        this.conditional = conditional;
    }

    static AclChange parse(String text, boolean toDefault, Reader reader) throws Failure {
        Matcher matcher = CONDITIONAL.matcher(text);
        boolean conditional = matcher.find();
        try {
            Acl with = reader.read(matcher.replaceAll("$1x$2"));
            Acl without = conditional ? reader.read(matcher.replaceAll("$1-$2")) : with;
            return toDefault ? new AclChange(inherited(with), inherited(without), conditional)
                    : new AclChange(with, without, conditional);
        } catch (IOException e) {
            throw new Failure(Exit.NOT_FOUND, text.trim() + ": unknown user or group");
        } catch (IllegalArgumentException e) {
            throw new Failure(Exit.USAGE, e.getMessage());
        }
    }

    private static Acl inherited(Acl acl) {
        List<AclEntry> list = new ArrayList<>();
        for (AclEntry entry : acl.entries()) {
            list.add(entry.inherited());
        }
        return Acl.of(list);
    }

    /** @param type what it is known to be; then a file is spared the entries of directories */
    Acl of(String path, FileType type) throws IOException {
        Acl acl = conditional && !isExecutable(path) ? without : withExecute;
        if (type == FileType.UNKNOWN || type == FileType.DIRECTORY) {
            return acl;
        }
        List<AclEntry> list = new ArrayList<>(acl.entries());
        list.removeIf(entry -> entry.scope() == AclEntry.Scope.DEFAULT);
        return Acl.of(list);
    }

    private boolean isExecutable(String path) throws IOException {
        reader.readFast(path);
        if (reader.isDirectory()) {
            return true;
        }
        for (AclEntry entry : Acl.get(path).entries()) {
            if ((entry.permissions() & AclEntry.EXECUTE) != 0) {
                return true;
            }
        }
        return false;
    }
}
