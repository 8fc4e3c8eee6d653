package zolt.cli.doctor;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import zolt.fs.Accounts;
import zolt.fs.Acl;
import zolt.fs.Identity;
import zolt.fs.ThreadIdentity;
import zolt.fs.ZoltLibrary;

/** What the doctor looks at in the process and on the machine. */
public final class ProcessChecks {
    /** Only the embedded client reads this variable. */
    private static final String EMBEDDED_MARK = "ZOLT_LOCAL_NODES";
    private static final long AMPLE_FILES = 65536;
    static final String OTHER_GROUP = "where a process has another group than root, a user whom it acts for has root's"
            + " groups after a full status";
    static final String EMBEDDED = ", the embedded one: nodes, copies and blocks are a model on this machine";
    static final String SITES_CLIENT = "on a ZOLT file system, put the site's libzolt.so first on LD_LIBRARY_PATH, or leave"
            + " the package of the embedded one out";
    static final String NAMESPACE = "in a user namespace, see /proc/PID/setgroups and the id maps";
    static final String MORE_FILES = "LimitNOFILE=" + AMPLE_FILES + " in the NameNode's unit, or ulimit -n";

    private final Findings findings;

    public ProcessChecks(Findings findings) {
        this.findings = findings;
    }

    public void java() {
        findings.ok("java", System.getProperty("java.version") + ", " + System.getProperty("java.home"));
    }

    /** Whether the library is loaded: nothing else can be looked at without it. */
    public boolean library() {
        try {
            ZoltLibrary.load();
        } catch (LinkageError e) {
            findings.fail("library", String.valueOf(e.getMessage()), System.getenv("ZOLT_LIBRARY") != null
                    ? "correct ZOLT_LIBRARY" : "install what is missing: the library (or name its file in ZOLT_LIBRARY), or"
                            + " the client of the file system, which for a trial is libzolt-local");
            return false;
        }
        findings.ok("library", shown(ZoltLibrary.file().orElse(null)) + ", version "
                + ZoltLibrary.version());
        return true;
    }

    public void client() throws IOException {
        Path client = ZoltLibrary.clientFile().orElse(null);
        if (isEmbedded(client)) {
            findings.warn("client", shown(client) + EMBEDDED, SITES_CLIENT);
        } else {
            findings.ok("client", shown(client));
        }
    }

    public static boolean isEmbedded(Path client) throws IOException {
        return client != null && new String(Files.readAllBytes(client), StandardCharsets.ISO_8859_1)
                .contains(EMBEDDED_MARK);
    }

    public void acl() {
        if (!ZoltLibrary.aclFile().isPresent()) {
            findings.fail("libacl", "libacl.so.1 is not available", "install libacl1");
            return;
        }
        String file = shown(ZoltLibrary.aclFile().get());
        if (!Acl.isAvailable()) {
            findings.fail("libacl", file + ", but it lacks functions that are needed", "install a current libacl1");
            return;
        }
        try {
            Acl.get("/");
            findings.ok("libacl", file);
        } catch (IOException e) {
            findings.ok("libacl", file + " (no access control lists on /)");
        }
    }

    /** What the process itself may do has been given up by then. */
    public void acting() throws IOException {
        findings.ok("identity", "acts as " + ThreadIdentity.now() + "; capabilities are looked at without --as");
    }

    public void capabilities() throws IOException {
        Rights rights = Rights.now();
        long uid = ThreadIdentity.now().uid();
        if (!rights.has(Rights.SETUID, Rights.SETGID)) {
            findings.warn("identity", "no CAP_SETUID and CAP_SETGID: every call has the rights of "
                    + Accounts.userOrId(uid), "run the NameNode as root with a bounded capability set");
            return;
        }
        if (rights.switches()) {
            switched();
        } else {
            findings.warn("identity", OTHER_GROUP, "run the NameNode as root, with the group root");
        }
        String left = rights.left();
        if (!left.isEmpty() && uid != 0) {
            findings.fail("capabilities", Accounts.userOrId(uid) + " has " + left + " and keeps that while"
                    + " acting for others: every caller gets it", "run as root with a bounded capability"
                            + " set, or take these capabilities away");
        } else if (!left.isEmpty()) {
            // The command gives them up before it acts for anyone; a service has to be started without.
            findings.warn("capabilities", "what is started here has " + left + " and keeps that while"
                    + " acting for others: a NameNode's callers would get it",
                    "CapabilityBoundingSet= in the NameNode's unit");
        } else if (mayAll(findings, uid, rights)) {
            findings.ok("capabilities", "CAP_SETUID, CAP_SETGID, CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH,"
                    + " CAP_FOWNER, CAP_CHOWN");
        }
    }

