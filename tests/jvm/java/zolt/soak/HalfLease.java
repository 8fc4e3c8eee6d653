package zolt.soak;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.status.StatusRecord;

/** What a process that ends between the two attributes of a lease leaves, and the way out of it. */
final class HalfLease {
    enum Kind {
        NONE, WHOLE, HOLDER_ONLY, UPDATE_ONLY;

        @Override
        public String toString() {
            return name().toLowerCase().replace('_', ' ');
        }
    }

    private static final String MISSING = ": No data available: ";

    private HalfLease() {}

    private interface Procedure {
        void run() throws Exception;
    }

    /** What a call raises, in one line; empty when it does not. */
    private static String raised(Procedure call) {
        try {
            call.run();
            return "";
        } catch (Throwable e) {
            return e.getClass().getSimpleName() + ": " + e.getMessage();
        }
    }

    private static void expect(String path, Kind kind, String call, String expected, String found) {
        Kills.expect(expected.equals(found), "on " + path + ", " + kind + ", " + call + " with \""
                + found + "\" instead of \"" + expected + "\"");
    }

    /** What is on the file, as read past the library; any value must be a whole one. */
    private static Kind kindOf(String path) throws IOException {
        byte[] holder = Kills.stored(path, Said.HOLDER);
        byte[] update = Kills.stored(path, Said.UPDATE);
        Kills.expect(holder == null || XattrCalls.isOne(Kills.HOLDERS, holder),
                "a holder " + Outcome.show(holder));
        Kills.expect(update == null || update.length == Long.BYTES,
                "an update " + Outcome.show(update));
        if (holder == null) {
            return update == null ? Kind.NONE : Kind.UPDATE_ONLY;
        }
        return update == null ? Kind.HOLDER_ONLY : Kind.WHOLE;
    }

    /** Each kind once, made by hand, so that all the checks are made even if no kill makes them. */
    static void tryAllKinds(String path) throws Exception {
        for (Kind kind : Kind.values()) {
            if (kind == Kind.WHOLE || kind == Kind.HOLDER_ONLY) {
                store(path, Said.HOLDER, Kills.HOLDERS[0]);
            }
            if (kind == Kind.WHOLE || kind == Kind.UPDATE_ONLY) {
                store(path, Said.UPDATE, new byte[Long.BYTES]);
            }
            Kind mended = mend(path);
            Kills.expect(mended == kind, mended + " where " + kind + " was made");
        }
    }

    private static void store(String path, String name, byte[] value) throws IOException {
        Files.getFileAttributeView(Path.of(path), UserDefinedFileAttributeView.class)
                .write(name.substring("user.".length()), ByteBuffer.wrap(value));
    }

    /** Finds out what is on the file by what the natives answer, and clears it with one call. */
    static Kind mend(String path) throws Exception {
        Kind kind = kindOf(path);
        String noHolder = "IOException" + MISSING + Said.HOLDER + " does not exist";
        String noUpdate = "IOException" + MISSING + Said.UPDATE + " does not exist";
        String neither = "IOException" + MISSING + Said.LEASE + " does not exist";
        String held = "IOException: File exists: ";
        boolean whole = kind == Kind.WHOLE;
        boolean hasHolder = whole || kind == Kind.HOLDER_ONLY;

        expect(path, kind, "reading", whole ? "" : kind == Kind.UPDATE_ONLY ? noHolder : noUpdate,
                raised(() -> read(path)));
        if (kind != Kind.NONE) {
            expect(path, kind, "taking", held + (hasHolder ? Said.HOLDER : Said.UPDATE)
                    + " already exists", raised(() -> take(path)));
        }
        Kills.expect(lengthInStatus(path) > 0 == hasHolder, "a length in the status record of "
                + path + ", " + kind);
        Kills.expect(kindOf(path) == kind, kindOf(path) + " after looking at " + kind);

        expect(path, kind, "removing", whole ? "" : neither,
                raised(() -> ZOLTNative.removeFileLeaseNative(path, true)));
        Kills.expect(kindOf(path) == Kind.NONE, kindOf(path) + " after removing " + kind);
        expect(path, kind, "taking after that", "", raised(() -> take(path)));
        expect(path, kind, "reading after that", "", raised(() -> read(path)));
        expect(path, kind, "removing after that", "",
                raised(() -> ZOLTNative.removeFileLeaseNative(path, true)));
        return kind;
    }

    private static void take(String path) throws IOException {
        ZOLTNative.setFileLeaseNative(path, true, Kills.HOLDERS[1]);
    }

    private static void read(String path) throws IOException {
        byte[] holder =
                ZOLTNative.getFileLeaseNative(path, true, LeaseCalls.ROOM, LeaseCalls.NEVER);
        Kills.expect(XattrCalls.isOne(Kills.HOLDERS, holder), "a holder " + Outcome.show(holder));
    }

    private static int lengthInStatus(String path) throws IOException {
        ByteBuffer record = ByteBuffer.allocateDirect(StatusRecord.BYTES).order(ByteOrder.nativeOrder());
        ZOLTNative.getFileStatusNative(path, true, true, record, 0, 0, 0, 0);
        return record.getShort(StatusRecord.LEASE);
    }
}
