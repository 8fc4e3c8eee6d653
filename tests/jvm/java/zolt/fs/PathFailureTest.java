package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Optional;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import zolt.fs.PathFailure.Access;
import zolt.fs.PathFailure.Reason;

class PathFailureTest {
    @TempDir Path dir;
    Fixture files;

    @BeforeEach
    void create() throws Exception {
        files = new Fixture(dir);
    }

    private static Optional<PathFailure> asNobody(String path, Access access) throws Exception {
        return Fixture.onThread("why", () -> PathFailure.of(path, "nobody", access));
    }

    private void expectRefusal(String path, Access access, String component, String entry,
            String because) throws Exception {
        PathFailure failure = asNobody(path, access).orElseThrow();
        assertEquals(Reason.REFUSED, failure.reason());
        assertEquals(component, failure.component());
        assertEquals(entry, failure.decidingEntry().orElseThrow().toString());
        assertEquals("root", failure.owner());
        assertEquals(FileStatus.of(component).mode(), failure.mode());
        assertEquals(Acl.get(component), failure.acl());
        assertEquals(65534, failure.who().uid());
        assertTrue(failure.explain().startsWith("nobody may not "), failure::explain);
        assertTrue(failure.explain().endsWith(because), failure::explain);
    }

    @Test
    void nothingRefuses() throws Exception {
        assertEquals(Optional.empty(), asNobody(files.inner, Access.LOOK));
        assertEquals(Optional.empty(), asNobody(files.inner, Access.READ));
        assertEquals(Optional.empty(), asNobody("/", Access.READ));
        assertEquals(Optional.empty(), asNobody(files.link, Access.READ));
        FileOperations.setPermissions(files.file, 0);
        assertEquals(Optional.empty(), PathFailure.of(files.file, Access.WRITE));
    }

    @Test
    void theModeRefuses() throws Exception {
        expectRefusal(files.file, Access.WRITE, files.file, "other::r--",
                "nobody is neither the owner nor in the group, and the mode gives others r--");
        FileOperations.setPermissions(files.directory, 0700);
        expectRefusal(files.inner, Access.LOOK, files.directory, "other::---",
                "and the mode gives others ---");
        expectRefusal(files.inner, Access.READ, files.directory, "other::---",
                "and the mode gives others ---");
    }

    @Test
    void anEntryForTheUserRefuses() throws Exception {
        Acl.parse("u:nobody:-").modify(files.directory);
        expectRefusal(files.inner, Access.LOOK, files.directory, "user:nobody:---",
                "): the entry user:nobody:--- does not permit it");
        Acl.parse("u:nobody:rwx,m::r").modify(files.directory);
        expectRefusal(files.inner, Access.LOOK, files.directory, "user:nobody:rwx",
                "the entry user:nobody:rwx permits it, but the mask takes it away");
    }

    @Test
    void anEntryForAGroupRefuses() throws Exception {
        Acl.parse("g:nogroup:r").modify(files.directory);
        expectRefusal(files.inner, Access.LOOK, files.directory, "group:nogroup:r--",
                "nobody is in the group nogroup, and the entry group:nogroup:r-- does not permit it");
        // One group that permits is enough.
        Fixture.run("chgrp", "nogroup", files.directory);
        FileOperations.setPermissions(files.directory, 0755);
        assertEquals(Optional.empty(), asNobody(files.inner, Access.LOOK));
        Acl.clear(files.directory);
        FileOperations.setPermissions(files.directory, 0705);
        expectRefusal(files.inner, Access.LOOK, files.directory, "group::---",
                "nobody is in the group, to which the mode gives ---");
    }

    @Test
    void theOwnerMayBeRefusedToo() throws Exception {
        Fixture.run("chown", "nobody", files.directory);
        FileOperations.setPermissions(files.directory, 0077);
        PathFailure failure = asNobody(files.inner, Access.LOOK).orElseThrow();
        assertEquals("nobody may not search " + files.directory + " (d---rwxrwx nobody root): nobody is"
                + " the owner, to whom the mode gives ---", failure.explain());
    }

    @Test
    void aMaskThatTakesEverythingLeavesTheMode() throws Exception {
        Acl.parse("u:nobody:rwx,o::r,m::-").modify(files.file);
        assertEquals(Optional.empty(), asNobody(files.file, Access.READ));
        expectRefusal(files.file, Access.WRITE, files.file, "other::r--",
                "nobody is one of the others, and the entry other::r-- does not permit it");
        assertEquals(AclEntry.READ, asNobody(files.file, Access.WRITE).orElseThrow().permitted());
        assertEquals(Access.WRITE,
                asNobody(files.file, Access.WRITE).orElseThrow().refused().orElseThrow());
    }

