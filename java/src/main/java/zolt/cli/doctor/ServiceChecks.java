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
    private static final String[] LIBRARIES = {"libzolthadoop.so", "libzolt.so", "libacl.so"};
    private static final String GONE = " (deleted)";
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
                + ", " + status.get("Threads") + " threads");
        libraries();
        groups(status, capabilities(uid));
        openFiles();
    }

    private void libraries() {
        Map<String, String> mapped = new TreeMap<>();
        try {
            for (String line : Files.readAllLines(process.resolve("maps"), StandardCharsets.ISO_8859_1)) {
                String file = line.indexOf('/') < 0 ? "" : line.substring(line.indexOf('/'));
                String name = file.substring(file.lastIndexOf('/') + 1).replace(GONE, "");
                for (String library : LIBRARIES) {
                    if (name.equals(library) || name.startsWith(library + ".")) {
                        mapped.put(library, file);
                    }
                }
            }
        } catch (IOException e) {
            findings.warn("libraries", "what it has loaded may not be looked at: " + Shortage.reason(e),
                    "ask as its user, or as root with all capabilities");
            return;
        }
        for (String library : LIBRARIES) {
            String file = mapped.get(library);
            String check = library.substring(0, library.indexOf('.'));
            if (file == null && library.equals("libacl.so") && !mapped.containsKey("libzolthadoop.so")) {
                continue; // the library loads it
            }
            if (file == null) {
                findings.fail(check, "is not loaded", library.equals("libacl.so")
                        ? "install libacl1, and start the service again"
                        : "the service has not used the library yet, or finds no " + library + ": see its log");
            } else if (file.endsWith(GONE)) {
                findings.warn(check, file.replace(GONE, "") + " has been replaced or removed since it was loaded",
                        "start the service again, so that it runs what is installed");
            } else {
                findings.ok(check, file);
            }
        }
    }

    /**
     * Of all threads: each has capabilities of its own.
     *
     * @return whether the service switches users
     */
    private boolean capabilities(long uid) throws IOException {
        TreeSet<String> left = new TreeSet<>();
        boolean switches = true;
        try (DirectoryStream<Path> threads = Files.newDirectoryStream(process.resolve("task"))) {
            for (Path thread : threads) {
                Rights rights = Rights.of(thread.resolve("status"));
                left.add(rights.left());
                switches &= rights.has(Rights.SETUID, Rights.SETGID);
            }
        }
        left.remove("");
        if (!switches) {
            findings.warn("capabilities", "no CAP_SETUID and CAP_SETGID: every call has the rights of "
                    + Accounts.userOrId(uid), "run the service as root with a bounded capability set");
        } else if (!left.isEmpty()) {
            findings.fail("capabilities", "it has " + String.join("; ", left) + " and keeps that while acting for"
                    + " others: every caller gets it", "CapabilityBoundingSet= in the unit of the service");
        } else {
            findings.ok("capabilities", "it switches users, and leaves them nothing of its own");
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
        if (switches && !isRoots) {
            findings.warn("groups", all + ": " + ProcessChecks.OTHER_GROUP, "Group=root in the unit of the service");
        } else if (switches && !groups.isEmpty()) {
            findings.warn("groups", all + ": users whose first group is " + first + " have them too, while they are"
                    + " acted for", "SupplementaryGroups= in the unit of the service, with nothing behind it");
        } else {
            findings.ok("groups", all);
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
