package zolt.soak;

import static zolt.test.acl.AclBytes.ACCESS;
import static zolt.test.acl.AclBytes.DEFAULT;

import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Faults;
import zolt.test.Outcome;
import zolt.test.Said;
import zolt.test.acl.AclBytes;
import zolt.test.acl.AclBytes.Entry;

/** Access control lists: replaced as a whole, changed entry by entry, and what they let in. */
final class AclCalls {
    /** Within the owning group's, so that the mask never changes. */
    private static final Integer[] MIXED = {1, 4, 5};
    private static final int MIXED_GROUP = 5;

    private AclCalls() {}

    static List<Call> all() {
        return List.of(AclCalls::replace, AclCalls::replace, AclCalls::readWhole,
                AclCalls::readWhole, AclCalls::strip, AclCalls::stripDefault, AclCalls::mix,
                AclCalls::mix, AclCalls::readMixed, AclCalls::openOrShut, AclCalls::goIn,
                AclCalls::goIn);
    }

    private static void expectDone(int owner, Answer<?> answer, String path) {
        answer.mustOf(owner, Outcome.error(Faults.EPERM, path), Outcome.NOTHING);
    }

    private static void replace(Scene scene) {
        int user = scene.somebody();
        boolean directory = scene.random.nextBoolean();
        String path = scene.tree.path(user, directory ? "acldir" : "aclset");
        List<Entry> entries = new ArrayList<>(AclLists.specification(
                scene.random.nextInt(AclLists.COUNT), ACCESS, scene.random.nextBoolean()));
        if (directory) {
            entries.addAll(AclLists.specification(scene.random.nextInt(AclLists.COUNT), DEFAULT,
                    scene.random.nextBoolean()));
        }
        byte[] spec = AclBytes.specification(entries);
        expectDone(user, scene.tell("setAcl", () -> ZOLTNative.setAcl(path, spec), path,
                entries), path);
    }

    private static Answer<byte[]> status(Scene scene, String path, boolean directory) {
        return scene.ask("getAclStatus", () -> ZOLTNative.getAclStatus(path, directory), path,
                directory);
    }

    private static void readWhole(Scene scene) {
        boolean directory = scene.random.nextBoolean();
        String path = scene.tree.path(scene.somebody(), directory ? "acldir" : "aclset");
        Answer<byte[]> answer = status(scene, path, directory);
        List<Entry> entries = AclBytes.status(answer.value());
        answer.check(AclLists.isStatus(entries), "one of the lists set, not " + entries);
    }

    private static void strip(Scene scene) {
        int user = scene.somebody();
        boolean directory = scene.random.nextBoolean();
        String path = scene.tree.path(user, directory ? "acldir" : "aclset");
        expectDone(user, scene.tell("removeAcl", () -> ZOLTNative.removeAcl(path, directory),
                path, directory), path);
    }

    private static void stripDefault(Scene scene) {
        int user = scene.somebody();
        String dir = scene.tree.path(user, "acldir");
        expectDone(user, scene.tell("removeDefaultAcl",
                () -> ZOLTNative.removeDefaultAcl(dir, true), dir, true), dir);
        String file = scene.tree.path(user, "aclset");
        scene.tell("removeDefaultAcl", () -> ZOLTNative.removeDefaultAcl(file, false), file, false)
                .value();
    }

    private static void mix(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "aclmix");
        Entry entry = new Entry(ACCESS, AclBytes.USER,
                Users.id(scene.random.nextInt(Users.COUNT)), scene.oneOf(MIXED));
        expectDone(user, addOrRemove(scene, path, entry), path);
    }

    private static Answer<Void> addOrRemove(Scene scene, String path, Entry entry) {
        byte[] spec = AclBytes.specification(entry);
        return scene.random.nextBoolean()
                ? scene.tell("modifyAclEntries", () -> ZOLTNative.modifyAclEntries(path, spec),
                        path, entry)
                : scene.tell("removeAclEntries", () -> ZOLTNative.removeAclEntries(path, spec),
                        path, entry);
    }

    private static void readMixed(Scene scene) {
        String path = scene.tree.path(scene.somebody(), "aclmix");
        Answer<byte[]> answer = status(scene, path, false);
        List<Entry> entries = AclBytes.status(answer.value());
        Set<Integer> seen = new HashSet<>();
        for (Entry entry : entries) {
            answer.check(isMixed(entry), "another entry than " + entry);
            // A tag or a user once.
            answer.check(seen.add(entry.tag() == AclBytes.USER ? entry.id() : entry.tag()),
                    "an entry once in " + entries);
        }
        boolean named = entries.stream().anyMatch(entry -> entry.tag() == AclBytes.USER);
        answer.check(seen.containsAll(Set.of(AclBytes.USER_OBJ, AclBytes.GROUP_OBJ,
                AclBytes.OTHER)) && (!named || seen.contains(AclBytes.MASK)),
                "all that a list needs in " + entries);
    }

    private static boolean isMixed(Entry entry) {
        switch (entry.tag()) {
            case AclBytes.USER_OBJ:
                return entry.permission() == 7;
            case AclBytes.USER:
                return entry.id() >= Users.id(0) && entry.id() < Users.id(Users.COUNT)
                        && List.of(MIXED).contains(entry.permission());
            case AclBytes.GROUP_OBJ:
            case AclBytes.MASK:
                return entry.permission() == MIXED_GROUP;
            default:
                return entry.tag() == AclBytes.OTHER && entry.permission() == 0;
        }
    }

    private static int guestOf(int owner) {
        return (owner + 1) % Users.COUNT;
    }

    private static void openOrShut(Scene scene) {
        int user = scene.somebody();
        String path = scene.tree.path(user, "door");
        Entry guest = new Entry(ACCESS, AclBytes.USER, Users.id(guestOf(user)), 5);
        expectDone(user, addOrRemove(scene, path, guest), path);
    }

    /** The owner always may, one guest sometimes, the others never. */
    private static void goIn(Scene scene) {
        int user = scene.somebody();
        if (scene.random.nextBoolean() && scene.user() != Users.SERVICE) {
            user = (scene.user() + Users.COUNT - 1) % Users.COUNT; // whose guest this one is
        }
        String path = scene.tree.path(user, "door/inner");
        Answer<Long> answer = scene.ask("getINum", () -> ZOLTNative.getINum(path, true), path);
        boolean may = scene.mayActAs(user);
        boolean mayOrNot = scene.user() == guestOf(user);
        if (may || mayOrNot && answer.thrown == null) {
            answer.mustBe(scene.tree.inode(path));
        } else {
            answer.mustThrow(Faults.EACCES, Said.INODE + path);
        }
    }
}
