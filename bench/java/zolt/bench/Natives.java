package zolt.bench;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.stream.Collectors;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/** Which case measures each native on what is there, and which on its error path. */
final class Natives {
    private static final String NEVER_FAILS = "";

    private record Cases(String ordinary, String error) {}

    private static final Map<String, Cases> MEASURED = new TreeMap<>();

    static {
        // Configuration
        put("setFSConfig", "setFSConfig", NEVER_FAILS);
        put("setDefaultBlockSizeReplication", "setDefaultBlockSizeReplication");
        put("getFsName", "getFsName");
        // Identity
        put("getUid", "getUid");
        put("getGid", "getGid");
        put("getUser", "getUser");
        put("getGroup", "getGroup");
        put("setFsUid(String)", "identity switch and restore", "setFsUid(String), error");
        put("setFsUid(long)", "identity switch and restore", "setFsUid(long), error");
        // Status
        put("getFileStatusFormatNative", "getFileStatusFormat", NEVER_FAILS);
        put("getFileStatusNative", "full status", "missing path, full status");
        put("getFileStatusFastNative", "fast status, changed", "missing path, fast status");
        put("isCMTimeChangedNative", "isCMTimeChanged", "missing path, isCMTimeChanged");
        put("getINum", "getINum", "missing path, getINum");
        put("getFailedPathNative", "getFailedPath");
        put("getLinkTargetNative", "link target", "missing path, link target");
        put("setPermission", "setPermission", "missing path, setPermission");
        put("setTimes", "setTimes", "missing path, setTimes");
        // Listing
        put("getDirentsNative", "listing, 4 KiB", "listing, error");
        put("getDirentCountNative", "count");
        // Blocks
        put("getBlockLocationsNative", "block locations");
        put("setReplication", "setReplication");
        put("setBGF", "setBGF");
        // Extended attributes
        put("setExtendedAttribute", "setExtendedAttribute");
        put("getXAttr", "getXAttr");
        put("getXAttrs", "getXAttrs");
        put("dumpXAttrs", "dumpXAttrs");
        put("removeXAttr", "setExtendedAttribute and removeXAttr", "removeXAttr, error");
        // Leases
        put("setFileLeaseNative", "setFileLease and removeFileLease", "setFileLease, error");
        put("getFileLeaseNative", "getFileLease");
        put("renewFileLeaseNative", "renewFileLease");
        put("removeFileLeaseNative", "setFileLease and removeFileLease", "removeFileLease, error");
        // ACLs
        put("getAclStatus", "getAclStatus, extended", "getAclStatus, error");
        put("setAcl", "setAcl");
        put("modifyAclEntries", "modifyAclEntries");
        put("removeAclEntries", "modifyAclEntries and removeAclEntries", "removeAclEntries, error");
        put("removeDefaultAcl", "setAcl and removeDefaultAcl", "removeDefaultAcl, error");
        put("removeAcl", "setAcl and removeAcl", "removeAcl, error");
    }

    private Natives() {}

    private static void put(String name, String ordinary) {
        put(name, ordinary, ordinary + ", error");
    }

    private static void put(String name, String ordinary, String error) {
        MEASURED.put(name, new Cases(ordinary, error));
    }

    /** That every native stands here, and that there are the cases that stand here. */
    static void check(Set<String> cases) {
        Set<String> declared = Arrays.stream(ZOLTNative.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers()))
                .map(Natives::nameOf).collect(Collectors.toCollection(TreeSet::new));
        if (!declared.equals(MEASURED.keySet())) {
            throw new AssertionError("The natives are\n" + declared + "\nand those with cases\n"
                    + MEASURED.keySet());
        }
        MEASURED.forEach((name, measured) -> {
            for (String one : new String[] {measured.ordinary(), measured.error()}) {
                if (!one.equals(NEVER_FAILS) && !cases.contains(one)) {
                    throw new AssertionError(name + " has no case \"" + one + "\"");
                }
            }
        });
    }

    private static String nameOf(Method method) {
        String name = method.getName();
        return !name.equals("setFsUid") ? name
                : name + "(" + method.getParameterTypes()[0].getSimpleName() + ")";
    }
}
