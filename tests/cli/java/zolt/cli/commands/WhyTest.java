package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.channels.Pipe;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;
import zolt.fs.Acl;
import zolt.fs.AclEntry;

/** The verdicts are those of the kernel, which is asked in a process of the user. */
class WhyTest extends CliFixture {
    private static final String[] USERS = {"nobody", "daemon", "bin", "www-data", "root"};
    private static final String[] OWNERS = {"root", "nobody", "daemon", "bin", "sys", "www-data"};
    private static final String[] GROUPS = {"root", "nogroup", "daemon", "bin", "sys", "www-data"};
    private static final String[] PURPOSES = {"look", "r", "w", "x"};
    private static final String[] TESTS = {"-e", "-r", "-w", "-x"};
    /** What access(2) does not ask: whoever makes files in a directory has its w and x by one entry. */
    private static final String ALSO = " && { [ ! -d \"$p\" ] || [ %s != -w ] || rmdir \"$(mktemp -qdp \"$p\")\"; }"
            + " 2>/dev/null";
    private static final int MOST_STEPS = 8;

    private final List<String> paths = new ArrayList<>();
    private final StringBuilder script = new StringBuilder();
    private Random random;

    private void makeTree(int seed) throws Exception {
        random = new Random(seed);
        paths.clear();
        script.setLength(0);
        String top = Files.createDirectory(dir.resolve("t")).toString();
        grow(top, 3);
        for (int link = 0; link < 6; link++) {
            String target = paths.get(random.nextInt(paths.size()));
            Tool.raw("ln", "-s", link % 2 == 0 ? target : dir.relativize(Path.of(target))
                    .toString(), path("link" + link));
            paths.add(path("link" + link));
            paths.add(path("link" + link) + "/f0");
        }
        paths.add(top + "/no/such");
        Tool.sh(script.toString());
    }

    private void grow(String directory, int depth) throws Exception {
        for (int each = 0; each < 3; each++) {
            String file = directory + "/f" + each;
            Files.write(Path.of(file), new byte[0]);
            dress(file);
            if (depth > 0 && each < 2) {
                String inner = directory + "/d" + each;
                Files.createDirectory(Path.of(inner));
                grow(inner, depth - 1);
                dress(inner);
            }
        }
    }

    /** Any owner, any mode, often a list, often a mask that takes everything. */
    private void dress(String path) {
        script.append("chown ").append(OWNERS[random.nextInt(OWNERS.length)]).append(':')
                .append(GROUPS[random.nextInt(GROUPS.length)]).append(' ').append(path).append('\n');
        // Half of the directories may be entered, or nothing deep would ever be reached.
        int mode = random.nextInt(01000) | (random.nextBoolean() ? 0111 : 0);
        script.append("chmod ").append(Integer.toOctalString(mode)).append(' ').append(path)
                .append('\n');
        if (random.nextInt(3) > 0) {
            script.append("setfacl -m u:").append(OWNERS[random.nextInt(OWNERS.length)]).append(':')
                    .append(random.nextInt(8)).append(",g:").append(GROUPS[random.nextInt(GROUPS.length)])
                    .append(':').append(random.nextInt(8)).append(",g:")
                    .append(GROUPS[random.nextInt(GROUPS.length)]).append(':').append(random.nextInt(8))
                    .append(",m::").append(random.nextInt(3) == 0 ? 0 : random.nextInt(8)).append(' ')
                    .append(path).append('\n');
        }
        paths.add(path);
    }

    /** What access(2) answers to a process of the user, a line a path. */
    private List<String> kernel(String user, String test, List<String> asked) throws Exception {
        return asUser(user, asked, "[ " + test + " \"$p\" ]" + String.format(ALSO, test));
    }

