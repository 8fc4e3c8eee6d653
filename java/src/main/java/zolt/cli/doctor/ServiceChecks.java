package zolt.cli.doctor;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.TreeSet;
import zolt.fs.Accounts;

/** What the doctor looks at in a service that runs (proc(5)). It sees it from outside and asks it nothing. */
public final class ServiceChecks {
    private static final String AGAIN = "start the service again, so that it runs what is installed";
    private static final int NEARLY_ALL = 80;

    private final Findings findings;
    private final Path process;

    public ServiceChecks(Findings findings, long pid) {
        this.findings = findings;
        this.process = Paths.get("/proc/" + pid);
    }

    /** Why there is no such service; null where one runs. Only what runs a program has memory of its own. */
    public String whatIsMissing() throws IOException {
        if (!Files.isReadable(process.resolve("status"))) {
            return "no such process";
        }
        Map<String, String> status = status(process);
        return status.containsKey("VmSize") ? null : status.get("State").startsWith("Z")
                ? "this process has ended, and its parent has not asked for its exit code (a zombie)"
                : "this is a thread of the kernel, and no program";
    }

    public void all() throws IOException {
        Map<String, String> status = status(process);
        long uid = Long.parseLong(words(status, "Uid")[1]);
        findings.ok("process", process.getFileName() + " is " + status.get("Name") + " of " + Accounts.userOrId(uid)
                + ", " + status.get("Threads") + (status.get("Threads").equals("1") ? " thread" : " threads"));
        LoadedLibraries loaded = libraries();
        groups(status, capabilities(uid, loaded != null && loaded.has(LoadedLibraries.SERVICE)));
        openFiles();
    }

    /** Null where they may not be looked at. */
    private LoadedLibraries libraries() {
        LoadedLibraries loaded;
        try {
            loaded = new LoadedLibraries(process);
        } catch (IOException e) {
            findings.warn("libraries", "what it has loaded may not be looked at: " + Shortage.reason(e),
                    "ask as its user, or as root with all capabilities");
            return null;
        }
        // A DataNode of the HDFS service works without it, and loads no libacl, which is the library's own.
        boolean needed = loaded.has(LoadedLibraries.LIBRARY) || !loaded.has(LoadedLibraries.SERVICE);
        if (needed) {
            library(loaded, LoadedLibraries.LIBRARY);
        }
        library(loaded, LoadedLibraries.CLIENT);
        if (loaded.has(LoadedLibraries.LIBRARY) || loaded.has(LoadedLibraries.ACL)) {
            library(loaded, LoadedLibraries.ACL);
        }
        if (loaded.has(LoadedLibraries.SERVICE)) {
            library(loaded, LoadedLibraries.SERVICE);
        }
        return loaded;
    }

    private void library(LoadedLibraries loaded, String library) {
        String file = loaded.file(library);
        String check = library.substring(0, library.indexOf('.'));
        if (file == null) {
            findings.fail(check, "is not loaded", library.equals(LoadedLibraries.ACL)
                    ? "install libacl1, and start the service again"
                    : "the service has not used the library yet, or finds no " + library + ": see its log");
        } else if (library.equals(LoadedLibraries.CLIENT) && (loaded.isUnpacked(library) || isEmbedded(loaded.here(file)))) {
            findings.warn(check, file + ProcessChecks.EMBEDDED, ProcessChecks.SITES_CLIENT);
        } else if (loaded.isUnpacked(library)) {
            findings.ok(check, file + ", of the service's own jar, which is there for the time of the load alone");
        } else if (loaded.isGone(library)) {
            findings.warn(check, file + " has been replaced or removed since it was loaded", AGAIN);
        } else if (loaded.installedBeside(library) != null) {
            findings.warn(check, file + ", beside which " + loaded.installedBeside(library) + " is installed", AGAIN);
        } else {
            findings.ok(check, file);
        }
    }

    private static boolean isEmbedded(Path client) {
        try {
            return ProcessChecks.isEmbedded(client);
        } catch (IOException e) {
            return false;
        }
    }

