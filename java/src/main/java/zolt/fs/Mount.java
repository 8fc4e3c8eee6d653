package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.Set;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * A mount as this process has it: where, what it forbids to everyone, and who decides there (proc(5),
 * mountinfo).
 *
 * <pre>{@code
 * Mount mount = Mount.of("/proc/self").get();
 * System.out.println(mount); // prints: /proc (proc) type proc
 * }</pre>
 */
public final class Mount {
    private static final int ID = 0;
    private static final int PARENT = 1;
    private static final int DEVICE = 2;
    private static final int ROOT = 3;
    private static final int POINT = 4;
    private static final int OPTIONS = 5;
    private static final int FIRST_TAG = 6;
    /** Type, source and the options of the file system itself follow a "-" behind the tags. */
    private static final int TYPE = 1;
    private static final int SOURCE = 2;
    private static final int SUPER_OPTIONS = 3;

    /** Its program decides as the kernel would: by owner, mode and list. */
    private static final String CEPH = "fuse.ceph-fuse";
    private static final Pattern NUMBER = Pattern.compile("[0-9]+");
    private static final String FUSE_OWNER = "user_id=";
    private static final String RESERVED = "resuid=";
    private static final String RESERVED_GROUP = "resgid=";
    /** Quotas whose limits count, as ext4, xfs and others write them. */
    private static final Pattern QUOTA =
            Pattern.compile("(usr|grp|prj|[ugp])?quota|(usr|grp)jquota=.*");
    /** Another machine decides, by its own users and rules. */
    private static final List<String> REMOTE =
            Arrays.asList("nfs", "nfs4", "cifs", "smb3", "9p", "afs", "coda");

    /** What can be written or made there is up to the part of the kernel that shows itself so. */
    private static final List<String> OF_THE_KERNEL = Arrays.asList("proc", "sysfs", "cgroup", "cgroup2", "debugfs",
            "tracefs", "securityfs", "selinuxfs", "configfs", "pstore", "efivarfs", "bpf", "devpts", "binfmt_misc",
            "fusectl", "autofs", "nfsd", "rpc_pipefs");
    /** What of a process everyone may open; for all else the kernel asks at open whether one may trace it (ptrace(2)). */
    private static final Set<String> OPEN_OF_PROCESSES = new HashSet<>(Arrays.asList("cgroup", "cmdline", "comm", "cpuset",
            "gid_map", "limits", "loginuid", "mountinfo", "mounts", "mountstats", "net", "oom_adj", "oom_score",
            "oom_score_adj", "projid_map", "sched", "schedstat", "sessionid", "setgroups", "stat", "statm", "status", "task",
            "uid_map"));
    /** What the kernel asks other capabilities for than its mode says. */
    private static final Set<String> OPEN_BY_CAPABILITY = new HashSet<>(Arrays.asList("kcore", "kmsg"));
    /** File systems that nothing can be written to. */
    private static final List<String> NEVER_WRITTEN = Arrays.asList("squashfs", "iso9660", "erofs", "cramfs", "romfs");

    private final String id;
    private final String parent;
    private final String device;
    private final String root;
    private final String point;
    private final String type;
    private final String source;
    private final List<String> options;
    private final List<String> superOptions;

    Mount(String line) {
        String[] fields = line.split(" ");
        id = fields[ID];
        parent = fields[PARENT];
        device = fields[DEVICE];
        root = unescaped(fields[ROOT]);
        point = unescaped(fields[POINT]);
        options = Arrays.asList(fields[OPTIONS].split(","));
        int separator = FIRST_TAG;
        while (!fields[separator].equals("-")) {
            separator++;
        }
        type = fields[separator + TYPE];
        source = unescaped(fields[separator + SOURCE]);
        superOptions = Arrays.asList(fields[separator + SUPER_OPTIONS].split(","));
    }

