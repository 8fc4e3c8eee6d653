package zolt.bench;

import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The error paths: most on a path that is not there. What is thrown is compared, class and message,
 * before it is timed; the JDK says what it says.
 */
final class ErrorCases {
    private static final String JDK = "JDK's exception";
    private static final byte[] VALUE = new byte[32];

    private final Bench bench;
    private final String where;

    ErrorCases(Bench bench, String where) {
        this.bench = bench;
        this.where = where;
    }

    private Case newCase(String name, Work floor, Work library) {
        Case failing = new Case(name, where, 0, 1);
        Failing.add(failing, Case.FLOOR, floor);
        return Failing.add(failing, Case.LIBRARY, library);
    }

    void measure(String name, Work floor, Work library) throws Exception {
        bench.measure(newCase(name + ", error", floor, library));
    }

    void measure(String name, Work floor, Work library, String otherName, Work other)
            throws Exception {
        bench.measure(newCase(name + ", error", floor, library)
                .way(otherName, Failing.timed(other), null));
    }

    private void missing(String name, Work floor, Work library, Work jdk) throws Exception {
        bench.measure(newCase("missing path, " + name, floor, library)
                .way(JDK, Failing.timed(jdk), null)
                .goal(Case.FLOOR, 1.05).goal(JDK, 1.05));
    }

    static void add(Bench bench, Workspace space) throws Exception {
        ErrorCases cases = new ErrorCases(bench, space.type);
        Path none = space.folder.resolve("missing");
        Path file = space.file("error-file", 0);
        cases.status(none);
        cases.listing(none, file);
        cases.blocks(none);
        cases.xattrs(none, file);
        cases.leases(none, file);
        cases.acls(none);
    }

    private void status(Path none) throws Exception {
        String path = none.toString();
        PosixFileAttributeView view =
                Files.getFileAttributeView(none, PosixFileAttributeView.class);
        var mode = PosixFilePermissions.fromString("rw-r--r--");
        FileTime time = FileTime.fromMillis(1500);
        missing("isCMTimeChanged", () -> Floor.changed(path, true, 0, 0, 0, 0) ? 1 : 0,
                () -> ZOLTNative.isCMTimeChangedNative(path, true, 0, 0, 0, 0) ? 1 : 0,
                () -> Files.readAttributes(none, PosixFileAttributes.class).size());
        missing("setPermission", () -> Floor.permission(path, (short) 0644) ? 1 : 0,
                () -> ZOLTNative.setPermission(path, (short) 0644) ? 1 : 0, () -> {
                    view.setPermissions(mode);
                    return 1;
                });
        missing("setTimes", () -> Floor.times(path, 1500, 1500) ? 1 : 0,
                () -> ZOLTNative.setTimes(path, 1500, 1500) ? 1 : 0, () -> {
                    view.setTimes(time, time, null);
                    return 1;
                });
        missing("link target", () -> Floor.link(path, 64).length,
                () -> ZOLTNative.getLinkTargetNative(path, 64).length,
                () -> Files.readSymbolicLink(none).toString().length());
    }

    private void listing(Path none, Path file) throws Exception {
        String path = none.toString();
        String plain = file.toString();
        ByteBuffer buffer = Workspace.direct(4096);
        measure("listing", () -> Floor.list(path, buffer),
                () -> ZOLTNative.getDirentsNative(path, buffer, false, false), JDK, () -> {
                    Files.newDirectoryStream(none).close();
                    return 1;
                });
        measure("count", () -> Floor.count(plain), () -> ZOLTNative.getDirentCountNative(plain),
                JDK, () -> {
                    Files.newDirectoryStream(file).close();
                    return 1;
                });
    }

    private void blocks(Path none) throws Exception {
        String path = none.toString();
        ByteBuffer status = Workspace.direct(102);
        status.putInt(24, 0100644).putLong(8, 4096).putInt(28, 4096);
        ByteBuffer words = Workspace.direct(64);
        measure("block locations", () -> {
            Floor.blocks(path, 0, status, words);
            return 1;
        }, () -> {
            ZOLTNative.getBlockLocationsNative(path, 0, true, 0, -1, status, words);
            return 1;
        });
        measure("setReplication", () -> Floor.replication(path, (short) 3) ? 1 : 0,
                () -> ZOLTNative.setReplication(path, (short) 3, false) ? 1 : 0);
        measure("setBGF", () -> Floor.groupFactor(path, 4) ? 1 : 0,
                () -> ZOLTNative.setBGF(path, 4) ? 1 : 0);
    }

    private void xattrs(Path none, Path file) throws Exception {
        String path = none.toString();
        String plain = file.toString();
        String name = "user.name";
        UserDefinedFileAttributeView view =
                Files.getFileAttributeView(none, UserDefinedFileAttributeView.class);
        UserDefinedFileAttributeView present =
                Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
        measure("getXAttr", () -> Floor.xattr(path, name).length,
                () -> ZOLTNative.getXAttr(path, name).length, JDK, () -> view.size("name"));
        measure("setExtendedAttribute", () -> Floor.setXattr(path, name, VALUE) ? 1 : 0,
                () -> ZOLTNative.setExtendedAttribute(path, name, VALUE, (short) 0) ? 1 : 0,
                JDK, () -> view.write("name", ByteBuffer.wrap(VALUE)));
        String[] names = {name, "user.other"}; // what cannot be read is left out
        measure("getXAttrs", () -> Floor.namedXattrs(path, names).size(),
                () -> ZOLTNative.getXAttrs(path, names).size());
        measure("dumpXAttrs", () -> Floor.xattrs(path).size(),
                () -> ZOLTNative.dumpXAttrs(path).size(), JDK, () -> view.list().size());
        measure("removeXAttr", () -> Floor.removeXattr(plain, name) ? 1 : 0,
                () -> ZOLTNative.removeXAttr(plain, name) ? 1 : 0, JDK, () -> {
                    present.delete("name");
                    return 1;
                });
    }

    private void leases(Path none, Path file) throws Exception {
        String path = none.toString();
        String plain = file.toString();
        measure("getFileLease", () -> Floor.lease(plain, 64).length,
                () -> ZOLTNative.getFileLeaseNative(plain, true, 64, Long.MAX_VALUE).length);
        measure("removeFileLease", () -> {
            Floor.removeLease(plain);
            return 1;
        }, () -> {
            ZOLTNative.removeFileLeaseNative(plain, true);
            return 1;
        });
        measure("renewFileLease", () -> {
            Floor.renewLease(path);
            return 1;
        }, () -> {
            ZOLTNative.renewFileLeaseNative(path, true);
            return 1;
        });
        ZOLTNative.setFileLeaseNative(plain, true, VALUE);
        measure("setFileLease", () -> {
            Floor.setLease(plain, VALUE);
            return 1;
        }, () -> {
            ZOLTNative.setFileLeaseNative(plain, true, VALUE);
            return 1;
        });
    }

    private void acls(Path none) throws Exception {
        String path = none.toString();
        byte[] spec = AclSpec.of(AclSpec.ACCESS, 10);
        measure("getAclStatus", () -> Floor.acl(path, false).length,
                () -> ZOLTNative.getAclStatus(path, false).length);
        for (AclWriteCases.Change change : AclWriteCases.CHANGES) {
            measure(change.name(), () -> change.floor().on(path, spec),
                    () -> change.library().on(path, spec));
        }
    }
}
