package zolt.bench;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Status, setters and link targets. */
final class StatusCases {
    private static final long NEVER = Long.MAX_VALUE;
    private static final byte[] HOLDER = "DFSClient_NONMAPREDUCE_4711_01".getBytes();

    private final Bench bench;
    private final String where;
    private final Path file;
    private final String path;
    private final ByteBuffer buffer = Workspace.direct(88);

    private StatusCases(Bench bench, Workspace space) throws IOException {
        this.bench = bench;
        where = space.type;
        file = space.file("status-file", 1000);
        path = file.toString();
    }

    static void add(Bench bench, Workspace space) throws Exception {
        StatusCases cases = new StatusCases(bench, space);
        cases.fast();
        cases.full();
        cases.numbers();
        cases.setters(space);
        cases.missing();
    }

    private Case newCase(String name) {
        return new Case(name, where, 0, 1);
    }

    private long answer(int written) {
        return written == 1 ? buffer.getLong(8) * 31 + buffer.getLong(48) : -1;
    }

    private long posix() throws IOException {
        PosixFileAttributes attributes = Files.readAttributes(file, PosixFileAttributes.class);
        return attributes.size() * 31 + attributes.lastModifiedTime().to(TimeUnit.SECONDS);
    }

    private long unix() throws IOException {
        var attributes = Files.readAttributes(file, "unix:*");
        return (Long) attributes.get("size") * 31
                + ((FileTime) attributes.get("lastModifiedTime")).to(TimeUnit.SECONDS);
    }

    private void fast() throws Exception {
        bench.settle();
        long prepared = Floor.prepare(path, null, buffer);
        bench.measure(newCase("fast status, changed")
                .floor(() -> answer(Floor.fast(path, true, buffer, 0, 0)))
                .bare(Floor.FAST, prepared)
                .library(() -> answer(ZOLTNative.getFileStatusFastNative(path, true, buffer, 0, 0)))
                .way("PosixFileAttributes", this::posix)
                .way("unix:*", this::unix)
                .goal(Case.FLOOR, 1.05).goal("PosixFileAttributes", 0.97));
        bench.measure(newCase("fast status, unchanged")
                .floor(() -> Floor.fast(path, true, buffer, NEVER, 0))
                .library(() -> ZOLTNative.getFileStatusFastNative(path, true, buffer, NEVER, 0))
                .way("PosixFileAttributes", this::posix, null)
                .goal(Case.FLOOR, 1.05).goal("PosixFileAttributes", 0.97));
    }

    private void full() throws Exception {
        ZOLTNative.setFileLeaseNative(path, true, HOLDER);
        try {
            bench.settle();
            fullAs("full status", 0);
            long handle = ZOLTNative.setFsUid("nobody");
            try {
                fullAs("full status, caller switched", handle);
            } finally {
                ZOLTNative.setFsUid(handle);
            }
        } finally {
            ZOLTNative.removeFileLeaseNative(path, true);
        }
    }

    private void fullAs(String name, long handle) throws Exception {
        long prepared = Floor.prepare(path, null, buffer);
        UserDefinedFileAttributeView view =
                Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
        bench.measure(newCase(name)
                .floor(() -> answer(Floor.full(path, true, true, buffer, 0, 0, 0, 0)))
                .bare(Floor.FULL, prepared)
                .library(() -> answer(
                        ZOLTNative.getFileStatusNative(path, true, true, buffer, 0, 0, 0, 0)))
                .way("PosixFileAttributes + 2 sizes", () -> {
                    long found = posix();
                    return view.size("lease.holder") + view.size("lease.update") > 0 ? found : 0;
                })
                .goal(Case.FLOOR, 1.05).goal("PosixFileAttributes + 2 sizes", 1.00));
    }

