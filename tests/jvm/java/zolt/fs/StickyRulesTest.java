package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Optional;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The rules of sticky directories at every setting, which a test must not change: they hold for the whole
 * machine. What the kernel does at the setting that it has is compared here and in the command's tests.
 */
class StickyRulesTest {
    private static final int[] MODES = {0755, 0777, 0775, 01755, 01775, 01777};

    @Test
    void linksOfOthersAreNotFollowed() {
        for (int mode : MODES) {
            for (int level = 0; level < 3; level++) {
                assertEquals(level > 0 && mode == 01777, StickyRules.refusesLink(level, mode, 0, 7, 9));
                assertFalse(StickyRules.refusesLink(level, mode, 0, 9, 9), "one's own");
                assertFalse(StickyRules.refusesLink(level, mode, 7, 7, 9), "the directory's owner's");
                assertEquals(level > 0 && mode == 01777, StickyRules.refusesLink(level, mode, 1, 7, 0));
            }
        }
    }

    @Test
    void filesOfOthersAreNotOpenedAsIfToBeMade() {
        for (int mode : MODES) {
            assertFalse(StickyRules.refusesCreating(0, mode, 0, 7, 9));
            assertEquals(mode == 01777, StickyRules.refusesCreating(1, mode, 0, 7, 9));
            assertEquals(mode == 01777 || mode == 01775, StickyRules.refusesCreating(2, mode, 0, 7, 9));
            assertFalse(StickyRules.refusesCreating(2, mode, 0, 9, 9), "one's own");
            assertFalse(StickyRules.refusesCreating(2, mode, 7, 7, 9), "the directory's owner's");
        }
    }

    @Test
    void settingsAreThoseOfTheMachine() throws Exception {
        for (String name : new String[] {"protected_symlinks", "protected_regular", "protected_fifos"}) {
            assertEquals(Fixture.run("cat", "/proc/sys/fs/" + name).trim(),
                    String.valueOf(StickyRules.level(name)));
        }
        assertEquals(0, StickyRules.level("no_such_setting"));
    }

    /** On the way a link is followed where it is not at the end of a path. */
    @Test
    void theWayThroughALinkIsOpen(@TempDir Path dir) throws Exception {
        Fixture files = new Fixture(dir);
        Fixture.run("chmod", "1777", files.directory);
        Path target = Files.createDirectory(dir.resolve("target"));
        Fixture.permit(target, "rwxr-xr-x");
        Path inner = Files.createFile(target.resolve("inner"));
        Fixture.permit(inner, "rw-r--r--");
        Path link = Files.createSymbolicLink(Path.of(files.directory, "link"), target);
        Fixture.run("chown", "-h", "daemon", link.toString());
        boolean refused = StickyRules.level("protected_symlinks") > 0;
        Optional<PathFailure> atTheEnd = PathFailure.of(link.toString(), "nobody", PathFailure.Access.LOOK);
        assertEquals(refused, atTheEnd.isPresent());
        if (refused) {
            assertEquals(PathFailure.Reason.PROTECTED, atTheEnd.get().reason());
            assertTrue(atTheEnd.get().explain().startsWith("nobody may not follow the link " + link));
        }
        for (PathFailure.Access access : new PathFailure.Access[] {PathFailure.Access.LOOK,
            PathFailure.Access.READ}) {
            assertEquals(Optional.empty(), PathFailure.of(link + "/inner", "nobody", access));
        }
    }

    @Test
    void devicesAreKeptWhateverTheSettingsAre(@TempDir Path dir) throws Exception {
        Fixture files = new Fixture(dir);
        Fixture.run("chmod", "1777", files.directory);
        String device = files.directory + "/device";
        Fixture.run("mknod", "-m", "666", device, "c", "1", "3");
        Fixture.run("chown", "daemon", device);
        PathFailure failure = PathFailure.of(device, "nobody", PathFailure.Access.WRITE).orElseThrow();
        assertEquals(PathFailure.Reason.PROTECTED, failure.reason());
        assertEquals("nobody may write " + device + ", but not open it with O_CREAT, as a shell does: in a"
                + " sticky directory, that is for its own owner and for the directory's", failure.explain());
        assertEquals(Optional.empty(), PathFailure.of(device, "daemon", PathFailure.Access.WRITE));
    }
}