    /**
     * Where a path lies. What is mounted elsewhere a second time (mount(8), --bind) has a mount of its own there.
     *
     * <pre>{@code
     * System.out.println(Mount.of("/proc/self").get().point()); // prints: /proc
     * }</pre>
     *
     * @param path a path; links are followed
     * @return the mount; empty where the path cannot be reached, the table cannot be read, or does not have it: the
     *     mount that holds the root of a plain chroot is outside of what the process sees
     */
    public static Optional<Mount> of(String path) {
        try {
            return find(table(), real(Paths.get(path)));
        } catch (IOException | IndexOutOfBoundsException e) {
            return Optional.empty();
        }
    }

    private static List<Mount> table() throws IOException {
        String table = new String(Files.readAllBytes(Paths.get("/proc/thread-self/mountinfo")),
                StandardCharsets.UTF_8);
        return table(Arrays.asList(table.split("\n")));
    }

    /** Without links. Of the current directory the kernel tells that also where the way to it may not be gone. */
    private static Path real(Path path) throws IOException {
        try {
            return path.toRealPath();
        } catch (AccessDeniedException e) {
            if (path.isAbsolute()) {
                throw e;
            }
            Path way = Paths.get("");
            for (Path name : path) {
                way = way.resolve(name);
                if (name.toString().equals("..") || Files.isSymbolicLink(way)) {
                    throw e;
                }
            }
            return Files.readSymbolicLink(Paths.get("/proc/thread-self/cwd")).resolve(path).normalize();
        }
    }

    /**
     * Whether something is mounted on what a path names, here or where another mount shows the same: the kernel removes
     * neither. A link at the end is not followed.
     */
    static boolean isUpon(String path) {
        try {
            Path name = Paths.get(path);
            Path parent = name.getParent();
            Path real = real(parent == null ? Paths.get("") : parent).resolve(name.getFileName());
            return isUpon(table(), real);
        } catch (IOException | IndexOutOfBoundsException e) {
            return false;
        }
    }

    static boolean isUpon(List<Mount> all, Path path) {
        Mount holder = find(all, path.getParent()).orElse(null);
        Map<String, Mount> byId = new HashMap<>();
        all.forEach(each -> byId.put(each.id, each));
        return all.stream().anyMatch(each -> {
            Mount below = byId.get(each.parent);
            return path.toString().equals(each.point) || holder != null && below != null && below != each
                    && holder.device.equals(below.device)
                    && holder.inside(path).equals(below.inside(Paths.get(each.point)));
        });
    }

    /** Where what lies on it is in the file system. */
    private Path inside(Path path) {
        return Paths.get(root).resolve(Paths.get(point).relativize(path));
    }

    static List<Mount> table(List<String> lines) {
        List<Mount> all = new ArrayList<>();
        for (String line : lines) {
            all.add(new Mount(line));
        }
        return all;
    }

    /**
     * Goes from mount to mount on the way to the path. The longest mount point on it would not do: that
     * may be hidden below another mount.
     */
    static Optional<Mount> find(List<Mount> all, Path path) {
        Set<String> ids = new HashSet<>();
        all.forEach(each -> ids.add(each.id));
        Mount last = null;
        for (Mount next = next(all, ids, null, path); next != null; next = next(all, ids, last, path)) {
            last = next;
        }
        return Optional.ofNullable(last);
    }

    /**
     * The first mount upon a mount that the way comes through. The first of all is one whose parent is
     * outside of what the process sees: mostly "/", but in a chroot it may be any.
     */
    private static Mount next(List<Mount> all, Set<String> ids, Mount last, Path path) {
        Mount first = null;
        for (Mount each : all) {
            boolean outermost = !ids.contains(each.parent) || each.parent.equals(each.id);
            boolean follows = last == null ? outermost : each != last && each.parent.equals(last.id);
            if (follows && path.startsWith(each.point)
                    && (first == null || each.point.length() < first.point.length())) {
                first = each;
            }
        }
        return first;
    }

    /** Blanks, tabs, line ends and backslashes are octal numbers in the table. */
    private static String unescaped(String field) {
        return field.replace("\\040", " ").replace("\\011", "\t").replace("\\012", "\n")
                .replace("\\134", "\\");
    }