    private void numbers() throws Exception {
        long prepared = Floor.prepare(path, null, null);
        bench.measure(newCase("getINum")
                .floor(() -> Floor.inode(path, true))
                .bare(Floor.INUM, prepared)
                .library(() -> ZOLTNative.getINum(path, true))
                .way("unix:ino", () -> (Long) Files.getAttribute(file, "unix:ino"))
                .goal(Case.FLOOR, 1.05).goal("unix:ino", 0.68));
        bench.measure(newCase("isCMTimeChanged")
                .floor(() -> Floor.changed(path, true, NEVER, 0, NEVER, 0) ? 1 : 0)
                .library(() -> ZOLTNative.isCMTimeChangedNative(path, true, NEVER, 0, NEVER, 0)
                        ? 1 : 0)
                .way("PosixFileAttributes", this::posix, null)
                .goal(Case.FLOOR, 1.05).goal("PosixFileAttributes", 0.97));
    }

    private void setters(Workspace space) throws Exception {
        long prepared = Floor.prepare(path, null, null);
        PosixFileAttributeView view =
                Files.getFileAttributeView(file, PosixFileAttributeView.class);
        Set<PosixFilePermission> mode = PosixFilePermissions.fromString("rw-r--r--");
        bench.measure(newCase("setPermission")
                .floor(() -> Floor.permission(path, (short) 0644) ? 1 : 0)
                .bare(Floor.PERMISSION, prepared)
                .library(() -> ZOLTNative.setPermission(path, (short) 0644) ? 1 : 0)
                .way("setPosixFilePermissions", () -> {
                    view.setPermissions(mode);
                    return 1;
                })
                .goal(Case.FLOOR, 1.05));
        FileTime time = FileTime.fromMillis(1500);
        bench.measure(newCase("setTimes")
                .floor(() -> Floor.times(path, 1500, 1500) ? 1 : 0)
                .bare(Floor.TIMES, prepared)
                .library(() -> ZOLTNative.setTimes(path, 1500, 1500) ? 1 : 0)
                .way("BasicFileAttributeView.setTimes", () -> {
                    view.setTimes(time, time, null);
                    return 1;
                })
                .goal(Case.FLOOR, 1.05));

        Path link = Files.createSymbolicLink(space.folder.resolve("link"), Path.of("status-file"));
        String name = link.toString();
        bench.measure(newCase("link target")
                .floor(() -> Floor.link(name, 64).length)
                .bare(Floor.LINK, Floor.prepare(name, null, null))
                .library(() -> ZOLTNative.getLinkTargetNative(name, 64).length)
                .way("readSymbolicLink", () -> Files.readSymbolicLink(link).toString().length())
                .goal(Case.FLOOR, 1.06));
    }

    private static long messageOf(Work work) throws Exception {
        try {
            work.run();
            return 0;
        } catch (NoSuchFileException e) {
            return e.getMessage().length();
        }
    }

    private void missing() throws Exception {
        String none = file.resolveSibling("missing").toString();
        Path nonePath = Path.of(none);
        Work jdk = () -> messageOf(
                () -> Files.readAttributes(nonePath, PosixFileAttributes.class).size());
        bench.measure(newCase("missing path, fast status")
                .floor(() -> messageOf(() -> Floor.fast(none, true, buffer, 0, 0)))
                .library(() -> messageOf(
                        () -> ZOLTNative.getFileStatusFastNative(none, true, buffer, 0, 0)))
                .way("JDK's exception", jdk, null)
                .goal(Case.FLOOR, 1.05).goal("JDK's exception", 1.05));
        bench.measure(newCase("missing path, full status")
                .floor(() -> messageOf(() -> Floor.full(none, true, false, buffer, 0, 0, 0, 0)))
                .library(() -> messageOf(() -> ZOLTNative.getFileStatusNative(none, true, false,
                        buffer, 0, 0, 0, 0)))
                .way("JDK's exception", jdk, null)
                .goal(Case.FLOOR, 1.05).goal("JDK's exception", 1.05));
        bench.measure(newCase("missing path, getINum")
                .floor(() -> messageOf(() -> Floor.inode(none, true)))
                .library(() -> messageOf(() -> ZOLTNative.getINum(none, true)))
                .way("JDK's exception", jdk, null)
                .goal(Case.FLOOR, 1.05).goal("JDK's exception", 1.05));
    }
}