    /**
     * Of all threads: each has capabilities of its own.
     *
     * @return whether the service switches users
     */
    private boolean capabilities(long uid, boolean ofTheService) throws IOException {
        TreeSet<String> left = new TreeSet<>();
        boolean permitted = true;
        boolean anywhere = false;
        boolean everywhere = true;
        try (DirectoryStream<Path> threads = Files.newDirectoryStream(process.resolve("task"))) {
            for (Path thread : threads) {
                Rights rights = Rights.of(thread.resolve("status"));
                left.add(rights.left());
                permitted &= rights.mayHave(Rights.SETUID, Rights.SETGID);
                boolean now = rights.has(Rights.SETUID, Rights.SETGID);
                anywhere |= now;
                everywhere &= now;
            }
        }
        left.remove("");
        boolean switches = permitted && anywhere;
        String user = Accounts.userOrId(uid);
        if (!switches && ofTheService) {
            findings.ok("capabilities", "it acts for no one else: what it does is done with the rights of " + user);
        } else if (!switches) {
            findings.warn("capabilities", "no CAP_SETUID and CAP_SETGID: every call has the rights of " + user,
                    uid == 0 ? "CAP_SETUID and CAP_SETGID in CapabilityBoundingSet= of its unit"
                            : "run the service as root with a bounded capability set");
        } else if (left.isEmpty()) {
            if (ProcessChecks.mayAll(findings, uid, Rights.of(process.resolve("status")))) {
                findings.ok("capabilities", "it switches users, and leaves them nothing of its own");
            }
        } else if (ofTheService) {
            findings.ok("capabilities", "it switches users, and puts " + String.join("; ", left) + " into effect by thread,"
                    + " for what it does itself: a caller gets none");
        } else if (!everywhere) {
            findings.warn("capabilities", "it puts " + String.join("; ", left) + " into effect by thread: whether callers"
                    + " get that cannot be seen from here", "if the service does without it, CapabilityBoundingSet= in its"
                            + " unit");
        } else {
            findings.fail("capabilities", "it has " + String.join("; ", left) + " and keeps that while acting for"
                    + " others: every caller gets it", uid == 0 ? "CapabilityBoundingSet= in the unit of the service"
                            : "User=root in its unit, and no AmbientCapabilities=: of root alone the kernel takes them"
                                    + " with each switch");
        }
        return switches;
    }

    private void groups(Map<String, String> status, boolean switches) {
        List<String> groups = new ArrayList<>();
        for (String gid : words(status, "Groups")) {
            groups.add(Accounts.groupOrId(Long.parseLong(gid)));
        }
        String first = Accounts.groupOrId(Long.parseLong(words(status, "Gid")[1]));
        boolean isRoots = words(status, "Gid")[1].equals("0");
        groups.remove(first);
        String all = first + (groups.isEmpty() ? ", and no others" : ", and " + String.join(", ", groups));
        if (switches && deniesGroups()) {
            findings.fail("groups", all + ": its user namespace denies setgroups(2), and so every switch to another user",
                    ProcessChecks.NAMESPACE);
        } else if (switches && !isRoots) {
            findings.warn("groups", all + ": " + ProcessChecks.OTHER_GROUP, "Group=root in the unit of the service");
        } else if (switches && !groups.isEmpty()) {
            findings.warn("groups", all + ": users whose first group is " + first + " have them too, while they are"
                    + " acted for", "SupplementaryGroups= in the unit of the service, with nothing behind it");
        } else {
            findings.ok("groups", all);
        }
    }

    private boolean deniesGroups() {
        try {
            return Files.readAllLines(process.resolve("setgroups"), StandardCharsets.US_ASCII).contains("deny");
        } catch (IOException e) {
            return false; // a kernel without user namespaces
        }
    }

    private void openFiles() throws IOException {
        String limit = ProcessChecks.mostOpenFiles(process.resolve("limits"));
        long open = 0;
        try (DirectoryStream<Path> files = Files.newDirectoryStream(process.resolve("fd"))) {
            for (Path ignored : files) {
                open++;
            }
        } catch (IOException e) {
            open = -1; // only its user and root may see them
        }
        String what = (open < 0 ? "" : open + " of ") + "up to " + limit;
        boolean scarce = !limit.equals("unlimited") && open * 100 > Long.parseLong(limit) * NEARLY_ALL;
        if (ProcessChecks.isAmple(limit) && !scarce) {
            findings.ok("open files", what);
        } else {
            findings.warn("open files", what, ProcessChecks.MORE_FILES);
        }
    }

    private static Map<String, String> status(Path process) throws IOException {
        Map<String, String> status = new TreeMap<>();
        for (String line : Files.readAllLines(process.resolve("status"), StandardCharsets.ISO_8859_1)) {
            int colon = line.indexOf(':');
            status.put(line.substring(0, colon), line.substring(colon + 1).trim());
        }
        return status;
    }

    private static String[] words(Map<String, String> status, String key) {
        String value = status.get(key);
        return value.isEmpty() ? new String[0] : value.split("\\s+");
    }
}
