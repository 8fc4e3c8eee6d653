package zolt.fs;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

/** Extended attributes against the system's getfattr and setfattr, and leases. */
class AttributesTest {
    @TempDir Path dir;
    Fixture files;
    ExtendedAttributes attributes;
    Lease lease;

    @BeforeEach
    void create() throws Exception {
        files = new Fixture(dir);
        attributes = ExtendedAttributes.of(files.file);
        lease = Lease.of(files.file);
    }

    private String getfattr(String name) throws Exception {
        return Fixture.run("getfattr", "--absolute-names", "-e", "hex", "-n", name, files.file)
                .split("\n")[1];
    }

    @Test
    void valuesAreThoseOfTheSystem() throws Exception {
        attributes.set("user.bytes", new byte[] {0, 1, (byte) 0xff});
        assertEquals("user.bytes=0x0001ff", getfattr("user.bytes"));
        Fixture.run("setfattr", "-n", "user.colour", "-v", "green", files.file);
        assertEquals(Optional.of("green"), attributes.getText("user.colour"));
        attributes.replace("user.colour", "red".getBytes(UTF_8));
        assertEquals("user.colour=0x726564", getfattr("user.colour"));
        assertEquals(List.of("user.bytes", "user.colour"),
                List.copyOf(attributes.all().keySet()));
        assertArrayEquals(new byte[] {0, 1, (byte) 0xff}, attributes.all().get("user.bytes"));
        Map<String, byte[]> asked = attributes.getAll("user.none", "user.colour");
        assertEquals(List.of("user.colour"), List.copyOf(asked.keySet()));
        assertThrows(UnsupportedOperationException.class, asked::clear);
        attributes.remove("user.bytes");
        assertEquals(Optional.empty(), attributes.get("user.bytes"));
        assertEquals(0, attributes.getAll().size());
    }

    @Test
    void failuresAreTheLibrarys() throws Exception {
        attributes.create("user.a", new byte[0]);
        assertArrayEquals(new byte[0], attributes.get("user.a").get());
        assertEquals("File exists: user.a already exists", assertThrows(AttributeExistsException.class,
                () -> attributes.create("user.a", new byte[1])).getMessage());
        assertEquals("No data available: user.b does not exist", assertThrows(NoSuchAttributeException.class,
                () -> attributes.replace("user.b", new byte[1])).getMessage());
        assertEquals("No data available: user.b does not exist",
                assertThrows(NoSuchAttributeException.class, () -> attributes.remove("user.b")).getMessage());
        // A name cannot pass for a sentence of the library.
        ExtendedAttributes missing = ExtendedAttributes.of(dir.resolve("user.b does not exist"));
        assertThrows(NoSuchFileException.class, () -> missing.remove("user.b"));
        assertThrows(NoSuchFileException.class, () -> ExtendedAttributes.of(
                dir.resolve("missing").toString()).get("user.a"));
        assertThrows(NullPointerException.class, () -> attributes.set("user.a", null));
        assertThrows(NullPointerException.class, () -> attributes.getAll("user.a", null));
    }

    @Test
    void theLeaseIsNotForChangingHere() throws Exception {
        lease.set("writer");
        for (String name : List.of("user.lease.holder", "user.lease.update")) {
            assertThrows(IllegalArgumentException.class, () -> attributes.set(name, new byte[8]));
            assertThrows(IllegalArgumentException.class, () -> attributes.create(name, new byte[8]));
            assertThrows(IllegalArgumentException.class, () -> attributes.replace(name, new byte[8]));
            assertThrows(IllegalArgumentException.class, () -> attributes.remove(name));
            assertEquals(Optional.empty(), attributes.get(name));
            assertTrue(attributes.all().isEmpty());
        }
        assertArrayEquals("writer".getBytes(UTF_8), lease.holder(Lease.NEVER).get());
    }

    /** A service that has kept CAP_SYS_ADMIN, as this machine has, would give it to every caller. */
    @Test
    void whoActsForAUserChangesNoOtherNamespace() throws Exception {
        Fixture.run("chown", "nobody", files.file);
        Fixture.onThread("own", () -> {
            try (Identity as = Identity.of("nobody")) {
                for (String name : List.of("trusted.a", "security.a", "system.a", "userx", "")) {
                    for (Executable change : List.<Executable>of(() -> attributes.set(name, new byte[1]),
                            () -> attributes.create(name, new byte[1]),
                            () -> attributes.replace(name, new byte[1]), () -> attributes.remove(name))) {
                        assertEquals("Operation not permitted: " + name + " is not of the namespace"
                                + " user., and this thread acts for nobody",
                                assertThrows(AccessDeniedException.class, change).getMessage());
                    }
                }
                attributes.set("user.a", new byte[1]);
                attributes.remove("user.a");
                Acl.parse("u:1:r").modify(files.file);
                byte[] list = attributes.get("system.posix_acl_access").orElseThrow();
                attributes.set("system.posix_acl_access", list);
                attributes.remove("system.posix_acl_access");
                try (Identity root = Identity.superuser()) {
                    attributes.set("trusted.a", new byte[1]);
                }
                // A thread that begins inside of the switch acts for the same user.
                assertThrows(AccessDeniedException.class, () -> Fixture.onThread("inner", () -> {
                    attributes.remove("trusted.a");
                    return null;
                }));
            }
            attributes.remove("trusted.a");
            return null;
        });
    }

