package zolt.cli.doctor;

import java.io.IOException;
import java.nio.file.Path;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.fs.Accounts;
import zolt.fs.Identity;
import zolt.fs.ThreadIdentity;
import zolt.fs.ZoltLibrary;

/** What this thread may do (capabilities(7)), and with whose rights it does it. */
public final class Rights {
    static final int CHOWN = 0;
    static final int DAC_OVERRIDE = 1;
    static final int DAC_READ_SEARCH = 2;
    static final int FOWNER = 3;
    public static final int SETGID = 6;
    public static final int SETUID = 7;

    private static final long SWITCHING = 1L << SETUID | 1L << SETGID;
    /**
     * What setfsuid(2) takes when the superuser becomes another user: CAP_CHOWN, CAP_DAC_OVERRIDE,
     * CAP_DAC_READ_SEARCH, CAP_FOWNER, CAP_FSETID, CAP_LINUX_IMMUTABLE, CAP_MKNOD, CAP_MAC_OVERRIDE.
     */
    private static final long TAKEN = 0x10800021fL;

    private static final String[] NAMES = {"CHOWN", "DAC_OVERRIDE", "DAC_READ_SEARCH", "FOWNER", "FSETID",
        "KILL", "SETGID", "SETUID", "SETPCAP", "LINUX_IMMUTABLE", "NET_BIND_SERVICE", "NET_BROADCAST",
        "NET_ADMIN", "NET_RAW", "IPC_LOCK", "IPC_OWNER", "SYS_MODULE", "SYS_RAWIO", "SYS_CHROOT",
        "SYS_PTRACE", "SYS_PACCT", "SYS_ADMIN", "SYS_BOOT", "SYS_NICE", "SYS_RESOURCE", "SYS_TIME",
        "SYS_TTY_CONFIG", "MKNOD", "LEASE", "AUDIT_WRITE", "AUDIT_CONTROL", "SETFCAP", "MAC_OVERRIDE",
        "MAC_ADMIN", "SYSLOG", "WAKE_ALARM", "BLOCK_SUSPEND", "AUDIT_READ", "PERFMON", "BPF",
        "CHECKPOINT_RESTORE"};
    /** The worst to leave to a user are named first: the file system's other rules, and its programs. */
    private static final int[] WORST = {21, 31};
    private static final int MOST_NAMED = 4;

    private final ThreadIdentity who;

    private Rights(ThreadIdentity who) {
        this.who = who;
    }

    /** Those of the calling thread as they are now. */
    public static Rights now() throws IOException {
        return new Rights(ThreadIdentity.now());
    }

    /** Those of a thread or process, by its file "status" (proc(5)). */
    static Rights of(Path status) throws IOException {
        return new Rights(ThreadIdentity.of(status));
    }

    /** The user that switches: only of root does the kernel take capabilities when it does. */
    boolean isRoot() {
        return who.effectiveUid() == 0;
    }

    /** Whether the thread may change the mode of what a user owns. */
    public boolean mayChange(long owner) {
        return who.uid() == owner || has(FOWNER);
    }

    /**
     * The capabilities that acting for another user would leave to that user: all but those that the
     * kernel takes, and those that switch.
     *
     * @return names for a message, the worst first, and how many more; empty where there are none
     */
    String left() {
        long left = who.permittedCapabilities() & ~SWITCHING & ~(isRoot() ? TAKEN : 0);
        StringBuilder text = new StringBuilder();
        for (int named = 0; named < MOST_NAMED && left != 0; named++) {
            int number = worst(left);
            left &= ~(1L << number);
            text.append(named == 0 ? "" : ", ").append("CAP_")
                    .append(number < NAMES.length ? NAMES[number] : Integer.toString(number));
        }
        return left == 0 ? text.toString() : text + " and " + Long.bitCount(left) + " more";
    }

    private static int worst(long set) {
        for (int number : WORST) {
            if ((set >> number & 1) != 0) {
                return number;
            }
        }
        return Long.numberOfTrailingZeros(set);
    }

    public boolean has(int... capabilities) {
        return isIn(who.effectiveCapabilities(), capabilities);
    }

    /** Whether it has them, or may put them into effect. */
    boolean mayHave(int... capabilities) {
        return isIn(who.permittedCapabilities(), capabilities);
    }

    private static boolean isIn(long set, int... capabilities) {
        for (int capability : capabilities) {
            if ((set >> capability & 1) == 0) {
                return false;
            }
        }
        return true;
    }

    /**
     * Lets a process that may not switch identities work with the rights that it has: the library would
     * else try to read each full status as the superuser. So does one whose group is not 0: the thread
     * would keep the groups of root, which the library then takes.
     */
    public static void settle() throws IOException {
        ZoltLibrary.setAlwaysSuper(!now().switches());
    }

    /** Whether it can become others, and be as it was again. */
    boolean switches() {
        return has(SETUID, SETGID) && who.gid() == 0;
    }

    /**
     * Takes on the identity of a user. One that is not known is refused: the library would act as
     * "nobody" instead. So is every user but the superuser where the process has capabilities that the
     * user would be left with: the launcher gives them up, since Java cannot.
     *
     * @param user a name or an id
     * @return what ends it; null where the process is that user and may not switch
     */
    public static Identity as(String user) throws IOException, Failure {
        String name = known(user);
        long uid = Accounts.uid(name);
        Rights now = now();
        if (!now.has(SETUID, SETGID)) {
            if (uid == now.who.uid()) {
                return null;
            }
            throw new Failure(Exit.DENIED, "switching to " + user
                    + " needs CAP_SETUID and CAP_SETGID (run as root)");
        }
        if (!now.switches()) {
            throw new Failure(Exit.BROKEN, "acting for another user takes a process of the group 0, since the user"
                    + " would else have root's groups after a superuser's moment");
        }
        if (uid != 0 && !now.left().isEmpty()) {
            throw new Failure(Exit.BROKEN, "acting for another user would leave that user " + now.left()
                    + ", which this process could not give up (setpriv(1) needs CAP_SETPCAP)");
        }
        Identity identity;
        try {
            identity = Identity.of(name);
        } catch (IOException e) {
            throw new Failure(Exit.DENIED, "switching to " + user + " is refused here, as in a user namespace that has not"
                    + " the user's ids, or may not set groups: " + e.getMessage());
        }
        if (uid != 0 && (now().who.effectiveCapabilities() & ~SWITCHING) != 0) {
            identity.close();
            throw new Failure(Exit.BROKEN, "the kernel leaves capabilities to who is acted for: this process has"
                    + " the secure bit no_setuid_fixup (capabilities(7))");
        }
        return identity;
    }

    /** A name as it is, or that of a user id: as chown(1) has it, a name may consist of digits. */
    private static String known(String user) throws Failure {
        try {
            Accounts.uid(user);
            return user;
        } catch (IOException noName) {
            try {
                String name = Accounts.user(Long.parseLong(user));
                if (!name.isEmpty()) {
                    return name;
                }
            } catch (IOException | IllegalArgumentException noId) {
                // Neither.
            }
            throw new Failure(Exit.NOT_FOUND, "unknown user");
        }
    }
}