    @Test
    void noOneExecutesWhatNoOneMay() throws Exception {
        FileOperations.setPermissions(files.file, 0600);
        PathFailure failure = PathFailure.of(files.file, Access.EXECUTE).orElseThrow();
        assertTrue(failure.explain().endsWith("root is the owner, to whom the mode gives rw-"),
                failure::explain);
        FileOperations.setPermissions(files.file, 0601);
        assertEquals(Optional.empty(), PathFailure.of(files.file, Access.EXECUTE));
        FileOperations.setPermissions(files.directory, 0);
        assertEquals(Optional.empty(), PathFailure.of(files.directory, Access.EXECUTE));
    }

    @Test
    void aFileSystemWithoutListsHasModes() throws Exception {
        PathFailure failure = asNobody("/proc/kmsg", Access.READ).orElseThrow();
        assertTrue(failure.explain().endsWith("and the mode gives others ---; only chmod or chown may change that: "
                + "its file system keeps no access control lists"), failure::explain);
        assertTrue(failure.acl().isMinimal());
    }

    @Test
    void theReasonMayLieBehindALink() throws Exception {
        Path closed = Files.createDirectory(dir.resolve("closed"));
        Files.createFile(closed.resolve("target"));
        Fixture.permit(closed, "rwx------");
        Path link = Files.createSymbolicLink(Path.of(files.directory, "to"),
                Path.of("../closed/target"));
        PathFailure failure = asNobody(link.toString(), Access.LOOK).orElseThrow();
        assertEquals(Files.getAttribute(closed, "unix:ino"), failure.inode());
        assertEquals(Reason.REFUSED, failure.reason());

        Path dangling = Files.createSymbolicLink(dir.resolve("dangling"), Path.of("nowhere"));
        failure = asNobody(dangling + "/below", Access.LOOK).orElseThrow();
        assertEquals(dir + "/nowhere does not exist", failure.explain());
        Path loop = Files.createSymbolicLink(dir.resolve("loop"), Path.of("loop"));
        failure = asNobody(loop.toString(), Access.LOOK).orElseThrow();
        assertEquals(Reason.OTHER, failure.reason());
        assertTrue(failure.explain().contains("Too many levels of symbolic links"), failure::explain);
    }

    @Test
    void stickyDirectoriesKeepWhatIsNotOnesOwn() throws Exception {
        FileOperations.setPermissions(files.directory, 01777);
        PathFailure failure = asNobody(files.inner, Access.REMOVE).orElseThrow();
        assertEquals(Reason.STICKY, failure.reason());
        assertEquals(files.directory, failure.component());
        assertEquals(Optional.empty(), failure.refused());
        assertTrue(failure.explain().endsWith("which is root's"), failure::explain);
        assertEquals(Optional.empty(), PathFailure.of(files.inner, Access.REMOVE));
        Fixture.run("chown", "-h", "nobody", files.inner);
        assertEquals(Optional.empty(), asNobody(files.inner, Access.REMOVE));
        Fixture.run("chown", "root", files.inner);
        Fixture.run("chown", "nobody", files.directory);
        assertEquals(Optional.empty(), asNobody(files.inner, Access.REMOVE));
        assertEquals(Reason.MOUNT_POINT,
                PathFailure.of("/proc", Access.REMOVE).orElseThrow().reason());
        assertEquals(Reason.MISSING,
                PathFailure.of(files.directory + "/none", Access.REMOVE).orElseThrow().reason());
    }

    @Test
    void whatIsMissingIsSaid() throws Exception {
        PathFailure failure = asNobody(files.directory + "/none/below", Access.READ).orElseThrow();
        assertEquals(Reason.MISSING, failure.reason());
        assertEquals(files.directory + "/none", failure.component());
        assertEquals("", failure.owner());
        assertEquals(Optional.empty(), failure.decidingEntry());
        assertEquals(Reason.MISSING,
                asNobody(files.file + "/below", Access.LOOK).orElseThrow().reason());
    }

    @Test
    void theThreadKeepsItsIdentity() throws Exception {
        FileOperations.setPermissions(files.directory, 0700);
        Fixture.onThread("own", () -> {
            PathFailure.of(files.inner, "nobody", Access.LOOK);
            assertEquals(0, ThreadIdentity.now().uid());
            try (Identity as = Identity.of("nobody")) {
                assertEquals(files.directory, PathFailure.of(files.inner, Access.LOOK).orElseThrow()
                        .component());
                assertEquals(65534, ThreadIdentity.now().uid());
            }
            assertThrows(IOException.class,
                    () -> PathFailure.of(files.inner, "no such user", Access.LOOK));
            return null;
        });
    }
}
