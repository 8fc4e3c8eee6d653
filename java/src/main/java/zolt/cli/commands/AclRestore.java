package zolt.cli.commands;

import java.io.BufferedReader;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Names;
import zolt.cli.output.Session;
import zolt.fs.Accounts;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.DirectoryEntry;
import zolt.fs.FileStatus;

@Command(name = "restore", description = {"Restore lists, owners, groups and flags from what acl get -R or"
    + " getfacl -R has printed, as setfacl --restore does.",
    "What is not in the file stays as it is; a path in it is taken as it stands there. Links on it are followed, as"
        + " setfacl does, and owner and list of what they lead to are changed: in a tree where others may make links,"
        + " that may be anything."},
        footer = {"", "Example: zolt acl get -R /srv/data >lists; zolt acl restore lists"})
final class AclRestore extends Action {
    private static final int FLAGS = 07000;
    private static final int PERMISSIONS = 0777;

    @Parameters(paramLabel = "FILE", description = "The file; \"-\" is standard input.")
    String file;

    private FileStatus status;
    private long restored;

    AclRestore(Session session) {
        super(session);
    }

    /** What is said of one path. */
    private static final class Block {
        String path;
        String owner;
        String group;
        String flags = "---";
        final StringBuilder entries = new StringBuilder();
    }

    /** A whole file. */
    static String text(Session session, String file) throws Failure {
        try (InputStream in = open(session, file)) {
            ByteArrayOutputStream bytes = new ByteArrayOutputStream();
            byte[] part = new byte[8192];
            for (int count = in.read(part); count >= 0; count = in.read(part)) {
                bytes.write(part, 0, count);
            }
            return new String(bytes.toByteArray(), StandardCharsets.UTF_8);
        } catch (IOException e) {
            throw Failure.about(file, e);
        }
    }

    private static InputStream open(Session session, String file) throws IOException {
        return file.equals(STANDARD_INPUT) ? session.in : Files.newInputStream(Paths.get(file));
    }

    @Override
    void run() throws Failure {
        status = new FileStatus();
        session.stop.listen();
        int number = 0;
        try (BufferedReader lines = new BufferedReader(
                new InputStreamReader(open(session, file), StandardCharsets.ISO_8859_1))) {
            Block block = new Block();
            for (String line = lines.readLine(); line != null; line = lines.readLine()) {
                number++;
                if (!line.trim().isEmpty()) {
                    add(block, line, number);
                } else if (block.path != null) {
                    restore(block);
                    block = new Block();
                }
                if (session.stop.isAsked()) {
                    return;
                }
            }
            if (block.path != null) {
                restore(block);
            }
        } catch (IOException e) {
            throw Failure.about(file, e);
        } finally {
            if (session.code() != Exit.OK || session.stop.isAsked()) {
                session.say(restored + " restored" + (session.stop.isAsked()
                        ? ", and then stopped by a signal" : ""));
            }
        }
    }

    private void add(Block block, String line, int number) throws Failure {
        if (line.startsWith("# file: ")) {
            byte[] name = unquoted(line.substring("# file: ".length())).getBytes(StandardCharsets.ISO_8859_1);
            if (block.path != null) {
                throw new Failure(Exit.USAGE, file + ": line " + number + " begins with another file: an empty line"
                        + " is to end what is said of " + block.path);
            }
            block.path = Names.text(name, name.length);
        } else if (block.path == null) {
            throw new Failure(Exit.USAGE, file + ": line " + number + " is about no file: \"# file: PATH\" is"
                    + " to come first");
        } else if (line.startsWith("# owner: ")) {
            block.owner = name(line.substring("# owner: ".length()));
        } else if (line.startsWith("# group: ")) {
            block.group = name(line.substring("# group: ".length()));
        } else if (line.startsWith("# flags: ")) {
            block.flags = line.substring("# flags: ".length()).trim();
        } else {
            block.entries.append(line).append('\n');
        }
    }

    private static String name(String quoted) {
        return new String(unquoted(quoted).getBytes(StandardCharsets.ISO_8859_1), StandardCharsets.UTF_8);
    }

    /** A backslash and three octal digits are a byte; two backslashes are one. */
    private static String unquoted(String text) {
        StringBuilder plain = new StringBuilder();
        for (int at = 0; at < text.length(); at++) {
            String rest = text.substring(at, Math.min(text.length(), at + 4));
            if (rest.matches("\\\\[0-3][0-7][0-7]")) {
                plain.append((char) Integer.parseInt(rest.substring(1), 8));
                at += 3;
            } else {
                at += rest.startsWith("\\\\") ? 1 : 0;
                plain.append(text.charAt(at));
            }
        }
        return plain.toString();
    }

    private void restore(Block block) {
        try {
            if (!DirectoryEntry.isReachable(block.path)) {
                throw new Failure(Exit.FAILED, Names.UNREACHABLE);
            }
            status.readFast(block.path);
            own(block);
            Acl acl = AclChange.parse(new String(block.entries.toString().getBytes(StandardCharsets.ISO_8859_1),
                    StandardCharsets.UTF_8), false, Acl::parse).of(block.path, status.type());
            acl.set(block.path);
            if (status.isDirectory() && acl.entries().stream()
                    .noneMatch(entry -> entry.scope() == AclEntry.Scope.DEFAULT)) {
                Acl.clearDefault(block.path);
            }
            flag(block);
            restored++;
            done(new Json().put("path", block.path).put("acl", acl.toString()));
        } catch (IOException | Failure | RuntimeException e) {
            session.fail(block.path, e);
        }
    }

    /** A NameNode changes no owners by the library, so this is the system's own call. */
    private void own(Block block) throws IOException, Failure {
        Path path = Paths.get(block.path);
        long uid = block.owner == null ? status.uid() : id(block.owner, true);
        long gid = block.group == null ? status.gid() : id(block.group, false);
        if (uid != status.uid()) {
            Files.setAttribute(path, "unix:uid", (int) uid);
        }
        if (gid != status.gid()) {
            Files.setAttribute(path, "unix:gid", (int) gid);
        }
    }

    private static long id(String name, boolean user) throws Failure {
        try {
            return name.matches("[0-9]{1,10}") ? Long.parseLong(name)
                    : user ? Accounts.uid(name) : Accounts.gid(name);
        } catch (IOException e) {
            throw new Failure(Exit.NOT_FOUND, name + ": unknown " + (user ? "user" : "group"));
        }
    }

    private void flag(Block block) throws IOException, Failure {
        status.readFast(block.path);
        int flags = 0;
        for (int at = 0; at < 3 && at < block.flags.length(); at++) {
            flags |= block.flags.charAt(at) == '-' ? 0 : 04000 >> at;
        }
        if ((status.mode() & FLAGS) != flags) {
            Files.setAttribute(Paths.get(block.path), "unix:mode", status.mode() & PERMISSIONS | flags);
            status.readFast(block.path);
            if ((status.mode() & FLAGS) != flags) { // the kernel gives set-group-id to members of the group alone
                throw new Failure(Exit.DENIED, "the flags " + block.flags + " are not permitted");
            }
        }
    }
}
