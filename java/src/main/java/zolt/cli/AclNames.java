package zolt.cli;

import zolt.fs.AclEntry;

/** Words of access control lists as getfacl(1) writes them. */
final class AclNames {
    private AclNames() {}

    static String word(AclEntry.Type type) {
        switch (type) {
            case OWNER:
            case USER:
                return "user";
            case OWNING_GROUP:
            case GROUP:
                return "group";
            case MASK:
                return "mask";
            default:
                return "other";
        }
    }

    static String letters(int permissions) {
        return ((permissions & AclEntry.READ) != 0 ? "r" : "-")
                + ((permissions & AclEntry.WRITE) != 0 ? "w" : "-")
                + ((permissions & AclEntry.EXECUTE) != 0 ? "x" : "-");
    }

    /** A name in the header: line ends and backslashes would end or change it. */
    static String quoted(Session session, String name) {
        if (session.outIsTerminal) {
            return Shown.name(name);
        }
        StringBuilder text = new StringBuilder();
        for (int at = 0; at < name.length(); at++) {
            char each = name.charAt(at);
            if (each == '\\') {
                text.append("\\\\");
            } else if (each == '\n' || each == '\r') {
                text.append(String.format("\\%03o", (int) each));
            } else {
                text.append(each);
            }
        }
        return text.toString();
    }
}
