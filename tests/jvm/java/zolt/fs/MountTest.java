package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import org.junit.jupiter.api.Test;

/** Tables of mounts that a machine may have, and who decides on which. */
class MountTest {
    private static String point(String path, String... lines) {
        return Mount.find(Mount.table(Arrays.asList(lines)), Path.of(path)).map(Mount::point).orElse("none");
    }

    private static Mount mount(String tail) {
        return new Mount("30 1 0:1 / /m rw,relatime shared:1 - " + tail);
    }

    @Test
    void aPathLiesOnTheLastMountOnItsWay() {
        String[] table = {"22 27 0:5 / /proc rw - proc proc rw", "27 1 8:1 / / rw - ext4 /dev/a rw",
            "28 27 8:2 / /srv rw - ext4 /dev/b rw", "29 28 8:3 / /srv rw - ext4 /dev/c rw",
            "30 28 8:4 / /srv/in rw - ext4 /dev/d rw", "31 27 8:5 / /m\\040m rw - ext4 /dev/e rw"};
        assertEquals("/", point("/etc", table));
        assertEquals("/proc", point("/proc/1", table));
        assertEquals("/m m", point("/m m/x", table));
        assertEquals("/srv", point("/srv/in/x", table), "/srv/in is hidden below the second /srv");
    }

    /** The mount that holds the root of a chroot is not in its table, nor are those outside. */
    @Test
    void aChrootMayHaveNoRoot() {
        String[] table = {"22 27 0:5 / /proc rw - proc proc rw", "28 27 8:2 / /srv rw - ext4 /dev/b ro",
            "29 28 8:3 / /srv/in rw - ext4 /dev/c rw", "30 27 8:3 / /srv/hidden rw - ext4 /dev/c rw"};
        assertEquals("none", point("/etc", table));
        assertEquals("none", point("/", table));
        assertEquals("/proc", point("/proc/1", table));
        assertEquals("/srv", point("/srv/x", table));
        assertEquals("/srv/in", point("/srv/in/x", table));
        assertEquals("/srv", point("/srv/hidden/x", table));
        assertEquals("/", point("/x", "1 1 0:2 / / rw - rootfs rootfs rw"));
        assertTrue(Mount.find(Mount.table(Arrays.asList(table)), Path.of("/srv/x")).get().isReadOnly());
    }

    @Test
    void someAreNeverWritten() {
        assertEquals("it has no layer that can be written",
                mount("overlay o ro,lowerdir=/a:/b").writeProtection().get());
        assertEquals(Optional.empty(), mount("overlay o ro,lowerdir=/a,upperdir=/b,workdir=/c").writeProtection());
        assertEquals("a squashfs is never written", mount("squashfs /dev/loop0 ro").writeProtection().get());
        assertEquals(Optional.empty(), mount("tmpfs t ro").writeProtection());
        assertEquals(Optional.empty(), mount("squashfs /dev/loop0 rw").writeProtection());
    }

    @Test
    void aRemovedSourceShows() {
        assertTrue(new Mount("30 1 8:1 /srv/gone//deleted /m rw - ext4 /dev/a rw").isRemoved());
        assertFalse(new Mount("30 1 8:1 /srv/deleted /m rw - ext4 /dev/a rw").isRemoved());
    }

    @Test
    void quotasAreOptions() {
        for (String option : List.of("quota", "usrquota", "grpquota", "prjquota", "uquota", "gquota", "pquota",
                "usrjquota=aquota.user", "rw,relatime,prjquota")) {
            assertTrue(mount("xfs /dev/a " + option).hasQuotas(), option);
        }
        for (String option : List.of("rw", "noquota", "uqnoenforce", "rw,data=ordered")) {
            assertFalse(mount("xfs /dev/a " + option).hasQuotas(), option);
        }
    }

    @Test
    void theLastBlocksAreSomebodys() {
        List<Long> groups = List.of(0L, 7L);
        assertTrue(mount("ext4 /dev/a rw").reservesFor(0, groups));
        assertFalse(mount("ext4 /dev/a rw").reservesFor(9, groups));
        assertTrue(mount("ext4 /dev/a rw,resuid=9,resgid=0").reservesFor(9, groups));
        assertFalse(mount("ext4 /dev/a rw,resuid=9,resgid=0").reservesFor(0, groups), "of that group are many");
        assertTrue(mount("ext4 /dev/a rw,resgid=7").reservesFor(9, groups));
        assertFalse(mount("ext4 /dev/a rw,resgid=8").reservesFor(9, groups));
        assertTrue(mount("ext4 /dev/a rw,resgid=8").reservesFor(0, groups));
    }

    @Test
    void someFileSystemsAreDecidedElsewhere() {
        assertEquals(Optional.empty(), mount("ext4 /dev/a rw").decidedBy(9, false));
        assertEquals(Optional.empty(), mount("zolt fs rw").decidedBy(9, false));
        assertEquals("the server of /m (nfs4) decides", mount("nfs4 server:/ rw").decidedBy(9, false).get());
        assertEquals(Optional.empty(), mount("nfs4 server:/ rw").decidedBy(9, true));

        assertEquals(Optional.empty(), mount("fusectl none rw").decidedBy(9, false));

        String checked = "rw,user_id=0,group_id=0,default_permissions";
        String admits = "/m (fuse.x) admits processes of the user who mounted it, and does not ask for whom they"
                + " act";
        assertEquals(admits, mount("fuse.x x " + checked).decidedBy(9, false).get());
        assertEquals(admits, mount("fuse.x x " + checked).decidedBy(9, true).get());
        assertEquals(Optional.empty(), mount("fuse.x x " + checked).decidedBy(0, true));
        assertEquals(admits, mount("fuse.x x rw,user_id=9,default_permissions").decidedBy(9, false).get());
        assertEquals(Optional.empty(), mount("fuse.x x " + checked + ",allow_other").decidedBy(9, false));
        assertEquals("the program that serves /m (fuse.x) decides",
                mount("fuse.x x rw,user_id=0,allow_other").decidedBy(9, false).get());
        assertEquals("the program that serves /m (fuse.x) decides",
                mount("fuse.x x rw,user_id=0").decidedBy(0, true).get());
    }
}