    /**
     * Where it is mounted.
     *
     * <pre>{@code
     * System.out.println(Mount.of("/proc/self").get().point()); // prints: /proc
     * }</pre>
     *
     * @return an absolute path
     */
    public String point() {
        return point;
    }

    /** Whether the path is where it is mounted. */
    boolean isAt(String path) {
        try {
            return Paths.get(path).toRealPath().toString().equals(point);
        } catch (IOException e) {
            return false;
        }
    }

    /**
     * The type of the file system.
     *
     * <pre>{@code
     * System.out.println(Mount.of("/proc/self").get().type()); // prints: proc
     * }</pre>
     *
     * @return as mount(8) has it
     */
    public String type() {
        return type;
    }

    /**
     * What is mounted, mostly a device.
     *
     * <pre>{@code
     * System.out.println(Mount.of("/proc/self").get().source()); // prints: proc
     * }</pre>
     *
     * @return as the table has it
     */
    public String source() {
        return source;
    }

    /**
     * Whether nothing may be changed on it.
     *
     * <pre>{@code
     * System.out.println(Mount.of(directory).get().isReadOnly()); // prints: false
     * }</pre>
     *
     * @return whether the mount, or the file system itself, is read-only
     */
    public boolean isReadOnly() {
        return options.contains("ro") || superOptions.contains("ro");
    }

    /**
     * Why it cannot be mounted for writing, where that shows: as a clause for a message. Of a file system that is
     * read-only here alone, or by its own options alone, nothing shows.
     */
    Optional<String> writeProtection() {
        if (!superOptions.contains("ro")) {
            return Optional.empty();
        }
        if (NEVER_WRITTEN.contains(type)) {
            return Optional.of("a " + type + " is never written");
        }
        if (type.equals("overlay")) {
            return superOptions.stream().anyMatch(option -> option.startsWith("upperdir=")) ? Optional.empty()
                    : Optional.of("it has no layer that can be written");
        }
        try {
            String flag = new String(Files.readAllBytes(Paths.get("/sys/dev/block/" + device + "/ro")),
                    StandardCharsets.US_ASCII).trim();
            return flag.equals("0") ? Optional.empty() : Optional.of("its device is write-protected");
        } catch (IOException e) {
            return Optional.empty(); // a file system without a device
        }
    }

    /**
     * What else a remount for writing makes writable, as a clause for a message. What is read-only is the file system then,
     * and all of its mounts are of the one.
     */
    Optional<String> writableToo() {
        if (!superOptions.contains("ro")) {
            return Optional.empty();
        }
        List<String> others = new ArrayList<>();
        try {
            for (Mount each : table()) {
                if (each.device.equals(device) && !each.id.equals(id) && !each.options.contains("ro")) {
                    others.add(each.point);
                }
            }
        } catch (IOException | IndexOutOfBoundsException e) {
            return Optional.of("all of its file system, wherever that is mounted");
        }
        if (others.isEmpty()) {
            return root.equals("/") ? Optional.empty() : Optional.of("all of its file system, of which it is a part");
        }
        return Optional.of("all of its file system, also at " + String.join(", ", others));
    }

    /**
     * Whether the directory that is mounted there was removed where it stood: nothing can be made in it.
     *
     * <pre>{@code
     * System.out.println(Mount.of(directory).get().isRemoved()); // prints: false
     * }</pre>
     *
     * @return whether it was
     */
    public boolean isRemoved() {
        return root.endsWith("//deleted");
    }

    /** Whether ids are others there than in its file system. */
    boolean isIdMapped() {
        return options.contains("idmapped");
    }

    /** Whether links on it are not followed. */
    boolean isNoSymFollow() {
        return options.contains("nosymfollow");
    }

    /** Whether files on it cannot be executed. */
    boolean isNoExec() {
        return options.contains("noexec");
    }

    /** Whether devices on it cannot be opened. */
    boolean isNoDevices() {
        return options.contains("nodev");
    }

    /** Whether the flags of chattr(1) are the kernel's own there, as of what proc(5) shows, and cannot be changed. */
    boolean hasFixedFlags() {
        return type.equals("proc");
    }

