package zolt.cli.doctor;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import java.util.function.Predicate;
import zolt.cli.output.Failure;
import zolt.fs.Acl;
import zolt.fs.AclEntry;
import zolt.fs.BlockLocations;
import zolt.fs.DirectoryListing;
import zolt.fs.ExtendedAttributes;
import zolt.fs.FileStatus;
import zolt.fs.Lease;
import zolt.fs.Mount;
import zolt.fs.PathFailure;
import zolt.fs.ThreadIdentity;

/** What the doctor tries on a file system. */
public final class FileSystemChecks {
    private static final byte[] VALUE = {1, 2, 3};
    private static final int BLOCK = 4096;
    private static final String UNTRIED = ", so attributes, access control lists, leases and blocks were not tried";

    private final Findings findings;
    private final String path;
    private final String why;
    private final boolean acting;

    /** @param as the user who is acted for; null for none */
    public FileSystemChecks(Findings findings, String path, String as) {
        this.findings = findings;
        this.path = path;
        this.acting = as != null;
        this.why = "zolt why " + (as == null ? "" : "--as " + Remedy.quoted(as) + " ");
    }

    public void all() {
        FileStatus status = new FileStatus();
        try {
            status.readFast(path);
        } catch (IOException e) {
            findings.fail("status", Failure.about(path, e).getMessage(),
                    why + "--for look " + Remedy.quoted(path));
            return;
        }
        if (!status.isDirectory()) {
            findings.fail("status", path + " is no directory", "name a directory of the file system");
            return;
        }
        findings.ok("status", path + " is a directory of " + status.owner());
        mount();
        tried("listing", why + Remedy.quoted(path), () -> {
            int entries = 0;
            try (DirectoryListing listing = DirectoryListing.open(path)) {
                while (listing.advance()) {
                    entries++;
                }
            }
            return entries + (entries == 1 ? " entry" : " entries");
        });
        if (isRefusing(reason -> reason == PathFailure.Reason.APPEND_ONLY)) {
            findings.warn("writing", "a file that is made in " + path + " could not be removed again" + UNTRIED,
                    why + "--for w " + Remedy.quoted(path));
            return;
        }
        Path file;
        try {
            file = Files.createTempFile(Paths.get(path), ".zolt-doctor-", "");
        } catch (IOException e) {
            notMade(e);
            return;
        }
        file.toFile().deleteOnExit(); // where a signal ends the command
        try {
            settle(file, "rw-------");
            fill(file);
            write(file.toString());
            directory();
        } finally {
            remove(file);
        }
    }

    /** What else asks for a file to try it on was not tried. */
    private void notMade(IOException e) {
        String shortage = Shortage.of(e, path);
        String untried = "no file can be made in " + path + UNTRIED;
        if (shortage != null) {
            findings.fail("writing", untried + ": " + shortage, Shortage.MEND);
        } else if (isRefusing(FileSystemChecks::isNamed)) {
            findings.warn("writing", untried, why + "--for w " + Remedy.quoted(path));
        } else {
            findings.fail("writing", untried + ": " + Shortage.reason(e), "name a directory in which the kernel lets this"
                    + " process make files");
        }
    }

    /** Whether something is the reason that can be named, and so be mended. */
    private static boolean isNamed(PathFailure.Reason reason) {
        return reason != PathFailure.Reason.FILE_SYSTEM && reason != PathFailure.Reason.UNKNOWN
                && reason != PathFailure.Reason.OTHER;
    }

    private boolean isRefusing(Predicate<PathFailure.Reason> which) {
        try {
            return PathFailure.of(path, PathFailure.Access.WRITE).map(PathFailure::reason).filter(which).isPresent();
        } catch (IOException e) {
            return false;
        }
    }

    /** A file system may make files and have no room for what is in them. */
    private void fill(Path file) {
        try (FileChannel channel = FileChannel.open(file, StandardOpenOption.WRITE)) {
            ByteBuffer block = ByteBuffer.allocate(BLOCK);
            while (block.hasRemaining()) {
                channel.write(block);
            }
            channel.force(true);
            findings.ok("writing", "a file was made and written");
        } catch (IOException e) {
            failed("writing", e);
        }
    }

    private void failed(String check, IOException e) {
        String shortage = Shortage.of(e, path);
        findings.fail(check, path + ": " + (shortage != null ? shortage : Shortage.reason(e)),
                shortage != null ? Shortage.MEND : log());
    }

