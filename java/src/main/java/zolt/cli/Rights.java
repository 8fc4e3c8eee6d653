package zolt.cli;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import zolt.fs.Accounts;
import zolt.fs.Identity;
import zolt.fs.ThreadIdentity;
import zolt.fs.ZoltLibrary;

/** What this thread may do (capabilities(7)), and with whose rights it does it. */
final class Rights {
    static final int CHOWN = 0;
    static final int DAC_OVERRIDE = 1;
    static final int DAC_READ_SEARCH = 2;
    static final int FOWNER = 3;
    static final int SETGID = 6;
    static final int SETUID = 7;

    private static final int HEX = 16;

    private final long effective;

    private Rights(long effective) {
        this.effective = effective;
    }

    /** Those of the calling thread as they are now. */
    static Rights now() throws IOException {
        for (String line : Files.readAllLines(Paths.get("/proc/thread-self/status"),
                StandardCharsets.ISO_8859_1)) {
            if (line.startsWith("CapEff:")) {
                return new Rights(Long.parseUnsignedLong(line.substring(7).trim(), HEX));
            }
        }
        throw new IOException("/proc/thread-self/status has no CapEff: line");
    }

    boolean has(int... capabilities) {
        for (int capability : capabilities) {
            if ((effective >> capability & 1) == 0) {
                return false;
            }
        }
        return true;
    }

    /**
     * Lets a process that may not switch identities work with the rights that it has: the library would
     * else try to read each full status as the superuser.
     */
    static void settle() throws IOException {
        ZoltLibrary.setAlwaysSuper(!now().has(SETUID, SETGID));
    }

    /**
     * Takes on the identity of a user. One that is not known is refused: the library would act as
     * "nobody" instead.
     *
     * @return what ends it; null where the process is that user and may not switch
     */
    static Identity as(String user) throws IOException, Failure {
        long uid;
        try {
            uid = Accounts.uid(user);
        } catch (IOException e) {
            throw new Failure(Exit.NOT_FOUND, "unknown user");
        }
        if (!now().has(SETUID, SETGID)) {
            if (uid == ThreadIdentity.now().uid()) {
                return null;
            }
            throw new Failure(Exit.DENIED, "switching to " + user
                    + " needs CAP_SETUID and CAP_SETGID (run as root)");
        }
        return Identity.of(user);
    }
}
