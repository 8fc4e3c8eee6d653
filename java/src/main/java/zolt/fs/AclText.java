package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;

/** The text form of access control lists, as getfacl(1) writes and setfacl(1) reads it. */
final class AclText {
    private AclText() {}

    /** Reads entries, one a line or separated by commas; what follows a "#" is a remark. */
    static List<AclEntry> parse(String text, boolean withPermissions) throws IOException {
        List<AclEntry> entries = new ArrayList<>();
        for (String line : text.split("\n", -1)) {
            int remark = line.indexOf('#');
            for (String entry : (remark >= 0 ? line.substring(0, remark) : line).split(",")) {
                if (!entry.trim().isEmpty()) {
                    entries.add(entry(entry.trim(), withPermissions));
                }
            }
        }
        return entries;
    }

    private static AclEntry entry(String text, boolean withPermissions) throws IOException {
        List<String> fields = new ArrayList<>();
        for (String field : text.split(":", -1)) {
            fields.add(field.trim());
        }
        AclEntry.Scope scope = AclEntry.Scope.ACCESS;
        if (isWord(fields.get(0), "default")) {
            scope = AclEntry.Scope.DEFAULT;
            fields.remove(0);
        }
        String word = fields.isEmpty() ? "" : fields.remove(0);
        boolean user = isWord(word, "user");
        boolean group = isWord(word, "group");
        boolean named = user || group;
        boolean mask = isWord(word, "mask");
        if (!named && !mask && !isWord(word, "other")) {
            throw wrong(text, "it begins with none of user, group, mask, other");
        }
        // "other:r" is as good as "other::r".
        String who = fields.isEmpty() || !named && withPermissions && fields.size() == 1 ? ""
                : fields.remove(0);
        String permissions = fields.isEmpty() ? "" : fields.remove(0);
        if (!fields.isEmpty() || !named && !who.isEmpty()) {
            throw wrong(text, "it has too many fields");
        }
        if (withPermissions == permissions.isEmpty()) {
            throw wrong(text, withPermissions ? "it has no permissions"
                    : "it has permissions, which a removal has not");
        }
        int bits = withPermissions ? permissions(permissions, text) : 0;
        if (who.isEmpty()) {
            return AclEntry.of(scope, user ? AclEntry.Type.OWNER : group ? AclEntry.Type.OWNING_GROUP
                    : mask ? AclEntry.Type.MASK : AclEntry.Type.OTHER, 0, bits);
        }
        return user ? AclEntry.of(scope, AclEntry.Type.USER, id(unquoted(who), true), bits)
                : AclEntry.of(scope, AclEntry.Type.GROUP, id(unquoted(who), false), bits);
    }

    private static boolean isWord(String text, String word) {
        return !text.isEmpty() && (text.equals(word) || text.equals(word.substring(0, 1)));
    }

    /** A number is an id, as setfacl(1) takes it, also where a name looks like one. */
    private static long id(String who, boolean user) throws IOException {
        if (who.chars().allMatch(c -> c >= '0' && c <= '9') && who.length() <= 10) {
            return Long.parseLong(who);
        }
        return user ? Accounts.uid(who) : Accounts.gid(who);
    }

    private static int permissions(String text, String entry) {
        if (text.length() == 1 && text.charAt(0) >= '0' && text.charAt(0) <= '7') {
            return text.charAt(0) - '0';
        }
        int bits = 0;
        for (char c : text.toCharArray()) {
            switch (c) {
                case 'r':
                    bits |= AclEntry.READ;
                    break;
                case 'w':
                    bits |= AclEntry.WRITE;
                    break;
                case 'x':
                    bits |= AclEntry.EXECUTE;
                    break;
                case '-':
                    break;
                default:
                    throw wrong(entry, "\"" + text + "\" are no permissions: r, w, x and -, or 0 to 7");
            }
        }
        return bits;
    }

    private static IllegalArgumentException wrong(String entry, String why) {
        return new IllegalArgumentException("\"" + entry + "\" is no entry of an ACL: " + why);
    }

    /** Characters that the form itself uses are written as a backslash and three octal digits. */
    static String quoted(String name) {
        StringBuilder text = new StringBuilder();
        for (byte each : name.getBytes(StandardCharsets.UTF_8)) {
            if (each >= 0 && (each <= ' ' || ":,#\\".indexOf(each) >= 0)) {
                text.append(String.format(Locale.ROOT, "\\%03o", (int) each));
            } else {
                text.append((char) (each & 0xff));
            }
        }
        return new String(text.toString().getBytes(StandardCharsets.ISO_8859_1),
                StandardCharsets.UTF_8);
    }

    private static String unquoted(String name) {
        if (name.indexOf('\\') < 0) {
            return name;
        }
        StringBuilder bytes = new StringBuilder();
        String raw = new String(name.getBytes(StandardCharsets.UTF_8), StandardCharsets.ISO_8859_1);
        for (int at = 0; at < raw.length(); at++) {
            if (raw.startsWith("\\", at) && raw.substring(at + 1).matches("(?s)[0-3][0-7][0-7].*")) {
                bytes.append((char) Integer.parseInt(raw.substring(at + 1, at + 4), 8));
                at += 3;
            } else {
                bytes.append(raw.charAt(at));
            }
        }
        return new String(bytes.toString().getBytes(StandardCharsets.ISO_8859_1),
                StandardCharsets.UTF_8);
    }

    /** One line for each entry, with a remark where the mask takes something away. */
    static String format(Acl acl, boolean numeric) {
        StringBuilder text = new StringBuilder();
        for (AclEntry entry : acl.entries()) {
            text.append(entry.text(numeric));
            int effective = acl.effective(entry);
            if (effective != entry.permissions()) {
                text.append("\t#effective:").append(AclEntry.letters(effective));
            }
            text.append('\n');
        }
        return text.toString();
    }
}
