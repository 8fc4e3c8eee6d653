package zolt.fs;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Lists against the system's getfacl and setfacl, both ways. */
class AclTest {
    private static final int RANDOM_LISTS = 60;
    private static final String[] USERS = {"nobody", "daemon", "bin", "4123456789", "77"};
    private static final String[] GROUPS = {"nogroup", "daemon", "tty", "4123456780", "78"};

    @TempDir Path dir;
    Fixture files;

    @BeforeEach
    void create() throws Exception {
        files = new Fixture(dir);
    }

    /** What getfacl prints below its header, without the empty line at its end. */
    private static String getfacl(String path, String... options) throws Exception {
        List<String> line = new ArrayList<>(List.of("getfacl", "-pc"));
        line.addAll(List.of(options));
        line.add(path);
        return Fixture.run(line.toArray(String[]::new)).stripTrailing() + "\n";
    }

    private static String randomEntries(Random random, String prefix) {
        StringBuilder text = new StringBuilder();
        String[] letters = {"---", "r--", "-w-", "--x", "rw-", "r-x", "-wx", "rwx"};
        text.append(prefix).append("u::").append(letters[random.nextInt(8)]).append(',');
        for (String user : USERS) {
            if (random.nextBoolean()) {
                text.append(prefix).append("u:").append(user).append(':')
                        .append(letters[random.nextInt(8)]).append(',');
            }
        }
        text.append(prefix).append("g::").append(letters[random.nextInt(8)]).append(',');
        for (String group : GROUPS) {
            if (random.nextBoolean()) {
                text.append(prefix).append("g:").append(group).append(':')
                        .append(letters[random.nextInt(8)]).append(',');
            }
        }
        text.append(prefix).append("m::").append(letters[random.nextInt(8)]).append(',');
        return text.append(prefix).append("o::").append(letters[random.nextInt(8)]).toString();
    }

    @Test
    void listsOfTheSystemReadAndWriteTheSame() throws Exception {
        Random random = new Random(20);
        String other = Files.createDirectory(dir.resolve("other")).toString();
        for (int round = 0; round < RANDOM_LISTS; round++) {
            Fixture.run("setfacl", "-b", "-k", files.directory);
            Fixture.run("setfacl", "-b", "-k", other);
            String text = randomEntries(random, "")
                    + (random.nextBoolean() ? "," + randomEntries(random, "d:") : "");
            Fixture.run("setfacl", "--set", text, files.directory);
            Acl acl = Acl.get(files.directory);
            String wanted = getfacl(files.directory);
            assertEquals(wanted, acl.format());
            assertEquals(getfacl(files.directory, "-n"), acl.formatNumeric());
            assertEquals(acl, Acl.parse(wanted));
            assertEquals(acl, Acl.parse(text));
            assertEquals(acl, Acl.parse(acl.formatNumeric()));
            assertEquals(acl, Acl.parse(acl.toString()));
            assertEquals(acl.hashCode(), Acl.parse(text).hashCode());
            // The whole output, header included, is a list too.
            assertEquals(acl, Acl.parse(Fixture.run("getfacl", "-p", files.directory)));
            acl.set(other);
            assertEquals(wanted, getfacl(other));
            // And setfacl takes what is written here.
            Fixture.run("setfacl", "-b", "-k", other);
            Path list = Files.writeString(dir.resolve("list"), acl.format());
            Fixture.run("setfacl", "--set-file=" + list, other);
            assertEquals(wanted, getfacl(other));
        }
    }

    @Test
    void entriesAreAddedChangedAndRemoved() throws Exception {
        Acl.of(AclEntry.user("nobody", AclEntry.READ),
                AclEntry.group("tty", AclEntry.WRITE).inherited()).modify(files.directory);
        assertEquals("user::rwx\nuser:nobody:r--\ngroup::r-x\nmask::r-x\nother::r-x\n"
                + "default:user::rwx\ndefault:group::r-x\n"
                + "default:group:tty:-w-\ndefault:mask::rwx\ndefault:other::r-x\n",
                getfacl(files.directory));
        Acl.parse("u:nobody:7").modify(files.directory);
        assertTrue(getfacl(files.directory).contains("user:nobody:rwx\n"));
        Acl.parseKeys("u:nobody,m").remove(files.directory);
        assertEquals("user::rwx\ngroup::r-x\nother::r-x\n",
                getfacl(files.directory, "-a"));
        assertFalse(Acl.get(files.directory).isMinimal());
        Acl.clearDefault(files.directory);
        assertTrue(Acl.get(files.directory).isMinimal());
        Acl.parse("u:nobody:7,d:u:nobody:7").modify(files.directory);
        Acl.clear(files.directory);
        assertEquals("user::rwx\ngroup::r-x\nother::r-x\n", getfacl(files.directory));
        Acl.of().set(files.directory);
        assertEquals("user::rwx\ngroup::r-x\nother::r-x\n", getfacl(files.directory));
    }

