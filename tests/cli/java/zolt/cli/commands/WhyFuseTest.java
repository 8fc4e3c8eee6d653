package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.output.Exit;

/**
 * FUSE asks for the ids of the process, and for those that it acts with only where the options say so. What
 * its program decides cannot be known. A machine without /dev/fuse leaves this out.
 */
class WhyFuseTest extends CliFixture {
    /** Its own device is for every user, and only this test's: what it mounts is gone with its process. */
    private static final String MOUNT = "cd \"$1\"; mkdir m; truncate -s 8M image; mkfs.ext4 -q -O ^has_journal"
            + " -E root_owner=$2:$2 image;"
            + " mount -t tmpfs none m 2>/dev/null && [ -c /dev/fuse ] || exit 0; mknod -m 666 m/fuse c 10 229;"
            + " touch m/image; chmod 666 image; mkdir m/fs; mount --bind m/fuse /dev/fuse; chown $2 m/fs; caps=+sys_admin;"
            + " setpriv --reuid=$2 --regid=$2 --clear-groups --inh-caps=$caps --ambient-caps=$caps"
            + " fuse2fs image m/fs -o fakeroot${3:+,$3} >&2 || exit 0;"
            + " for turn in 1 2 3 4 5 6 7 8 9 10; do ! findmnt -n m/fs || break; sleep 0.1; done;"
            + " setpriv --reuid=$2 --regid=$2 --clear-groups sh -c 'echo x >m/fs/f; chmod 644 m/fs/f'";

    private void mount(String uid, String options) throws Exception {
        Assumptions.assumeTrue(Tool.sh(MOUNT, dir.toString(), uid, options).contains("fuse"), "no FUSE here");
    }

    @AfterEach
    void unmount() throws Exception {
        Tool.sh("umount -l \"$1\"/m/fs /dev/fuse \"$1\"/m 2>/dev/null; true", dir.toString());
    }

    private void unknown(String user, String purpose, String verb, String because) {
        Cli run = Cli.run("why", "--as", user, "--for", purpose, path("m/fs/f"));
        assertEquals(Exit.FAILED, run.code);
        assertEquals("it is not known whether " + user + " may " + verb + " " + path("m/fs/f") + ": "
                + path("m/fs") + " (fuse.ext4) " + because + "\n", run.text());
    }

    private static final String ADMITS =
            "admits processes of the user who mounted it, and does not ask for whom they act";

    @Test
    void whoIsActedForIsNotWhoIsAsked() throws Exception {
        mount("0", "default_permissions");
        for (String[] each : new String[][] {{"look", "look at"}, {"r", "read"}, {"w", "write"}, {"d", "remove"}}) {
            unknown("nobody", each[0], each[1], ADMITS);
            Cli.done("why", "--for", each[0], path("m/fs/f"));
        }
    }

    @Test
    void theProgramDecides() throws Exception {
        mount("0", "allow_other");
        String decides = "the program that serves " + path("m/fs") + " (fuse.ext4) decides";
        for (String user : List.of("nobody", "root")) {
            Cli run = Cli.run("why", "--as", user, path("m/fs/f"));
            assertEquals("it is not known whether " + user + " may read " + path("m/fs/f") + ": " + decides + "\n",
                    run.text());
            assertEquals(Exit.FAILED, run.code);
            Cli.done("why", "--as", user, "--for", "look", path("m/fs/f"));
        }
    }

    @Test
    void withBothOptionsTheKernelDecidesAsEverywhere() throws Exception {
        mount("0", "allow_other,default_permissions");
        Cli.done("why", "--as", "nobody", path("m/fs/f"));
        Cli run = Cli.run("why", "--as", "nobody", "--for", "w", path("m/fs/f"));
        assertEquals(Exit.DENIED, run.code);
        assertTrue(run.text().startsWith("nobody may not write " + path("m/fs/f") + " (-rw-r--r-- "), run.text());
    }

    /** Not even the superuser is admitted, and nothing that is done to the directory above would help. */
    @Test
    void anothersFileSystemRefusesRoot() throws Exception {
        mount("1", "default_permissions");
        Cli run = Cli.run("why", path("m/fs/f"));
        assertEquals("root gets no access to " + path("m/fs") + ": " + path("m/fs") + " (fuse.ext4) " + ADMITS
                + "\n", run.text());
        assertEquals(Exit.DENIED, run.code);
    }
}
