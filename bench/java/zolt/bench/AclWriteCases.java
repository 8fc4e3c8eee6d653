package zolt.bench;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The changes of ACLs, of a list of ten entries. What takes something away has it put back in the same
 * turn, by the same way.
 */
final class AclWriteCases {
    private static final int ENTRIES = 10;

    /** A change of a path's lists; 1. */
    interface On {
        long on(String path, byte[] spec) throws Exception;
    }

    record Change(String name, On floor, On library) {}

    private static final Change SET = new Change("setAcl", (path, spec) -> {
        Floor.setAcl(path, spec);
        return 1;
    }, (path, spec) -> {
        ZOLTNative.setAcl(path, spec);
        return 1;
    });
    private static final Change MODIFY = new Change("modifyAclEntries", (path, spec) -> {
        Floor.modifyAcl(path, spec);
        return 1;
    }, (path, spec) -> {
        ZOLTNative.modifyAclEntries(path, spec);
        return 1;
    });
    private static final Change REMOVE = new Change("removeAclEntries", (path, spec) -> {
        Floor.removeAclEntries(path, spec);
        return 1;
    }, (path, spec) -> {
        ZOLTNative.removeAclEntries(path, spec);
        return 1;
    });
    private static final Change REMOVE_DEFAULT = new Change("removeDefaultAcl", (path, spec) -> {
        Floor.removeDefaultAcl(path);
        return 1;
    }, (path, spec) -> {
        ZOLTNative.removeDefaultAcl(path, true);
        return 1;
    });
    private static final Change REMOVE_ALL = new Change("removeAcl", (path, spec) -> {
        Floor.removeAcl(path, true);
        return 1;
    }, (path, spec) -> {
        ZOLTNative.removeAcl(path, true);
        return 1;
    });
    static final List<Change> CHANGES = List.of(SET, MODIFY, REMOVE, REMOVE_DEFAULT, REMOVE_ALL);

    private record Step(Change change, byte[] spec) {}

    private AclWriteCases() {}

    static void add(Bench bench, Workspace space) throws Exception {
        Path directory = Files.createDirectory(space.folder.resolve("acl-written"));
        String path = directory.toString();
        byte[] access = AclSpec.of(AclSpec.ACCESS, ENTRIES);
        byte[] byDefault = AclSpec.of(AclSpec.DEFAULT, ENTRIES);
        byte[] other = AclSpec.user(AclSpec.ACCESS, false);
        ZOLTNative.setAcl(path, access);
        measure(bench, space, path, "setAcl", new Step(SET, access));
        measure(bench, space, path, "modifyAclEntries",
                new Step(MODIFY, AclSpec.user(AclSpec.ACCESS, true)));
        measure(bench, space, path, "modifyAclEntries and removeAclEntries",
                new Step(MODIFY, other), new Step(REMOVE, other));
        measure(bench, space, path, "setAcl and removeDefaultAcl", new Step(SET, byDefault),
                new Step(REMOVE_DEFAULT, null));
        measure(bench, space, path, "setAcl and removeAcl", new Step(SET, access),
                new Step(REMOVE_ALL, null));
    }

    private static void measure(Bench bench, Workspace space, String path, String name,
            Step... steps) throws Exception {
        Work floor = () -> {
            for (Step step : steps) {
                step.change().floor().on(path, step.spec());
            }
            return 1;
        };
        Work library = () -> {
            for (Step step : steps) {
                step.change().library().on(path, step.spec());
            }
            return 1;
        };
        bench.measure(new Case(name, space.type, ENTRIES, 1)
                .way(Case.FLOOR, floor, () -> after(path, steps, true))
                .way(Case.LIBRARY, library, () -> after(path, steps, false)));
    }

    /** What the file's lists are after each step. */
    private static long after(String path, Step[] steps, boolean floor) throws Exception {
        long lists = 0;
        for (Step step : steps) {
            (floor ? step.change().floor() : step.change().library()).on(path, step.spec());
            lists = lists * 31 + Arrays.hashCode(ZOLTNative.getAclStatus(path, true));
        }
        return lists;
    }
}
