package zolt.cli.doctor;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import zolt.fs.Accounts;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.ExtendedAttributes;
import zolt.fs.FileStatus;
import zolt.fs.Identity;
import zolt.fs.ThreadIdentity;

/** What the doctor tries on a directory of its own, in the one that it looks at. */
final class DirectoryChecks {
    private static final Path GROUPS = Paths.get("/etc/group");
    private static final int MEMBERS = 3;
    private static final int OF_THE_GROUP = 0040;
    private static final int OF_ALL = 0444;
    private static final long MILLIS = 1000;
    /** What the clocks of two machines may differ by, rounding included. */
    private static final long APART_S = 2;
    private static final String CLOCKS = "keep the clocks of all machines together (chrony, ntpd): what changes without a"
            + " later time counts as unchanged";

    private final Findings findings;
    private final FileSystemChecks checks;
    private final String path;

    DirectoryChecks(Findings findings, FileSystemChecks checks, String path) {
        this.findings = findings;
        this.checks = checks;
        this.path = path;
    }

    /** @param switches whether this process acts for others */
    void all(boolean switches) throws IOException {
        Path folder = Files.createTempDirectory(Paths.get(path), ".zolt-doctor-");
        folder.toFile().deleteOnExit(); // where a signal ends the command
        try {
            FileSystemChecks.settle(folder, "rwxr-xr-x");
            clocks();
            sizes();
            checks.tried("default ACLs", Acl.isAvailable() ? checks.log() : "install libacl1",
                    () -> defaultList(folder.toString()));
            if (switches) {
                groups(folder);
            }
        } finally {
            checks.remove(folder);
        }
    }

    /** The directory has just been given a new entry. */
    private void clocks() throws IOException {
        FileStatus status = new FileStatus();
        status.readFast(path);
        long ahead = status.modificationSeconds() - System.currentTimeMillis() / MILLIS;
        if (Math.abs(ahead) <= APART_S) {
            findings.ok("clocks", "a change has the time of this machine");
        } else {
            findings.fail("clocks", "after a change the time of " + path + " is " + Math.abs(ahead) + " s "
                    + (ahead > 0 ? "ahead of" : "behind") + " this machine's", CLOCKS);
        }
    }

    /** Of CephFS, where the number of entries is the other size that a directory may have. */
    private void sizes() throws IOException {
        ExtendedAttributes attributes = ExtendedAttributes.of(path);
        byte[] below;
        try {
            below = attributes.get("ceph.dir.rbytes").orElse(null);
        } catch (IOException e) {
            return; // there is no such attribute
        }
        if (below == null) {
            return;
        }
        FileStatus status = new FileStatus();
        status.readFast(path);
        byte[] entries = attributes.get("ceph.dir.entries").orElse(new byte[0]);
        String size = String.valueOf(status.size());
        if (size.equals(text(below)) && !size.equals(text(entries))) {
            findings.warn("directory sizes", "the size of a directory is that of all that is below it: "
                    + path + " has " + size + " bytes", "client dirsize rbytes = false in ceph.conf, and mount it again");
        } else {
            findings.ok("directory sizes", "are those of the directories");
        }
    }

    private static String text(byte[] value) {
        return new String(value, StandardCharsets.US_ASCII);
    }

    private static String defaultList(String folder) throws IOException {
        AclEntry entry = AclEntry.user(ThreadIdentity.now().uid(), AclEntry.READ).inherited();
        Acl.of(entry).modify(folder);
        boolean there = Acl.get(folder).entries().contains(entry);
        Path inner = Files.createFile(Paths.get(folder, "inner"));
        boolean inherited;
        try {
            inherited = !Acl.get(inner).isMinimal();
        } finally {
            Files.delete(inner);
        }
        Acl.clearDefault(folder);
        if (there && !inherited) {
            throw new IOException("what is made in a directory does not get its default list");
        }
        return there && Acl.get(folder).isMinimal() ? "set, read, inherited and removed" : null;
    }

    /** A server of the file system may know the user of a thread and not find its groups. */
    private void groups(Path folder) throws IOException {
        for (String user : membersOfGroups()) {
            if (groups(folder, user)) {
                return;
            }
        }
        findings.ok("groups", "no user of " + GROUPS + " is in a second group, to try it with");
    }

    private static List<String> membersOfGroups() throws IOException {
        List<String> users = new ArrayList<>();
        if (!Files.isReadable(GROUPS)) {
            return users;
        }
        for (String line : Files.readAllLines(GROUPS, StandardCharsets.ISO_8859_1)) {
            String[] fields = line.split(":");
            if (fields.length > MEMBERS) {
                users.addAll(Arrays.asList(fields[MEMBERS].split(",")));
            }
        }
        return users;
    }

    /** @return whether it could be tried with this user */
    private boolean groups(Path folder, String user) throws IOException {
        Path file = Files.createFile(folder.resolve("file"));
        try {
            long group;
            try (Identity as = Identity.of(user)) {
                ThreadIdentity now = ThreadIdentity.now();
                group = now.uid() == 0 ? now.gid() : now.groups().stream().filter(each -> each != now.gid()).findFirst()
                        .orElse(now.gid());
                if (group == now.gid()) {
                    return false;
                }
            } catch (IOException e) {
                return false; // a name without a user
            }
            Files.setAttribute(file, "unix:gid", (int) group);
            String who = user + ", who is in " + Accounts.groupOrId(group) + ",";
            if (!reads(user, file, OF_ALL)) {
                findings.warn("groups", user + " may not come to " + path + ", so it was not tried whether a thread's groups"
                        + " count", "name a directory that every user may come to");
            } else if (reads(user, file, OF_THE_GROUP)) {
                findings.ok("groups", who + " may read what only that group may");
            } else {
                findings.fail("groups", who + " may not read what that group may: a thread's groups do not count",
                        "a program that serves the mount may look for them in /proc: start it in the same namespace of"
                                + " processes as the NameNode; one that asks for no groups is for no NameNode");
            }
            return true;
        } finally {
            checks.remove(file);
        }
    }

    private static boolean reads(String user, Path file, int mode) throws IOException {
        Files.setAttribute(file, "unix:mode", mode);
        try (Identity as = Identity.of(user)) {
            Files.newByteChannel(file).close();
            return true;
        } catch (IOException e) {
            return false;
        }
    }
}
