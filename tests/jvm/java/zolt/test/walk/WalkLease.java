package zolt.test.walk;

import static zolt.test.Said.HOLDER;
import static zolt.test.Said.LEASE;
import static zolt.test.Said.UPDATE;
import static zolt.test.walk.Rule.answer;
import static zolt.test.walk.Rule.error;
import static zolt.test.walk.Rule.same;
import static zolt.test.walk.Rule.vmError;
import static zolt.test.walk.Rule.xattrError;
import static zolt.test.walk.Scenario.bytes;
import static zolt.test.walk.Scenario.step;
import static zolt.test.walk.Scenario.string;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.xattr.LeaseFixture;

/** Leases: set, read, expired, renewed and removed. */
final class WalkLease {
    private static final String HOLDER = "user.lease.holder";
    private static final String UPDATE = "user.lease.update";
    private static final String LEASE = "user.lease.*";
    /** The lease clock at second 1000, in the machine's order of bytes. */
    private static final String AT_1000 = LeaseFixture.stamp(1_000_000);
    private static final byte[] ME = Place.bytes("me");

    private WalkLease() {}

    private static Scenario.Step clock() {
        return step("clock_gettime", error("clock_gettime"));
    }

    /** Removing both halves: the second is tried whatever became of the first. */
    private static List<Scenario.Step> removal(String call) {
        return List.of(
                step(call, xattrError("removexattr", LEASE)
                        .leaving(Ending.text(Map.of(HOLDER, ME)))),
                step(call, xattrError("removexattr", LEASE)
                        .leaving(Ending.text(Map.of(UPDATE, Place.bytes(AT_1000))))));
    }

    /** A read of the stamp into its eight bytes, which are all there even if fewer are counted. */
    private static Scenario.Step stamp(String call) {
        return step(call, xattrError("getxattr", UPDATE).unaltered());
    }

    private static Scenario with(String name, Path file, String... attributes) {
        return new Scenario(name)
                .prepare(() -> {
                    Place.attributes(file, attributes);
                    Faults.realtime(2000, 0);
                })
                .state(() -> Place.attributesOf(file));
    }

    static List<Scenario> scenarios(Place place) throws IOException {
        Path file = place.file("lease", 0);
        String path = file.toString();
        Path link = place.link("lease link", "lease");
        String[] held = {HOLDER, "me", UPDATE, AT_1000};
        return List.of(
            with("setFileLeaseNative: on a file without one", file)
                .does(() -> ZOLTNative.setFileLeaseNative(path, false, ME))
                .steps(
                    string(), bytes(), clock(),
                    step("lsetxattr", xattrError("setxattr", HOLDER)),
                    step("lsetxattr", xattrError("setxattr", UPDATE))),
            with("setFileLeaseNative: on a file that has one", file, held)
                .does(() -> ZOLTNative.setFileLeaseNative(link.toString(), true, ME))
                .steps(
                    string(), bytes(), clock(),
                    step("setxattr", xattrError("setxattr", HOLDER)),
                    step("ThrowNew", vmError())),
            with("setFileLeaseNative: on a file that has half of one", file, UPDATE, AT_1000)
                .does(() -> ZOLTNative.setFileLeaseNative(path, false, ME))
                .steps(
                    string(), bytes(), clock(),
                    step("lsetxattr", xattrError("setxattr", HOLDER)),
                    step("lsetxattr", xattrError("setxattr", UPDATE)),
                    step("lremovexattr", same()
                        .leaving(Ending.text(Map.of(HOLDER, ME, UPDATE, Place.bytes(AT_1000))))),
                    step("ThrowNew", vmError())),
            with("getFileLeaseNative: one that is live", file, held)
                .call(() -> ZOLTNative.getFileLeaseNative(path, false, 10, 1_000_000))
                .steps(
                    string(), clock(),
                    stamp("lgetxattr"),
                    step("lgetxattr", xattrError("getxattr", HOLDER)
                        .on(Fault.ONE_LESS, answer(Place.bytes("m")))
                        .on(Fault.NONE, answer(Place.bytes("")))
                        .on(Fault.ONE_MORE, answer(Place.bytes("me\0")))),
                    step("NewByteArray", vmError())),
            with("getFileLeaseNative: one that has expired", file, held)
                .call(() -> ZOLTNative.getFileLeaseNative(link.toString(), true, 10, 999_999))
                .steps(
                    string(), clock(),
                    stamp("getxattr"),
                    removal("removexattr")),
            with("getFileLeaseNative: none", file)
                .call(() -> ZOLTNative.getFileLeaseNative(path, false, 10, 1_000_000))
                .steps(
                    string(), clock(),
                    stamp("lgetxattr"),
                    step("ThrowNew", vmError())),
            with("renewFileLeaseNative: one that is held", file, held)
                .does(() -> ZOLTNative.renewFileLeaseNative(path, false))
                .steps(
                    string(), clock(),
                    step("lsetxattr", xattrError("setxattr", UPDATE))),
            with("removeFileLeaseNative: none", file)
                .does(() -> ZOLTNative.removeFileLeaseNative(path, false))
                .steps(
                    string(),
                    step("lremovexattr", xattrError("removexattr", LEASE)),
                    step("lremovexattr", same()), // the first one's error is what is said
                    step("ThrowNew", vmError())),
            with("removeFileLeaseNative: one that is held", file, held)
                .does(() -> ZOLTNative.removeFileLeaseNative(path, false))
                .steps(
                    string(),
                    removal("lremovexattr")));
    }
}