    @Test
    void aLeaseIsTakenRenewedAndRemoved() throws Exception {
        assertEquals(Optional.empty(), lease.holder(Lease.NEVER));
        lease.set("writer-1");
        assertEquals("File exists: user.lease.holder already exists",
                assertThrows(LeaseHeldException.class, () -> lease.set("writer-2")).getMessage());
        String stamp = getfattr("user.lease.update");
        Thread.sleep(2);
        lease.renew();
        assertFalse(stamp.equals(getfattr("user.lease.update")));
        assertEquals(Optional.of("writer-1"), lease.holderText(Duration.ofMinutes(1)));
        assertEquals(Optional.of("writer-1"), Lease.of(files.link).holderText(Duration.ZERO));
        lease.remove();
        assertEquals(Optional.empty(), lease.holderText(Duration.ofMinutes(1)));
        assertEquals("No data available: user.lease.* does not exist",
                assertThrows(NoSuchAttributeException.class, lease::remove).getMessage());
        assertThrows(NoSuchFileException.class,
                () -> Lease.of(dir.resolve("missing").toString()).holder(0));
    }

    @Test
    void halfALeaseIsNoneAndIsRemoved() throws Exception {
        for (String half : List.of("user.lease.holder", "user.lease.update")) {
            assertFalse(lease.isHalf());
            Files.setAttribute(Path.of(files.file), "user:" + half.substring("user.".length()),
                    ByteBuffer.wrap(new byte[8]));
            assertTrue(lease.isHalf());
            assertEquals(Optional.empty(), lease.holder(Lease.NEVER));
            assertThrows(IOException.class, () -> lease.set("writer-1"));
            assertTrue(lease.isHalf());
            lease.remove();
            assertThrows(NoSuchAttributeException.class, lease::remove);
        }
        lease.set("writer-1");
        assertFalse(lease.isHalf());
        assertFalse(Lease.of(dir.resolve("missing").toString()).isHalf());
    }

    @Test
    void anOldLeaseIsRemovedByWhoeverLooks() throws Exception {
        lease.set("writer-1");
        Fixture.run("setfattr", "-n", "user.lease.update", "-v", "0x0000000000000000", files.file);
        assertEquals(Optional.empty(), lease.holderText(Duration.ofHours(1)));
        assertEquals(0, FileStatus.of(files.file).leaseLength());
        lease.set("writer-2");
        assertEquals(Optional.of("writer-2"), lease.holderText(Duration.ofHours(1)));
    }

    /** Whatever the two times are, one renewed in time is within the limit, and a late one is not. */
    @Test
    void limitsAllowForTheClock() {
        long[] microseconds = {0, 1, 499_999, 999_999};
        for (long time : new long[] {0, 1, 60}) {
            long limit = Lease.limitFor(Duration.ofSeconds(time));
            for (long from : microseconds) {
                for (long to : microseconds) {
                    for (long seconds = 0; seconds < 3000; seconds++) {
                        long age = seconds * 1000 + to - from;
                        long real = seconds * 1_000_000 + to - from;
                        assertTrue(real > time * 1_000_000 || age <= limit);
                        assertTrue(real < (time + 2000) * 1_000_000 || age > limit);
                    }
                }
            }
        }
        assertEquals(Lease.NEVER, Lease.limitFor(Duration.ofSeconds(Long.MAX_VALUE, 999_999_999)));
        assertEquals(Lease.limitFor(Duration.ofSeconds(2)), Lease.limitFor(Duration.ofMillis(1001)));
        assertTrue(Lease.limitFor(Duration.ofDays(100_000_000_000L)) > 0);
        assertThrows(IllegalArgumentException.class, () -> Lease.limitFor(Duration.ofMillis(-1)));
    }

    @Test
    void renewingTakesNothingOfTheHeap() throws Throwable {
        lease.set("writer");
        Allocation.expectAtMost(0, lease::renew);
    }
}