    @Test
    void textsOfEveryKind() throws Exception {
        Acl wanted = Acl.of(AclEntry.user(65534, 5), AclEntry.group(65534, 6).inherited(),
                AclEntry.base(AclEntry.Type.MASK, 4), AclEntry.base(AclEntry.Type.OTHER, 0));
        for (String text : List.of("u:nobody:rx,d:g:nogroup:rw,m:r,o:0",
                "# a remark\n\n user : 65534 : r-x \t#effective:r--\n default:group:65534:6\n"
                        + "mask::4\nother:---\n",
                "user:nobody:xr,default:g:nogroup:wr-,,mask::r--,\nother::-")) {
            assertEquals(wanted, Acl.parse(text), text);
        }
        assertEquals(Acl.of(), Acl.parse(""));
        assertEquals(Acl.of(AclEntry.user(65534, 0), AclEntry.base(AclEntry.Type.MASK, 0)),
                Acl.parseKeys("user:nobody,mask"));
        assertEquals(Acl.parseKeys("user:nobody:,mask::,d:other"),
                Acl.parseKeys("u:65534,m,default:o:"));
    }

    @Test
    void textsThatAreNoLists() {
        for (String text : List.of("x::r", "user", "u:nobody", "u:nobody:rwz", "u:nobody:8",
                "m:x:r", "o:nobody:r", "u:nobody:r:w", "default:", "d", "u:nobody:rwX", ":")) {
            assertTrue(assertThrows(IllegalArgumentException.class, () -> Acl.parse(text), text)
                    .getMessage().contains("is no entry of an ACL"), text);
        }
        assertThrows(IllegalArgumentException.class, () -> Acl.parseKeys("u:nobody:r"));
        assertThrows(IOException.class, () -> Acl.parse("u:no such user:r"));
        assertThrows(IllegalArgumentException.class, () -> Acl.parse("u:9999999999:r"));
        assertThrows(IllegalArgumentException.class, () -> AclEntry.user(1, 8));
        assertThrows(IllegalArgumentException.class, () -> AclEntry.user(-1, 7));
        assertThrows(IllegalArgumentException.class,
                () -> AclEntry.base(AclEntry.Type.USER, 7));
    }

    @Test
    void failuresAreTheLibrarys() {
        String missing = dir.resolve("missing").toString();
        assertThrows(NoSuchFileException.class, () -> Acl.get(missing));
        assertThrows(NoSuchFileException.class, () -> Acl.clear(missing));
        assertThrows(NoSuchFileException.class,
                () -> Acl.of(AclEntry.user(1, 7)).modify(missing));
        IOException e = assertThrows(IOException.class,
                () -> Acl.of(AclEntry.user(1, 7), AclEntry.user(1, 6)).set(files.file));
        assertTrue(e.getMessage().contains("Malformed access ACL"), e::getMessage);
    }

    @Test
    void entriesDifferInAnyOfTheirParts() {
        AclEntry entry = AclEntry.user(7, 4);
        assertEquals(entry, AclEntry.user(7, 4));
        assertEquals(entry.hashCode(), AclEntry.user(7, 4).hashCode());
        for (AclEntry other : List.of(AclEntry.user(8, 4), AclEntry.user(7, 5),
                AclEntry.group(7, 4), entry.inherited())) {
            assertNotEquals(entry, other);
            assertNotEquals(0, entry.compareTo(other));
        }
        assertEquals("", AclEntry.base(AclEntry.Type.OWNER, 7).name());
        assertEquals(-1, AclEntry.base(AclEntry.Type.OWNER, 7).id());
        assertEquals("4123456789", AclEntry.user(4123456789L, 7).name());
    }
}