    /** Whether owner and mode permit what the kernel may refuse all the same: what is there is its own. */
    boolean isOfTheKernel() {
        return OF_THE_KERNEL.contains(type);
    }

    /**
     * Whether the kernel asks when something is opened, and access(2) does not tell: of another process, and of the kernel's
     * memory.
     */
    boolean asksAtOpen(String path) {
        if (!type.equals("proc")) {
            return false;
        }
        Path below = Paths.get(point).relativize(Paths.get(path));
        String first = below.getName(0).toString();
        if (!NUMBER.matcher(first).matches()) {
            return OPEN_BY_CAPABILITY.contains(first);
        }
        int at = below.getNameCount() > 2 && below.getName(1).toString().equals("task") ? 3 : 1; // of a thread
        return below.getNameCount() > at && !OPEN_OF_PROCESSES.contains(below.getName(at).toString()) && !isItself(first);
    }

    private boolean isItself(String process) {
        try {
            return Files.readSymbolicLink(Paths.get(point).resolve("self")).toString().equals(process);
        } catch (IOException e) {
            return false;
        }
    }

    /** Whether what is written may count against a limit that only the kernel knows. */
    boolean hasQuotas() {
        return type.equals("btrfs") ? btrfsMayHaveQuotas()
                : superOptions.stream().anyMatch(option -> QUOTA.matcher(option).matches());
    }

    /**
     * No option shows those of btrfs. The kernel shows them beside what it shows of each file system, since Linux 5.9:
     * the operation under way is shown since 5.10.
     */
    private static boolean btrfsMayHaveQuotas() {
        try (Stream<Path> all = Files.list(Paths.get("/sys/fs/btrfs"))) {
            return all.filter(each -> each.getFileName().toString().contains("-")).anyMatch(each ->
                    Files.exists(each.resolve("qgroups")) || !Files.exists(each.resolve("exclusive_operation")));
        } catch (IOException e) {
            return true;
        }
    }

    /** Whether the last blocks are kept for this user, or a group of his; for root where no user is said. */
    boolean reservesFor(long uid, List<Long> groups) {
        boolean said = false;
        for (String option : superOptions) {
            if (option.equals(RESERVED + uid) || !option.equals(RESERVED_GROUP + 0)
                    && groups.stream().anyMatch(gid -> option.equals(RESERVED_GROUP + gid))) {
                return true;
            }
            said |= option.startsWith(RESERVED);
        }
        return !said && uid == 0;
    }

    private boolean isFuse() {
        return type.equals("fuse") || type.equals("fuseblk") || type.startsWith("fuse.");
    }

    /**
     * Whether who looks at anything there is asked for the ids of the process, and not for those that it
     * acts with: so a user may be refused who is acted for with success.
     *
     * @param itself whether the process is that user, and has not only the user's file-system identity
     */
    boolean asksProcess(boolean itself) {
        return isFuse() && !superOptions.contains("allow_other") && !itself;
    }

    /**
     * Who decides there, where owner, mode and list do not say all.
     *
     * @param uid the user whose rights are asked about
     * @param itself as for {@link #asksProcess}
     * @return a clause for a message; empty where the kernel decides as everywhere
     */
    Optional<String> decidedBy(long uid, boolean itself) {
        if (REMOTE.contains(type)) {
            return itself ? Optional.empty()
                    : Optional.of("the server of " + point + " (" + type + ") decides");
        }
        if (!isFuse()) {
            return Optional.empty();
        }
        if (asksProcess(itself) || !superOptions.contains("allow_other")
                && !superOptions.contains(FUSE_OWNER + uid)) {
            return Optional.of(point + " (" + type + ") admits processes of the user who mounted it, and does"
                    + " not ask for whom they act");
        }
        return superOptions.contains("default_permissions") || type.equals(CEPH) ? Optional.empty()
                : Optional.of("the program that serves " + point + " (" + type + ") decides");
    }

    /** As df(1) and mount(8) name them. */
    @Override
    public String toString() {
        return point + " (" + source + ") type " + type;
    }
}
