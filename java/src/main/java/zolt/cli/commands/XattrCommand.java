package zolt.cli.commands;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Base64;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Json;
import zolt.cli.output.Names;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;
import zolt.fs.DirectoryEntry;
import zolt.fs.ExtendedAttributes;
import zolt.fs.FileOperations;
import zolt.fs.FileType;

/** Extended attributes; each verb is a command of its own. */
final class XattrCommand extends Group {
    private static final String FORM = "How values are written: ${COMPLETION-CANDIDATES}.";

    XattrCommand(Session session) {
        super("xattr", "Extended attributes. Those of a symbolic link are its own: it is not followed.",
                new Get(session), new Set(session), new List_(session), new Remove(session));
    }

    /** The kernel says of both only that it does not support them. */
    private static void checkName(String name) throws Failure {
        if (name.indexOf('.') <= 0 || name.endsWith(".")) {
            throw new Failure(Exit.USAGE, name + " is no name of an attribute: it begins with a namespace, as"
                    + " user.colour does");
        }
        if (!DirectoryEntry.isReachable(name)) {
            throw new Failure(Exit.USAGE, name + " has a character beyond U+FFFF, or U+FFFD, and cannot be expressed");
        }
        if (name.equals("user.lease.holder") || name.equals("user.lease.update")) {
            throw new Failure(Exit.USAGE, name + " belongs to the lease of the file: see zolt lease");
        }
    }

    /** Whether a file may have attributes that users set; where the type is not known, that shows. */
    private static boolean mayHave(FileType type) {
        return type == FileType.UNKNOWN || type == FileType.FILE || type == FileType.DIRECTORY;
    }

    /** The bytes as they are; only a terminal is spared what would change it. */
    private static void show(Session session, ValueForm form, String name, byte[] value) {
        byte[] line = ValueForm.line(form, name, value).getBytes(StandardCharsets.ISO_8859_1);
        if (session.outIsTerminal) {
            session.out.line(Shown.line(line, line.length));
        } else {
            session.out.write(line, line.length);
            session.out.write('\n');
        }
    }

    @Command(name = "get", description = "Show the value of an attribute.",
            footer = {"", "Example: zolt xattr get -e hex user.colour /srv/data/part-0000"})
    static final class Get extends TreeAction {
        @Option(names = {"-e", "--encoding"}, paramLabel = "FORM", description = FORM)
        ValueForm form;

        @Option(names = "--raw", description = "Only the bytes of the value, as they are.")
        boolean raw;

        @Parameters(index = "0", paramLabel = "NAME", description = "With its namespace: user.colour.")
        String name;

        @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*",
                description = "What to look at.")
        List<String> paths;

        Get(Session session) {
            super(session);
        }