    /** Whether one that leaves others nothing has what it needs itself; says so where it has not. */
    static boolean mayAll(Findings findings, long uid, Rights rights) {
        if (uid != 0) {
            findings.warn("capabilities", "the superuser of a full status owns the files of root and may"
                    + " open no one else's", "run as root with a bounded capability set");
        } else if (!rights.mayHave(Rights.DAC_OVERRIDE, Rights.DAC_READ_SEARCH, Rights.FOWNER,
                Rights.CHOWN)) {
            findings.warn("capabilities", "root without all of CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH,"
                    + " CAP_FOWNER, CAP_CHOWN", "add them to CapabilityBoundingSet=");
        } else {
            return true;
        }
        return false;
    }

    /** Tries it, rather than to believe in the capabilities. */
    private void switched() {
        try (Identity as = Identity.of("nobody")) {
            ThreadIdentity now = ThreadIdentity.now();
            if (now.uid() == Accounts.uid(as.user())) {
                findings.ok("identity", "switched to " + now + " and back");
            } else {
                findings.fail("identity", "a switch to nobody ended as " + now, "look at ZOLT_LOG=debug");
            }
        } catch (IOException e) {
            findings.fail("identity", String.valueOf(e.getMessage()), NAMESPACE);
        }
    }

    public void nobody() {
        String mend = "create the user on every node, with the same id";
        try {
            findings.ok("nobody", "has the id " + Accounts.uid("nobody"));
        } catch (IOException e) {
            findings.fail("nobody", "is not known: callers whom the database does not know cannot be"
                    + " served", mend);
        }
        try {
            findings.ok("superuser", "is " + Accounts.user(0));
        } catch (IOException e) {
            findings.fail("superuser", "the user id 0 has no name", mend);
        }
    }

    public void logger() {
        String level = ZoltLibrary.logLevel();
        String what = level + ": the library writes " + written(level);
        if (level.equals("trace") || level.equals("debug")) {
            findings.warn("log level", what, "for running, WARN is the level");
        } else {
            findings.ok("log level", what + " (this is the command's own; a NameNode's is in its Log4j)");
        }
    }

    private static String written(String level) {
        switch (level) {
            case "trace":
                return "everything, and examines each refused path";
            case "debug":
                return "debug, info, warnings and errors";
            case "warn":
                return "warnings and errors; a logger at INFO comes to the same";
            case "error":
                return "errors";
            default:
                return "nothing";
        }
    }

    public void openFiles() throws IOException {
        String limit = mostOpenFiles(Paths.get("/proc/self/limits"));
        if (isAmple(limit)) {
            findings.ok("open files", "up to " + limit);
        } else {
            findings.warn("open files", "up to " + limit + " in a process that is started here", MORE_FILES);
        }
    }

    /** By the file "limits" of a process: a number, or "unlimited". */
    static String mostOpenFiles(Path limits) throws IOException {
        for (String line : Files.readAllLines(limits, StandardCharsets.ISO_8859_1)) {
            if (line.startsWith("Max open files")) {
                return line.substring("Max open files".length()).trim().split(" +")[0];
            }
        }
        throw new IOException(limits + " has no line of open files");
    }

    static boolean isAmple(String limit) {
        return limit.equals("unlimited") || Long.parseLong(limit) >= AMPLE_FILES;
    }

    private static String shown(Path file) {
        return file == null ? "(this process cannot tell which file)"
                : file.toString();
    }
}