    /** Who may say more of a failure. */
    String log() {
        return Mount.of(path).filter(mount -> mount.type().startsWith("fuse")).isPresent()
                ? "see the log of the program that serves the mount" : "see the log of the kernel";
    }

    private void mount() {
        Mount mount = Mount.of(path).orElse(null);
        if (mount == null) {
            findings.warn("mount", "the mount table does not show it, as in a chroot whose root is no mount point",
                    "nothing, where that is meant: from outside the chroot zolt doctor shows the mount");
        } else if (mount.isRemoved()) {
            findings.fail("mount", mount + ": the directory that is mounted there was removed",
                    "umount it, and mount one that is there");
        } else if (mount.isReadOnly()) {
            findings.fail("mount", mount + " is mounted read-only", "mount it for writing");
        } else {
            findings.ok("mount", mount.toString());
        }
    }

    private void write(String file) {
        tried("attributes", log(), () -> {
            ExtendedAttributes attributes = ExtendedAttributes.of(file);
            attributes.set("user.zolt.doctor", VALUE);
            byte[] read = attributes.get("user.zolt.doctor").orElse(new byte[0]);
            attributes.remove("user.zolt.doctor");
            return Arrays.equals(read, VALUE) ? "set, read and removed" : null;
        });
        tried("ACLs", Acl.isAvailable() ? log() : "install libacl1", () -> {
            Acl wanted = Acl.of(AclEntry.user(ThreadIdentity.now().uid(), AclEntry.READ));
            wanted.modify(file);
            boolean there = !Acl.get(file).isMinimal();
            Acl.clear(file);
            return there && Acl.get(file).isMinimal() ? "set, read and removed" : null;
        });
        tried("leases", log(), () -> {
            Lease lease = Lease.of(file);
            lease.set("zolt doctor");
            boolean held = lease.holder(Lease.NEVER).isPresent();
            lease.remove();
            return held ? "taken, seen and ended" : null;
        });
        tried("blocks", "see the log of the file system's client", () -> {
            FileStatus status = new FileStatus();
            status.read(file);
            BlockLocations.of(file, BlockLocations.Form.RANKED);
            return "the client answers: replication " + status.replication() + ", HDFS blocks of "
                    + status.blockSize() + " bytes";
        });
    }

    /** On a directory, once a file could be made. */
    private void directory() {
        try {
            new DirectoryChecks(findings, this, path).all(!acting && Rights.now().switches());
        } catch (IOException e) {
            failed("directories", e);
        }
    }

    /** Whatever the umask, and the default list of the directory, have made of what was made. */
    static void settle(Path made, String mode) {
        try {
            if (!Acl.get(made).isMinimal()) {
                Acl.clear(made.toString());
                Acl.clearDefault(made.toString());
            }
        } catch (IOException e) {
            // the check of lists will say it
        }
        try {
            Files.setPosixFilePermissions(made, PosixFilePermissions.fromString(mode));
        } catch (IOException e) {
            // a file system that has one mode for all
        }
    }

    void remove(Path file) {
        try {
            Files.delete(file);
        } catch (IOException e) {
            findings.warn("writing", file + " could not be removed again", "remove it");
        }
    }

    /** Something that the file system may refuse; null stands for an answer that is wrong. */
    interface Trial {
        String run() throws IOException;
    }

    void tried(String check, String mend, Trial trial) {
        try {
            String found = trial.run();
            if (found == null) {
                findings.fail(check, "what was set was not what was read", mend);
            } else {
                findings.ok(check, found);
            }
        } catch (IOException e) {
            String shortage = Shortage.of(e, path);
            if (shortage != null) {
                findings.fail(check, path + ": " + shortage, Shortage.MEND);
            } else if (String.valueOf(e.getMessage()).startsWith("Operation not supported") && Acl.isAvailable()) {
                findings.fail(check, e.getMessage(), unsupported());
            } else {
                findings.fail(check, String.valueOf(e.getMessage()), mend);
            }
        }
    }

    /** Some types have options against it; the others keep no attributes, of which lists, leases and blocks are made. */
    private String unsupported() {
        String type = Mount.of(path).map(Mount::type).orElse("its type");
        return type.startsWith("ext") ? "mount it without nouser_xattr and noacl"
                : type + " keeps none here: use another file system, such as ext4 or xfs";
    }
}