    /** Whether a command of the shell succeeds for a process of the user, a line a path. */
    private List<String> asUser(String user, List<String> asked, String command) throws Exception {
        return Tool.lines(Tool.with(asked, "setpriv", "--reuid", user, "--regid",
                Tool.text("id", "-g", user).trim(), user.equals("root") ? "--keep-groups"
                        : "--init-groups", "bash", "-c", "for p; do " + command
                                + " && echo true || echo false; done", "bash"));
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 2, 3})
    void verdictsAreThoseOfTheKernel(int seed) throws Exception {
        makeTree(seed);
        int permitted = 0;
        int refused = 0;
        for (String user : USERS) {
            for (int purpose = 0; purpose < PURPOSES.length; purpose++) {
                List<String> expected = kernel(user, TESTS[purpose], paths);
                List<String> lines = Cli.run(Tool.with(paths, "why", "--json", "--as", user, "--for",
                        PURPOSES[purpose])).lines();
                assertEquals(paths.size(), lines.size());
                for (int at = 0; at < lines.size(); at++) {
                    Map<String, Object> verdict = Value.object(lines.get(at));
                    assertEquals(expected.get(at), verdict.get("permitted").toString(),
                            user + " " + PURPOSES[purpose] + " " + lines.get(at));
                    permitted += (Boolean) verdict.get("permitted") ? 1 : 0;
                    refused += "refused".equals(verdict.get("reason")) ? 1 : 0;
                }
            }
        }
        assertTrue(permitted > 200 && refused > 200, permitted + " permitted, " + refused + " refused");
    }

    /** What it says would permit it does, step by step, and takes nothing from that user. */
    @Test
    void theRemediesHelp() throws Exception {
        makeTree(4);
        int helped = 0;
        for (int round = 0; round < 40; round++) {
            String user = USERS[random.nextInt(USERS.length - 1)];
            int purpose = 1 + random.nextInt(3);
            String path = paths.get(random.nextInt(paths.size()));
            int steps = 0;
            Map<String, Object> verdict = why(user, purpose, path);
            while (verdict.get("remedy") != null) {
                assertTrue(steps++ < MOST_STEPS, verdict.toString());
                List<String> before = rights(user, (String) verdict.get("component"));
                String[] remedy = ((String) verdict.get("remedy")).substring("zolt ".length()).split(" ");
                Cli.done(remedy);
                List<String> after = rights(user, (String) verdict.get("component"));
                for (int right = 0; right < before.size(); right++) {
                    assertTrue(after.get(right).equals("true") || before.get(right).equals("false"),
                            verdict + " " + before + " " + after);
                }
                verdict = why(user, purpose, path);
            }
            if (steps > 0 && (Boolean) verdict.get("permitted")) {
                helped++;
                assertEquals(List.of("true"), kernel(user, TESTS[purpose], List.of(path)), path);
            }
        }
        assertTrue(helped > 10, "helped: " + helped);
    }

    private static Map<String, Object> why(String user, int purpose, String path) {
        return Value.object(Cli.run("why", "--json", "--as", user, "--for", PURPOSES[purpose], path)
                .text().trim());
    }

    private List<String> rights(String user, String component) throws Exception {
        List<String> rights = new ArrayList<>();
        for (int purpose = 1; purpose < TESTS.length; purpose++) {
            rights.addAll(kernel(user, TESTS[purpose], List.of(component)));
        }
        return rights;
    }

    /** What it says of removals is what the kernel then does; half of the directories are sticky. */
    @Test
    void removalsAreThoseOfTheKernel() throws Exception {
        int removed = 0;
        int refused = 0;
        for (int seed = 5; seed < 15; seed++) {
            makeTree(seed);
            Tool.sh("find $1/t -type d | sed -n 'p;n' | xargs chmod +t; chmod a+x $1/t", dir.toString());
            String user = USERS[seed % USERS.length];
            List<String> files = paths.stream().filter(path -> path.matches(".*/(t/.*/f.|link.)"))
                    .collect(Collectors.toList());
            List<String> verdicts = new ArrayList<>();
            for (String line : Cli.run(Tool.with(files, "why", "--json", "--as", user, "--for", "d"))
                    .lines()) {
                verdicts.add(Value.object(line).get("permitted").toString());
                refused += line.contains("\"reason\":\"sticky\"") ? 1 : 0;
            }
            List<String> done = asUser(user, files, "unlink \"$p\" 2>/dev/null");
            assertEquals(done, verdicts, user + " " + files);
            removed += Collections.frequency(done, "true");
            Tool.sh("rm -rf $1/*", dir.toString());
        }
        assertTrue(removed > 50 && refused > 10, removed + " removed, " + refused + " refused");
    }

    /** Mounts that refuse, in full or in part, one of them hidden below another. */
    @Test
    void mountsRefuseAsTheKernelDoes() throws Exception {
        String script = "set -e; cd \"$1\"; mkdir 'm m' hidden; mount -t tmpfs none 'm m'; chmod 1777 'm m';"
                + " cd 'm m'; for d in rw ro noexec deep deep/ro super; do mkdir $d; touch $d/f; chmod 777 $d $d/f;"
                + " done; mkfifo -m 777 ro/pipe; install -m 755 /dev/null noexec/own; ln -s ../ro rw/link;"
                + " mount --bind ro ro; mount -o remount,bind,ro ro;"
                + " mount --bind noexec noexec; mount -o remount,bind,noexec noexec;"
                + " mount --bind deep/ro deep/ro; mount -o remount,bind,ro deep/ro;"
                + " mount -t tmpfs none super; install -m 777 /dev/null super/f; mount -o remount,ro super;"
                + " mount -o remount,bind,rw super;"
                + " mount --bind deep deep; mkdir -p deep/ro; cd ../hidden; mkdir in; touch in/f;"
                + " chmod 777 in in/f; mount --bind in in; mount -o remount,bind,ro in; cd ..;"
                + " mount -t tmpfs none hidden; mkdir hidden/in; touch hidden/in/f; chmod 777 hidden/in hidden/in/f";
        try {
            Assumptions.assumeTrue(mayMount(), "this process may not mount");
            Tool.sh(script, dir.toString());
            List<String> asked = Tool.lines("find", dir.toString());
            assertEquals(20, asked.size(), asked.toString());
            for (String user : new String[] {"root", "nobody"}) {
                for (int purpose = 1; purpose < TESTS.length; purpose++) {
                    List<String> lines = Cli.run(Tool.with(asked, "why", "--json", "--as", user, "--for",
                            PURPOSES[purpose])).lines();
                    List<String> expected = kernel(user, TESTS[purpose], asked);
                    for (int at = 0; at < asked.size(); at++) {
                        // access(2) knows nothing of what execve(2) takes.
                        boolean noProgram = PURPOSES[purpose].equals("x") && asked.get(at).endsWith("/pipe");
                        assertEquals(noProgram ? "false" : expected.get(at), Value.object(lines.get(at)).get("permitted")
                                .toString(), user + " " + PURPOSES[purpose] + " " + lines.get(at));
                    }
                }
            }
            String mount = path("m m") + "/ro";
            Cli run = Cli.run("why", "--for", "w", mount + "/f");
            assertEquals(Exit.DENIED, run.code);
            assertEquals("no one may write " + mount + "/f: " + mount + " is mounted read-only\n"
                    + "  to permit it: mount -o remount,rw '" + mount + "'\n", run.text());
            assertEquals("no one may execute " + path("m m/noexec/own") + ": " + path("m m/noexec")
                    + " is mounted noexec\n  to permit it: mount -o remount,bind,exec '" + path("m m/noexec")
                    + "'\n", Cli.run("why", "--for", "x", path("m m/noexec/own")).text());
            assertEquals("no one may write " + mount + ": " + mount + " is mounted read-only\n",
                    Cli.run("why", "--for", "d", mount + "/f").text().replaceFirst("  to .*\n", ""));
            assertEquals("no one may remove " + mount + ": a file system is mounted there\n",
                    Cli.run("why", "--for", "d", mount).text());
            assertEquals("root may remove " + path("m m/rw/link") + "\n",
                    Cli.done("why", "--for", "d", path("m m/rw/link")).text());
        } finally {
            // With all that is mounted upon them, hidden or not.
            Tool.sh("cd \"$1\"; for mount in 'm m' hidden hidden/in; do umount -l \"$mount\"; done 2>&1; true",
                    dir.toString());
        }
    }

    private boolean mayMount() throws Exception {
        return Tool.sh("mount -t tmpfs none \"$1\" 2>/dev/null && umount \"$1\" && echo yes || true",
                dir.toString()).equals("yes\n");
    }

    /** What is asked for at once, one entry has to give; and so says the remedy. */
    @Test
    void rightsOfTwoGroupsDoNotAddUp() throws Exception {
        Tool.sh("cd $1; mkdir w; touch w/f; chgrp nogroup w; setfacl -m g::x,g:nogroup:rw,o::- w", dir.toString());
        for (String[] asked : new String[][] {{"w", path("w"), "write "}, {"d", path("w/f"), "remove anything from "}}) {
            Cli run = Cli.run("why", "--as", "nobody", "--for", asked[0], asked[1]);
            assertEquals("nobody may not " + asked[2] + path("w") + " (drwxrwx---+ root nogroup): nobody is in groups"
                    + " whose entries give w and x, but no one of them gives both\n  to permit it: zolt acl modify"
                    + " u:nobody:rwx " + path("w") + "\n", run.text());
            assertEquals(Exit.DENIED, run.code);
        }
        Cli.done("acl", "modify", "u:nobody:rwx", path("w"));
        Cli.done("why", "--as", "nobody", "--for", "d", path("w/f"));
    }

    /** A "/" at the end is asked of a directory; and the kernel removes no link that has one. */
    @Test
    void whatHasASlashBehindItIsADirectory() throws Exception {
        Tool.sh("cd $1; touch f; mkdir d; ln -s d l; ln -s f lf", dir.toString());
        for (String purpose : new String[] {"look", "r", "w", "d"}) {
            for (String file : purpose.equals("d") ? new String[] {"f", "l", "lf"} : new String[] {"f", "lf"}) {
                Cli run = Cli.run("why", "--for", purpose, path(file) + "/");
                assertEquals(path(file) + " is no directory\n", run.text());
                assertEquals(Exit.NOT_FOUND, run.code);
            }
            Cli.done("why", "--for", purpose, path("d") + "/");
        }
        Cli.done("why", "--for", "w", path("l") + "/");
    }

    /** A link that the kernel does not follow is told from one that leads to nothing. */
    @Test
    void danglingLinksThatAreNotFollowed() throws Exception {
        Tool.sh("cd $1; mkdir -m 1777 s; ln -s nowhere s/l; chown -h bin s/l; ln -s s/l to", dir.toString());
        boolean followed = asUser("nobody", List.of(path("s/l")), "cat \"$p\" 2>&1 | grep -q 'No such'")
                .equals(List.of("true"));
        for (String link : new String[] {"s/l", "to"}) {
            Cli run = Cli.run("why", "--as", "nobody", path(link));
            assertEquals(followed ? Exit.NOT_FOUND : Exit.DENIED, run.code, run.text());
            assertEquals(followed, run.text().endsWith("/nowhere does not exist\n"), run.text());
        }
        Assumptions.assumeTrue(Tool.sh("cd $1; mkdir n; mount -t tmpfs -o nosymfollow none n 2>/dev/null && ln -s"
                + " nowhere n/l && echo mounted; true", dir.toString()).equals("mounted\n"),
                "this process may not mount, or the kernel is older than 5.10");
        try {
            Cli run = Cli.run("why", path("n/l"));
            assertEquals(Exit.FAILED, run.code, run.text());
            assertTrue(run.text().startsWith(path("n/l") + ": Too many levels of symbolic links"), run.text());
        } finally {
            Tool.raw("umount", path("n"));
        }
    }

    /** A change of rights that something else would refuse is not offered as if it were enough. */
    @Test
    void remediesBeginWithWhatStandsBeforeThem() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Tool.sh("cd \"$1\"; mkdir ro ram; mount -t tmpfs none ro; install -m 600 /dev/null ro/f; mount -o remount,ro ro;"
                + " mount -t ramfs none ram; install -m 600 /dev/null ram/f", dir.toString());
        try {
            Map<String, Object> verdict = why("nobody", 1, path("ro/f"));
            assertEquals("refused", verdict.get("reason"));
            assertEquals("mount -o remount,rw " + path("ro") + " && zolt acl modify u:nobody:r-- " + path("ro/f"),
                    verdict.get("remedy"));
            Cli run = Cli.run("why", "--as", "nobody", path("ram/f"));
            assertTrue(run.text().endsWith("; only chmod or chown may change that: its file system keeps no access"
                    + " control lists\n"), run.text());
        } finally {
            Tool.raw("umount", path("ro"), path("ram"));
        }
    }

    /** A mask is for all named users and for all groups: it grows no more than it must, and for whom is said. */
    @Test
    void whomElseARemedyLetsInIsSaid() throws Exception {
        Tool.sh("cd $1; for f in e s n o; do touch $f; chmod 640 $f; setfacl -m u:bin:rwx,u:sync:r,g:sys:rw,m::r $f; done;"
                + " setfacl -m m::- e; setfacl -m u:nobody:r,m::rw n; chown nobody o; chmod u= o;"
                + " touch p; setfacl -m u:bin:r p; chmod o= p", dir.toString());
        String[][] told = {{"e", "r", "u:nobody:r--,m::r--", "user:bin:r--, user:sync:r--, group::r--, group:sys:r--"},
            {"s", "r", "u:nobody:r--,m::r--", null}, {"s", "w", "u:nobody:rw-,m::rw-", "user:bin:rw-, group:sys:rw-"},
            {"n", "w", "u:nobody:rw-,m::rw-", null}, {"o", "r", "u::r--,m::r--", null}, {"p", "r", "u:nobody:r--", null}};
        for (String[] each : told) {
            String path = path(each[0]);
            Cli run = Cli.run("why", "--as", "nobody", "--for", each[1], path);
            String more = each[3] == null ? "" : "  which also gives " + each[3]
                    + ": the mask takes less from them then\n";
            assertTrue(run.text().endsWith("  to permit it: zolt acl modify " + each[2] + " " + path + "\n" + more),
                    run.text());
            Map<String, Object> verdict = Value.object(Cli.run("why", "--json", "--as", "nobody", "--for", each[1], path)
                    .text().trim());
            assertEquals(each[3] == null ? List.of() : List.of(each[3].split(", ")), verdict.get("alsoGives"));

            Acl before = Acl.get(path);
            Cli.done("acl", "modify", each[2], path);
            Acl after = Acl.get(path);
            List<String> given = new ArrayList<>();
            for (AclEntry entry : before.entries()) {
                AclEntry now = after.entries().stream().filter(one -> one.type() == entry.type()
                        && one.id() == entry.id()).findFirst().get();
                if (entry.type() != AclEntry.Type.MASK && entry.type() != AclEntry.Type.OWNER
                        && !entry.name().equals("nobody")
                        && (after.effective(now) & ~before.effective(entry)) != 0) {
                    given.add(now.withPermissions(after.effective(now)).toString());
                }
            }
            assertEquals(verdict.get("alsoGives"), given, path);
        }
    }

    /** Of a list with an empty mask the kernel reads nothing: with the first right in it, some lose what others have. */
    @Test
    void whoLosesByARemedyIsSaid() throws Exception {
        Tool.sh("cd $1; mkdir lo; chgrp nogroup lo; setfacl -m u::rwx,u:lp:--x,g::rwx,g:sys:r-x,m::---,o::rwx lo",
                dir.toString());
        String path = path("lo");
        List<String> before = rights("lp", path);
        Cli run = Cli.run("why", "--as", "nobody", "--for", "x", path);
        assertTrue(run.text().endsWith("  to permit it: zolt acl modify u:nobody:--x,m::--x " + path + "\n"
                + "  which also gives group::--x: the mask takes less from them then\n"
                + "  which also takes user:lp:rw-, group:sys:rw-: with an empty mask they have what others have, and"
                + " then what their entries give\n"), run.text());
        Map<String, Object> verdict = why("nobody", 3, path);
        assertEquals(List.of("group::--x"), verdict.get("alsoGives"));
        assertEquals(List.of("user:lp:rw-", "group:sys:rw-"), verdict.get("alsoTakes"));
        Cli.done("acl", "modify", "u:nobody:--x,m::--x", path);
        assertEquals(List.of("true", "true", "true"), before);
        assertEquals(List.of("false", "false", "true"), rights("lp", path));
    }

    /** With an empty mask the kernel reads no list: who is refused by an entry has what others have. */
    @Test
    void aRemedyLeavesTheMask() throws Exception {
        Tool.sh("cd $1; touch f; chown nobody f; setfacl -m u::rw-,u:lp:---,g::---,m::--x,o::r-- f", dir.toString());
        String path = path("f");
        Cli run = Cli.run("why", "--as", "nobody", "--for", "x", path);
        assertTrue(run.text().endsWith("  to permit it: zolt acl modify u::rwx,m::--x " + path + "\n"), run.text());
        Cli.done("acl", "modify", "u::rwx,m::--x", path);
        assertEquals(List.of("false", "false", "false"), rights("lp", path));
    }

    /** No right permits it, so none is proposed. */
    @Test
    void mountPointsAreNotRemoved() {
        for (String user : new String[] {"root", "nobody"}) {
            Cli run = Cli.run("why", "--as", user, "--for", "d", "/proc");
            assertEquals("no one may remove /proc: a file system is mounted there\n", run.text());
            assertEquals(Exit.DENIED, run.code);
        }
    }

    /** A remount does not help where the device is write-protected. */
    @Test
    void aWriteProtectedDeviceIsNamed() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Assumptions.assumeTrue(new ProcessBuilder("sh", "-c", "cd \"$1\" && truncate -s 4M image && mkfs.ext4 -q image"
                + " && mkdir disk && losetup -r --show -f image >device", "sh", dir.toString()).start().waitFor() == 0,
                "this process gets no loop device");
        String device = Files.readString(dir.resolve("device")).trim();
        try {
            Tool.raw("mount", "-o", "ro", device, path("disk"));
            Cli run = Cli.run("why", "--for", "w", path("disk"));
            assertEquals("no one may write " + path("disk") + ": " + path("disk")
                    + " is mounted read-only, and its device is write-protected\n", run.text());
            assertEquals(Exit.DENIED, run.code);
            Tool.raw("umount", path("disk"));
        } finally {
            Tool.raw("losetup", "-d", device);
        }
    }

    /** The kernel asks whether anything is mounted on an entry, whichever mount shows that. */
    @Test
    void mountPointsAreSeenThroughOtherMounts() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Tool.sh("cd \"$1\"; mkdir -p real/x real/y mnt; mount -t tmpfs none real/x; mount --bind real mnt", dir.toString());
        try {
            assertEquals("no one may remove " + path("mnt/x") + ": a file system is mounted there\n",
                    Cli.run("why", "--for", "d", path("mnt/x")).text());
            assertEquals(List.of("false"), asUser("root", List.of(path("mnt/x")), "rmdir \"$p\" 2>/dev/null"));
            Cli.done("why", "--for", "d", path("mnt/y"));
        } finally {
            Tool.sh("cd \"$1\"; umount mnt; umount real/x", dir.toString());
        }
    }

    /** Where links are not followed, it does not matter what they lead to. */
    @Test
    void nosymfollowComesFirst() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Tool.sh("cd \"$1\"; mkdir -m 700 sec; touch sec/f; mkdir at; mount -t tmpfs none at; chmod 755 at;"
                + " ln -s ../sec/f at/l", dir.toString());
        try {
            Assumptions.assumeTrue(new ProcessBuilder("mount", "-o", "remount,nosymfollow", path("at")).start()
                    .waitFor() == 0, "no nosymfollow here");
            Cli run = Cli.run("why", "--as", "nobody", path("at/l"));
            assertTrue(run.text().startsWith(path("at/l") + ": Too many levels of symbolic links"), run.text());
            assertEquals(Exit.FAILED, run.code);
        } finally {
            Tool.sh("cd \"$1\"; umount at", dir.toString());
        }
    }

    /** No flag is set where an owner has no id on the mount, though the kernel refuses as if one were. */
    @Test
    void idsThatAMountDoesNotHave() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Tool.sh("cd \"$1\"; mkdir is id; mount -t tmpfs none is; chmod 777 is; touch is/root is/daemon;"
                + " chmod 666 is/*; chown 1:1 is/daemon", dir.toString());
        try {
            Assumptions.assumeTrue(Tool.sh("cd \"$1\"; mount --bind -o X-mount.idmap=b:1:1:1 is id 2>/dev/null;"
                    + " grep -c \"$1/id .*idmapped\" /proc/thread-self/mountinfo; true", dir.toString()).equals("1\n"),
                    "this mount(8) maps no ids (util-linux before 2.39)");
            Cli run = Cli.run("why", "--for", "w", path("id/root"));
            assertEquals("it is not known whether root may write " + path("id/root") + ": its owner or group may be one"
                    + " without an id on " + path("id") + " (idmapped)\n", run.text());
            assertEquals(Exit.FAILED, run.code);
            assertEquals(Exit.FAILED, Cli.run("why", "--for", "w", path("id")).code);
            Cli.done("why", "--as", "daemon", "--for", "w", path("id/daemon"));
        } finally {
            Tool.sh("cd \"$1\"; umount id 2>/dev/null; umount is", dir.toString());
        }
    }

    /** A remount does not write to a snapshot, and quotas of btrfs are shown by no option. */
    @Test
    void snapshotsAndQuotasOfBtrfs() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Assumptions.assumeTrue(new ProcessBuilder("sh", "-c", "cd \"$1\" && truncate -s 128M image && mkfs.btrfs -q image"
                + " && mkdir b && mount -o loop image b", "sh", dir.toString()).start().waitFor() == 0,
                "no btrfs may be mounted here");
        try {
            Tool.sh("cd \"$1\"/b; btrfs -q subvolume create s; touch s/f; chmod 640 s/f;"
                    + " btrfs -q subvolume snapshot -r s ro", dir.toString());
            Cli run = Cli.run("why", "--for", "w", path("b/ro/f"));
            assertEquals("no one may write " + path("b/ro/f") + ": its subvolume is read-only\n", run.text());
            assertEquals(Exit.DENIED, run.code);
            assertEquals(null, why("nobody", 1, path("b/ro/f")).get("remedy"));
            Cli.done("why", "--for", "w", path("b/s/f"));
            Tool.raw("btrfs", "-q", "quota", "enable", path("b"));
            run = Cli.run("why", "--for", "w", path("b/s/f"));
            assertEquals("it is not known whether root may write " + path("b/s/f") + ": owner, mode and list permit it, but "
                    + path("b") + " may have quotas, which only the kernel knows\n", run.text());
        } finally {
            Tool.sh("cd \"$1\"; umount b", dir.toString());
        }
    }

    /** rmdir(2) and rename(2) refuse both, whoever asks. */
    @Test
    void dotsNameNothingThatCouldBeRemoved() throws Exception {
        Files.createDirectories(dir.resolve("d/e"));
        for (String name : new String[] {"d/.", "d/./", "d/e/.."}) {
            for (String user : new String[] {"root", "nobody"}) {
                Cli run = Cli.run("why", "--as", user, "--for", "d", path(name));
                assertEquals(path(name) + ": a path that ends in \".\" or \"..\" names no entry that could be removed\n",
                        run.text());
                assertEquals(Exit.FAILED, run.code);
            }
        }
    }

    /** Of what shows the kernel itself, owner and mode are not the whole truth, and links are not for everybody. */
    @Test
    void whatIsTheKernelsOwn() {
        Cli run = Cli.run("why", "--for", "w", "/proc");
        assertEquals("it is not known whether root may write /proc: owner, mode and list permit it, but what is below /proc"
                + " is the kernel's own, and it may refuse\n", run.text());
        assertEquals(Exit.FAILED, run.code);
        for (String[] each : new String[][] {{"r", "read", "/sys", "/bus/cpu/drivers_probe"},
            {"w", "write", "/dev/pts", ""}}) {
            String path = each[2] + each[3];
            if (Files.exists(Path.of(path)) && Files.exists(Path.of("/dev/pts/ptmx"))) {
                run = Cli.run("why", "--for", each[0], path);
                assertEquals("it is not known whether root may " + each[1] + " " + path
                        + ": owner, mode and list permit it, but what is below " + each[2]
                        + " is the kernel's own, and it may refuse\n", run.text());
            }
        }
        run = Cli.run("why", "--as", "nobody", "--for", "x", "/proc/1/cwd");
        assertEquals("/proc/1/cwd: Permission denied\n", run.text());
        assertEquals(Exit.FAILED, run.code);
    }

    /** chattr(1) follows no link. */
    @Test
    void aFlagIsThatOfWhatALinkLeadsTo() throws Exception {
        Tool.sh("cd $1; touch f; ln -s f l", dir.toString());
        Assumptions.assumeTrue(new ProcessBuilder("chattr", "+i", path("f")).start().waitFor() == 0, "no flags here");
        try {
            assertEquals("chattr -i " + path("f"), why("root", 2, path("l")).get("remedy"));
        } finally {
            Tool.raw("chattr", "-i", path("f"));
        }
    }

    /** What a link leads to may have a name that no path can express, or none at all. */
    @Test
    void linksIntoWhatHasNoPath() throws Exception {
        Tool.sh("cd $1; mkdir em\ud83d\ude00 $'d\\377';"
                + " echo hi | tee em\ud83d\ude00/f >$'d\\377/f'; ln -s em\ud83d\ude00/f l1;"
                + " ln -s $'d\\377/f' l2; ln -s em\ud83d\ude00 l3", dir.toString());
        for (String link : new String[] {"l1", "l2", "l3/f"}) {
            for (String user : new String[] {"root", "nobody"}) {
                assertEquals(user + " may read " + path(link) + "\n", Cli.done("why", "--as", user, path(link)).text());
                Cli.done("why", "--as", user, "--for", "look", path(link));
            }
        }
        Pipe pipe = Pipe.open();
        try (Stream<Path> all = Files.list(Path.of("/proc/self/fd"))) {
            String end = all.filter(WhyTest::isPipe).findFirst().get().toString();
            Tool.sh("ln -s $1 $2", end, path("pipe"));
            for (String way : new String[] {end, path("pipe")}) {
                assertEquals("root may read " + way + "\n", Cli.done("why", way).text());
                assertEquals("root may write " + way + "\n", Cli.done("why", "--for", "w", way).text());
            }
        } finally {
            pipe.source().close();
            pipe.sink().close();
        }
    }

    private static boolean isPipe(Path link) {
        try {
            return Files.readSymbolicLink(link).toString().startsWith("pipe:");
        } catch (IOException e) {
            return false; // that of the list itself
        }
    }

    /** What cannot be mounted for writing is not to be mounted for writing. */
    @Test
    void mountsThatAreNeverWritten() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Tool.sh("cd \"$1\"; mkdir t over gone at; mount -t tmpfs none t; mkdir t/a t/b; touch t/a/f; chmod 600 t/a/f;"
                + " mount --bind gone at; rmdir gone", dir.toString());
        boolean over = Tool.sh("cd \"$1\"; mount -t overlay -o lowerdir=t/a:t/b none over 2>/dev/null && echo yes; true",
                dir.toString()).equals("yes\n");
        try {
            Cli run = Cli.run("why", "--for", "w", path("at"));
            assertEquals(path("at") + ": the directory that is mounted there was removed\n", run.text());
            assertEquals(Exit.FAILED, run.code);
            Assumptions.assumeTrue(over, "this kernel has no overlay of lower directories");
            assertEquals("no one may write " + path("over/f") + ": " + path("over") + " is mounted read-only, and it has"
                    + " no layer that can be written\n", Cli.run("why", "--for", "w", path("over/f")).text());
            assertEquals(null, why("nobody", 1, path("over/f")).get("remedy"));
        } finally {
            Tool.sh("cd \"$1\"; umount over; umount at; umount t; true", dir.toString());
        }
    }

    /** To look is to follow a link, as stat does with -L; the help says so. */
    @Test
    void aLookFollowsLinks() throws Exception {
        Tool.sh("cd $1; ln -s none l", dir.toString());
        assertEquals(path("none") + " does not exist\n", Cli.run("why", "--for", "look", path("l")).text());
        assertEquals(Exit.NOT_FOUND, Cli.run("stat", "-L", path("l")).code);
        Cli.done("stat", path("l"));
        String help = Cli.done("why", "--help").text().replaceAll("\\s+", " ");
        assertTrue(help.contains("look is what stat -L does"), help);
    }

    @Test
    void itIsSaidInPlainWords() throws Exception {
        Tool.sh("cd $1; mkdir closed; echo x > closed/f; chmod 700 closed; echo y > f; chmod 640 f;"
                + " setfacl -m u:nobody:rw,m::- f", dir.toString());
        Cli run = Cli.run("why", "--as", "daemon", path("closed/f"));
        assertEquals(Exit.DENIED, run.code);
        assertEquals("", run.err);
        assertTrue(run.text().startsWith("daemon may not search " + path("closed")
                + " (drwx------ root root): "), run.text());
        assertTrue(run.text().endsWith("  to permit it: zolt acl modify u:daemon:--x " + path("closed")
                + "\n"), run.text());
        Tool.sh("cd $1; mkdir -m 1777 sticky; touch sticky/mine; chown bin sticky/mine", dir.toString());
        run = Cli.run("why", "--as", "daemon", "--for", "d", path("sticky/mine"));
        assertEquals(Exit.DENIED, run.code);
        assertEquals("daemon may not remove " + path("sticky/mine") + " from " + path("sticky")
                + " (drwxrwxrwt root root): the directory is sticky, and daemon owns neither it nor what is to"
                + " be removed, which is bin's\n", run.text());
        run = Cli.run("why", "--as", "daemon", "--for", "d", path("f"));
        assertTrue(run.text().startsWith("daemon may not remove anything from " + dir + " (drwxr-xr-x "),
                run.text());
        Tool.raw("setfacl", "-m", "u:nobody:rw,m::r", path("f"));
        run = Cli.run("why", "--as", "nobody", "--for", "w", path("f"));
        assertTrue(run.text().contains("the entry user:nobody:rw- permits it, but the mask takes it away"),
                run.text());
        assertEquals("nobody may read " + path("f") + "\n",
                Cli.done("why", "--as", "nobody", path("f")).text());
        run = Cli.run("why", path("no/f"));
        assertEquals(Exit.NOT_FOUND, run.code);
        assertEquals(path("no") + " does not exist\n", run.text());
        Cli.fails(Exit.NOT_FOUND, "no-such-user: unknown user", "why", "--as", "no-such-user", "/");
    }

    /** execve(2) takes regular files alone. */
    @Test
    void onlyRegularFilesAreExecuted() throws Exception {
        Tool.sh("cd \"$1\"; mkfifo -m 777 open; mkfifo -m 600 closed; mknod -m 777 null c 1 3 2>/dev/null; true",
                dir.toString());
        for (String name : new String[] {"open", "closed", "null"}) {
            if (Files.exists(Path.of(path(name)))) {
                Cli run = Cli.run("why", "--as", "nobody", "--for", "x", path(name));
                assertEquals("no one may execute " + path(name) + ": it is no regular file\n", run.text());
                assertEquals(Exit.DENIED, run.code);
            }
        }
        assertEquals(Exit.OK, Cli.run("why", "--as", "nobody", path("open")).code);
    }

    /** What a process has is opened by whom the kernel lets trace it, and that is not asked of access(2). */
    @Test
    void whatBelongsToAnotherProcessIsNotKnown() throws Exception {
        for (String name : new String[] {"maps", "smaps", "task/1/maps"}) {
            Cli run = Cli.run("why", "--as", "nobody", "/proc/1/" + name);
            assertEquals("it is not known whether nobody may read /proc/1/" + name + ": owner, mode and list permit it, but"
                    + " what is below /proc is the kernel's own, and it may refuse\n", run.text());
            assertEquals(Exit.FAILED, run.code);
        }
        for (String name : "1/status 1 1/task 1/task/1 1/task/1/stat self/maps version .".split(" ")) {
            assertEquals(Exit.OK, Cli.run("why", "--as", "nobody", "/proc/" + name).code, name);
        }
        assertEquals(Exit.FAILED, Cli.run("why", "/proc/kmsg").code);
        assertEquals(Exit.DENIED, Cli.run("why", "--as", "nobody", "/proc/1/environ").code);
    }

    /** It is the file system that a remount makes writable, where that is read-only: with all of its mounts. */
    @Test
    void whatElseARemountMakesWritableIsSaid() throws Exception {
        Assumptions.assumeTrue(mayMount(), "this process may not mount");
        Tool.sh("cd \"$1\"; mkdir a b c d; mount -t tmpfs none a; mkdir a/b a/c; mount --bind a/b b; mount --bind a/c c;"
                + " mount -t tmpfs none d; mount -o remount,ro a; mount -o remount,ro d", dir.toString());
        try {
            assertEquals("no one may write " + path("b") + ": " + path("b") + " is mounted read-only\n  to permit it:"
                    + " mount -o remount,rw " + path("b") + "\n  which makes writable all of its file system, also at "
                    + path("c") + "\n", Cli.run("why", "--for", "w", path("b")).text());
            assertEquals("all of its file system, also at " + path("c"), Value.object(Cli.run("why", "--json", "--for", "w",
                    path("b")).text().trim()).get("alsoWritable"));
            Tool.raw("umount", path("c"));
            Tool.raw("umount", path("a"));
            assertTrue(Cli.run("why", "--for", "w", path("b")).text().endsWith("\n  which makes writable all of its file"
                    + " system, of which it is a part\n"));
            assertEquals("no one may write " + path("d") + ": " + path("d") + " is mounted read-only\n  to permit it:"
                    + " mount -o remount,rw " + path("d") + "\n", Cli.run("why", "--for", "w", path("d")).text());
        } finally {
            Tool.sh("cd \"$1\"; umount a c b d 2>/dev/null; true", dir.toString());
        }
    }
}
