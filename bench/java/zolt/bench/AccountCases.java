package zolt.bench;

import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.UserPrincipalLookupService;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * Names and ids, with the system's own databases. Java has the names of ids only as a file's owner and
 * group, which it looks up after a stat.
 */
final class AccountCases {
    private static final int UNKNOWN = 3_999_999;
    private static final String NONE = "no-such-name";

    private AccountCases() {}

    static void add(Bench bench) throws Exception {
        UserPrincipalLookupService accounts =
                FileSystems.getDefault().getUserPrincipalLookupService();
        String user = ZOLTNative.getUser(ZOLTNative.getUid("nobody"));
        int uid = ZOLTNative.getUid(user);
        bench.measure(newCase("getUid")
                .floor(() -> Floor.uid(user))
                .library(() -> ZOLTNative.getUid(user))
                .way("lookupPrincipalByName", () -> length(accounts.lookupPrincipalByName(user)),
                        null));
        Path file = Files.createTempFile("zolt-bench-", "");
        try {
            Files.setAttribute(file, "unix:uid", uid);
            int gid = (Integer) Files.getAttribute(file, "unix:gid");
            bench.measure(newCase("getUser")
                    .floor(() -> Floor.user(uid).hashCode())
                    .library(() -> ZOLTNative.getUser(uid).hashCode())
                    .way("getOwner", () -> Files.getOwner(file, LinkOption.NOFOLLOW_LINKS)
                            .getName().hashCode()));
            bench.measure(newCase("getGroup")
                    .floor(() -> Floor.group(gid).hashCode())
                    .library(() -> ZOLTNative.getGroup(gid).hashCode())
                    .way("PosixFileAttributes.group", () -> Files.readAttributes(file,
                            PosixFileAttributes.class).group().getName().hashCode()));
            String group = ZOLTNative.getGroup(gid);
            bench.measure(newCase("getGid")
                    .floor(() -> Floor.gid(group))
                    .library(() -> ZOLTNative.getGid(group))
                    .way("lookupPrincipalByGroupName",
                            () -> length(accounts.lookupPrincipalByGroupName(group)), null));
        } finally {
            Files.delete(file);
        }
        errors(bench, accounts);
    }

    private static void errors(Bench bench, UserPrincipalLookupService accounts) throws Exception {
        ErrorCases names = new ErrorCases(bench, "-");
        names.measure("getUid", () -> Floor.uid(NONE), () -> ZOLTNative.getUid(NONE),
                "JDK's exception", () -> length(accounts.lookupPrincipalByName(NONE)));
        names.measure("getGid", () -> Floor.gid(NONE), () -> ZOLTNative.getGid(NONE),
                "JDK's exception", () -> length(accounts.lookupPrincipalByGroupName(NONE)));
        names.measure("getUser", () -> Floor.user(UNKNOWN).length(),
                () -> ZOLTNative.getUser(UNKNOWN).length());
        names.measure("getGroup", () -> Floor.group(UNKNOWN).length(),
                () -> ZOLTNative.getGroup(UNKNOWN).length());
        // The thread is then "nobody", which is how an unknown user's requests are carried out.
        names.measure("setFsUid(String)", () -> {
            Floor.restore(Floor.identity(NONE));
            return 1;
        }, () -> {
            ZOLTNative.setFsUid(ZOLTNative.setFsUid(NONE));
            return 1;
        });
        names.measure("setFsUid(long)", () -> {
            Floor.unknownHandle(1);
            return 1;
        }, () -> {
            ZOLTNative.setFsUid(1);
            return 1;
        });
    }

    private static long length(java.security.Principal found) {
        return found.getName().length();
    }

    private static Case newCase(String name) {
        return new Case(name, "-", 0, 1);
    }
}
