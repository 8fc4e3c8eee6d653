package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/**
 * The file-system identity that the kernel has for a thread: what access is checked against.
 *
 * <pre>{@code
 * ThreadIdentity now = ThreadIdentity.now();
 * System.out.println(now.uid() + " " + now.gid()); // prints: 0 0
 * }</pre>
 */
public final class ThreadIdentity {
    /** The columns of proc(5): real, effective, saved and file-system id. */
    private static final int REAL_ID = 0;
    private static final int EFFECTIVE_ID = 1;
    private static final int FILE_SYSTEM_ID = 3;

    /** Numbers of capabilities(7). */
    static final int CAP_DAC_OVERRIDE = 1;
    static final int CAP_DAC_READ_SEARCH = 2;
    static final int CAP_FOWNER = 3;
    static final int CAP_SYS_RESOURCE = 24;

    private static final int HEX = 16;

    private final long realUid;
    private final long effectiveUid;
    private final long uid;
    private final long gid;
    private final List<Long> groups;
    private final long capabilities;
    private final long permitted;

    private ThreadIdentity(List<Long> uids, long gid, List<Long> groups, long capabilities,
            long permitted) {
        realUid = uids.get(REAL_ID);
        effectiveUid = uids.get(EFFECTIVE_ID);
        uid = uids.get(FILE_SYSTEM_ID);
        this.gid = gid;
        this.capabilities = capabilities;
        this.permitted = permitted;
        this.groups = Collections.unmodifiableList(groups);
    }

    /**
     * The identity of the calling thread, as /proc tells it.
     *
     * <pre>{@code
     * System.out.println(ThreadIdentity.now().uid()); // prints: 0
     * }</pre>
     *
     * @return the identity at this moment
     * @throws IOException when /proc cannot be read
     */
    public static ThreadIdentity now() throws IOException {
        return of(Paths.get("/proc/thread-self/status"));
    }

    /**
     * The identity of any thread or process, by its file "status" (proc(5)).
     *
     * <pre>{@code
     * System.out.println(ThreadIdentity.of(Paths.get("/proc/1/status")).uid()); // prints: 0
     * }</pre>
     *
     * @param status the file
     * @return the identity at this moment
     * @throws IOException when it cannot be read, as when there is no such process
     */
    public static ThreadIdentity of(Path status) throws IOException {
        List<Long> uids = null;
        long gid = -1;
        long capabilities = 0;
        long permitted = 0;
        List<Long> groups = Collections.emptyList();
        for (String line : Files.readAllLines(status, StandardCharsets.ISO_8859_1)) {
            if (line.startsWith("Uid:")) {
                uids = numbers(line);
            } else if (line.startsWith("Gid:")) {
                gid = numbers(line).get(FILE_SYSTEM_ID);
            } else if (line.startsWith("Groups:")) {
                groups = numbers(line);
            } else if (line.startsWith("CapEff:")) {
                capabilities = hex(line);
            } else if (line.startsWith("CapPrm:")) {
                permitted = hex(line);
            }
        }
        if (uids == null || gid < 0) {
            throw new IOException(status + " has no Uid: or Gid: line");
        }
        return new ThreadIdentity(uids, gid, groups, capabilities, permitted);
    }

    /** Whether the thread has a capability in effect. */
    boolean has(int capability) {
        return (capabilities >> capability & 1) != 0;
    }

    private static long hex(String line) {
        return Long.parseUnsignedLong(line.substring(line.indexOf(':') + 1).trim(), HEX);
    }

    /** Whether the process is the user, and does not only act for that user. */
    boolean isProcess() {
        return uid == realUid && uid == effectiveUid;
    }

    /** Whether access(2), which asks by the real user id and what is permitted, may do everything. */
    boolean hasAllAccess() {
        return realUid == 0 && (permitted >> CAP_DAC_OVERRIDE & 1) != 0;
    }

    /** Whether access(2), which takes its capabilities from whoever is not root, asks with less than the thread has. */
    boolean accessHasLess() {
        return realUid != 0 && (has(CAP_DAC_OVERRIDE) || has(CAP_DAC_READ_SEARCH));
    }

    /** Whether it works for a user who is neither the service itself nor the superuser. */
    boolean actsForAnother() {
        return uid != 0 && uid != effectiveUid;
    }

    private static List<Long> numbers(String line) {
        List<Long> numbers = new ArrayList<>();
        for (String each : line.substring(line.indexOf(':') + 1).trim().split("\\s+")) {
            if (!each.isEmpty()) {
                numbers.add(Long.valueOf(each));
            }
        }
        return numbers;
    }

    /**
     * The file-system user id.
     *
     * <pre>{@code
     * System.out.println(Accounts.userOrId(ThreadIdentity.now().uid())); // prints: root
     * }</pre>
     *
     * @return the id, 0 to 4294967295
     */
    public long uid() {
        return uid;
    }

    /**
     * The file-system group id.
     *
     * <pre>{@code
     * System.out.println(Accounts.groupOrId(ThreadIdentity.now().gid())); // prints: root
     * }</pre>
     *
     * @return the id, 0 to 4294967295
     */
    public long gid() {
        return gid;
    }

    /**
     * The supplementary group ids.
     *
     * <pre>{@code
     * try (Identity as = Identity.of("nobody")) {
     *     System.out.println(ThreadIdentity.now().groups()); // prints: [65534]
     * }
     * }</pre>
     *
     * @return the ids, ascending, unmodifiable
     */
    public List<Long> groups() {
        return groups;
    }

    /**
     * The effective user id, which a switch of the file-system identity leaves as it is.
     *
     * <pre>{@code
     * try (Identity as = Identity.of("nobody")) {
     *     System.out.println(ThreadIdentity.now().effectiveUid()); // prints: 0
     * }
     * }</pre>
     *
     * @return the id, 0 to 4294967295
     */
    public long effectiveUid() {
        return effectiveUid;
    }

    /**
     * The capabilities in effect (capabilities(7)).
     *
     * <pre>{@code
     * try (Identity as = Identity.of("nobody")) {
     *     System.out.println(ThreadIdentity.now().effectiveCapabilities() & 1 << 1); // prints: 0
     * }
     * }</pre>
     *
     * @return a set: the bit 1 &lt;&lt; n is there for the capability of the number n
     */
    public long effectiveCapabilities() {
        return capabilities;
    }

    /**
     * The capabilities that the thread may put into effect.
     *
     * <pre>{@code
     * ThreadIdentity now = ThreadIdentity.now();
     * System.out.println((now.effectiveCapabilities() & ~now.permittedCapabilities()) == 0); // prints: true
     * }</pre>
     *
     * @return a set, as {@link #effectiveCapabilities}
     */
    public long permittedCapabilities() {
        return permitted;
    }

    /** "uid=0(root) gid=0(root) groups=0(root)", as id(1) shows it. */
    @Override
    public String toString() {
        StringBuilder text = new StringBuilder("uid=").append(uid).append('(')
                .append(Accounts.userOrId(uid)).append(") gid=").append(gid).append('(')
                .append(Accounts.groupOrId(gid)).append(')');
        String separator = " groups=";
        for (long group : groups) {
            text.append(separator).append(group).append('(').append(Accounts.groupOrId(group))
                    .append(')');
            separator = ",";
        }
        return text.toString();
    }
}