        @Override
        void run() throws IOException, Failure {
            checkName(name);
            forAll(paths, null, (path, type) -> {
                Optional<byte[]> found = ExtendedAttributes.of(path).get(name);
                if (!found.isPresent() && recursive) {
                    return false;
                }
                if (!found.isPresent()) {
                    throw new Failure(Exit.NOT_FOUND, name + ": no such attribute");
                }
                byte[] value = found.get();
                if (raw) {
                    out.write(value, value.length);
                } else if (json) {
                    out.line(new Json().put("path", path).put("name", name).put("value", value)
                            .toString());
                } else {
                    out.line("# file: " + session.header(path));
                    show(session, form, name, value);
                    out.line("");
                }
                return true;
            });
        }
    }

    @Command(name = "list", description = {"Show all attributes but those of a lease, as getfattr(1) does.",
        "Those whose values the user may not read are left out."},
            footer = {"", "Example: zolt xattr list /srv/data/part-0000"})
    static final class List_ extends TreeAction {
        @Option(names = {"-e", "--encoding"}, paramLabel = "FORM", description = FORM)
        ValueForm form;

        @Parameters(paramLabel = "PATH", arity = "1..*", description = "What to look at.")
        List<String> paths;

        List_(Session session) {
            super(session);
        }

        @Override
        void run() throws IOException {
            forAll(paths, null, (path, type) -> {
                FileOperations.inode(path, false); // a listing's own failure does not say what it is
                Map<String, byte[]> all = ExtendedAttributes.of(path).all();
                if (json) {
                    out.line(object(path, all).toString());
                } else if (!all.isEmpty()) {
                    out.line("# file: " + session.header(path));
                    all.forEach((name, value) -> show(session, form, name, value));
                    out.line("");
                }
                return true;
            });
        }
    }

    /** A name that is no UTF-8 is no key: two such names could be the same text. */
    private static Json object(String path, Map<String, byte[]> all) {
        Json values = new Json();
        Json exact = new Json();
        boolean isText = true;
        for (Map.Entry<String, byte[]> each : all.entrySet()) {
            if (Names.hasBytes(each.getKey())) {
                isText = false;
                exact.put(base64(Names.bytes(each.getKey())), base64(each.getValue()));
            } else {
                values.put(each.getKey(), each.getValue());
            }
        }
        Json object = new Json().put("path", path).put("attributes", values);
        return isText ? object : object.put("attributesBase64", exact);
    }

    private static String base64(byte[] bytes) {
        return Base64.getEncoder().encodeToString(bytes);
    }

    @Command(name = "set", description = "Set an attribute.", footer = {"",
        "Examples: zolt xattr set user.colour green /srv/data/part-0000",
        "          zolt xattr set user.key 0x00ff /srv/data/part-0000"})
    static final class Set extends TreeAction {
        @Option(names = {"-e", "--encoding"}, paramLabel = "FORM",
                description = "How VALUE is written: ${COMPLETION-CANDIDATES}. If omitted, 0x begins hex,"
                        + " 0s begins base64, and all else is text.")
        ValueForm form;

        @Option(names = "--create", description = "Fail when it is there.")
        boolean create;

        @Option(names = "--replace", description = "Fail when it is not there.")
        boolean replace;

        @Parameters(index = "0", paramLabel = "NAME", description = "With its namespace: user.colour.")
        String name;

        @Parameters(index = "1", paramLabel = "VALUE", description = "The value.")
        String value;

        @Parameters(index = "2..*", paramLabel = "PATH", arity = "1..*",
                description = "What to change.")
        List<String> paths;

        Set(Session session) {
            super(session);
        }

        @Override
        void run() throws IOException, Failure {
            checkName(name);
            if (create && replace) {
                throw new Failure(Exit.USAGE, "--create and --replace exclude each other");
            }
            byte[] bytes = ValueForm.parse(form, value);
            forAll(paths, "changed", (path, type) -> {
                if (!mayHave(type)) {
                    return false;
                }
                set(ExtendedAttributes.of(path), bytes);
                done(new Json().put("path", path).put("name", name).put("value", bytes));
                return true;
            });
        }

        private void set(ExtendedAttributes attributes, byte[] bytes) throws IOException {
            if (create) {
                attributes.create(name, bytes);
            } else if (replace) {
                attributes.replace(name, bytes);
            } else {
                attributes.set(name, bytes);
            }
        }
    }

    @Command(name = "remove", description = "Remove an attribute.",
            footer = {"", "Example: zolt xattr remove user.colour /srv/data/part-0000"})
    static final class Remove extends TreeAction {
        @Parameters(index = "0", paramLabel = "NAME", description = "With its namespace: user.colour.")
        String name;

        @Parameters(index = "1..*", paramLabel = "PATH", arity = "1..*",
                description = "What to change.")
        List<String> paths;

        Remove(Session session) {
            super(session);
        }

        @Override
        void run() throws IOException, Failure {
            checkName(name);
            forAll(paths, "changed", (path, type) -> {
                if (recursive && !ExtendedAttributes.of(path).get(name).isPresent()) {
                    return false;
                }
                ExtendedAttributes.of(path).remove(name);
                done(new Json().put("path", path).put("removed", name));
                return true;
            });
        }
    }
}
