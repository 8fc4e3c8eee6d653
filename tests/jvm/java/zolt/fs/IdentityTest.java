package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.util.List;
import org.junit.jupiter.api.Test;

class IdentityTest {
    @Test
    void aSwitchEndsWithItsBlock() throws Exception {
        Fixture.onThread("own", () -> {
            try (Identity as = Identity.of("nobody")) {
                assertEquals("uid=65534(nobody) gid=65534(nogroup) groups=65534(nogroup)",
                        ThreadIdentity.now().toString());
                assertEquals("nobody", as.user());
            }
            assertEquals(0, ThreadIdentity.now().uid());
            assertEquals(0, ThreadIdentity.now().gid());
            assertEquals(List.of(65534L), ThreadIdentity.now().groups());
            return null;
        });
    }

    @Test
    void anotherThreadMayNotEndIt() throws Exception {
        Fixture.onThread("owner", () -> {
            try (Identity as = Identity.of("nobody")) {
                Fixture.onThread("stranger", () -> {
                    assertEquals("the identity of nobody belongs to the thread \"owner\" and cannot be"
                            + " used on \"stranger\"",
                            assertThrows(IllegalStateException.class, as::close).getMessage());
                    // A thread begins with what the one has that starts it.
                    assertEquals(65534, ThreadIdentity.now().uid());
                    return null;
                });
                assertEquals(65534, ThreadIdentity.now().uid());
            }
            assertEquals(0, ThreadIdentity.now().uid());
            return null;
        });
    }

    @Test
    void innerSwitchesEndFirst() throws Exception {
        Fixture.onThread("own", () -> {
            Identity outer = Identity.of("nobody");
            Identity inner = Identity.of("daemon");
            assertEquals(1, ThreadIdentity.now().uid());
            assertEquals("the identity of nobody cannot end before the 1 that were taken on after it",
                    assertThrows(IllegalStateException.class, outer::close).getMessage());
            assertEquals(1, ThreadIdentity.now().uid());
            inner.close();
            inner.close();
            assertEquals(65534, ThreadIdentity.now().uid());
            try (Identity root = Identity.superuser()) {
                assertEquals(0, ThreadIdentity.now().uid());
            }
            assertEquals(65534, ThreadIdentity.now().uid());
            outer.close();
            outer.close();
            assertEquals(0, ThreadIdentity.now().uid());
            return null;
        });
    }

    @Test
    void anUnknownUserIsNobodyOrRefused() throws Exception {
        Fixture.onThread("own", () -> {
            try (Identity as = Identity.ofUserOrNobody("no such user")) {
                assertEquals(65534, ThreadIdentity.now().uid());
            }
            assertTrue(assertThrows(IOException.class, () -> Identity.of("no such user"))
                    .getMessage().contains("Unknown user \"no such user\""));
            assertEquals(0, ThreadIdentity.now().uid());
            assertThrows(NullPointerException.class, () -> Identity.of(null));
            return null;
        });
    }

    @Test
    void whereAllIsDoneByTheServiceNothingIsSwitched() throws Exception {
        ZoltLibrary.setAlwaysSuper(true);
        try (Identity as = Identity.of("nobody")) {
            assertEquals(0, ThreadIdentity.now().uid());
        } finally {
            ZoltLibrary.setAlwaysSuper(false);
        }
    }

    @Test
    void aSwitchIsOneObjectAtMost() throws Exception {
        Fixture.onThread("own", () -> {
            try {
                Allocation.expectAtMost(48, () -> Identity.of("nobody").close());
            } catch (Exception | Error e) {
                throw e;
            } catch (Throwable e) {
                throw new AssertionError(e);
            }
            return null;
        });
    }

    @Test
    void idsHaveNoSign() throws Exception {
        assertEquals("4294967294", Accounts.userOrId(4294967294L));
        assertEquals("4294967294", Accounts.groupOrId(4294967294L));
        assertThrows(IllegalArgumentException.class, () -> Accounts.user(-1));
        assertThrows(IllegalArgumentException.class, () -> Accounts.group(1L << 32));
        assertThrows(IOException.class, () -> Accounts.uid("no such user"));
        assertThrows(IOException.class, () -> Accounts.gid("no such group"));
        assertEquals(65534, Accounts.gid("nogroup"));
    }
}
