package zolt.test.walk;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import zolt.test.Faults;

/**
 * A way in which a step of a native can go wrong: with an errno (0: without one), or with another
 * answer than the true one.
 */
record Fault(int errno, int altered) {
    /** One byte less, one entry less; of nothing, nothing. */
    static final Fault ONE_LESS = new Fault(0, 1);
    /** An empty answer, no such entry. */
    static final Fault NONE = new Fault(0, 2);
    /** One more than there is; of groups, than there is room for. */
    static final Fault ONE_MORE = new Fault(0, 3);
    /** Failed, and errno says nothing. */
    static final Fault SILENT = errno(0);

    private static final Map<Integer, String> NAMES = Map.ofEntries(
            Map.entry(1, "EPERM"), Map.entry(2, "ENOENT"), Map.entry(3, "ESRCH"),
            Map.entry(4, "EINTR"), Map.entry(5, "EIO"), Map.entry(6, "ENXIO"),
            Map.entry(7, "E2BIG"), Map.entry(9, "EBADF"), Map.entry(11, "EAGAIN"),
            Map.entry(12, "ENOMEM"), Map.entry(13, "EACCES"), Map.entry(14, "EFAULT"),
            Map.entry(16, "EBUSY"), Map.entry(17, "EEXIST"), Map.entry(19, "ENODEV"),
            Map.entry(20, "ENOTDIR"), Map.entry(21, "EISDIR"), Map.entry(22, "EINVAL"),
            Map.entry(23, "ENFILE"), Map.entry(24, "EMFILE"), Map.entry(26, "ETXTBSY"),
            Map.entry(27, "EFBIG"), Map.entry(28, "ENOSPC"), Map.entry(30, "EROFS"),
            Map.entry(34, "ERANGE"), Map.entry(36, "ENAMETOOLONG"), Map.entry(38, "ENOSYS"),
            Map.entry(40, "ELOOP"), Map.entry(61, "ENODATA"), Map.entry(75, "EOVERFLOW"),
            Map.entry(95, "EOPNOTSUPP"), Map.entry(116, "ESTALE"), Map.entry(122, "EDQUOT"));

    private static final String STAT =
            "EACCES EBADF EFAULT EINVAL ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR EOVERFLOW SILENT";
    private static final String GETXATTR = "E2BIG ENODATA EOPNOTSUPP ERANGE " + STAT;
    private static final String SETXATTR =
            "EDQUOT EEXIST ENODATA ENOSPC EOPNOTSUPP EPERM ERANGE EROFS " + STAT;
    private static final String LISTXATTR = "E2BIG EOPNOTSUPP ERANGE " + STAT;
    private static final String REMOVEXATTR = "ENODATA EOPNOTSUPP EPERM EROFS " + STAT;
    /** getpwnam_r(3), getgrnam_r(3), with what they say other systems answer for no entry. */
    private static final String LOOKUP =
            "EINTR EIO EMFILE ENFILE ENOMEM ERANGE ENOENT ESRCH EBADF EPERM SILENT NONE";
    /** The client has no manual page: what its calls meet in the kernel, and no errno at all. */
    private static final String CLIENT = "EACCES EAGAIN EBADF EINTR EINVAL EIO EISDIR ENODATA ENOENT"
            + " ENOMEM ENOSPC ENOSYS ENOTDIR EOPNOTSUPP EPERM EROFS ESTALE SILENT";
    /** setfsuid(2) lists none; a filter of system calls answers these. */
    private static final String FILTERED = "EPERM ENOSYS SILENT";

    /** What each function's manual page lists, by the function's name. */
    private static final Map<String, String> BY_FUNCTION = byFunction(
            "chmod", "EACCES EFAULT EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR EPERM EROFS SILENT",
            "clock_gettime", "EACCES EFAULT EINVAL ENODEV EOPNOTSUPP EPERM SILENT",
            "close", "EBADF EDQUOT EINTR EIO ENOSPC",
            "closedir", "EBADF",
            "endmntent", "",
            "acl_error getmntent_r", "SILENT",
            "acl_add_perm acl_check acl_copy_entry acl_free acl_get_entry acl_get_perm acl_get_permset"
                    + " acl_get_tag_type acl_set_tag_type", "EINVAL SILENT",
            "acl_calc_mask acl_create_entry acl_get_qualifier acl_init acl_set_qualifier acl_to_text",
            "EINVAL ENOMEM SILENT",
            "acl_delete_entry", "EINVAL ENOSYS SILENT",
            "acl_get_file", "EACCES EINVAL EIO ENAMETOOLONG ENOENT ENOMEM ENOTDIR EOPNOTSUPP SILENT",
            "acl_set_file", "EACCES EINVAL EIO ENAMETOOLONG ENOENT ENOSPC ENOTDIR EOPNOTSUPP EPERM EROFS"
                    + " SILENT",
            "fgetxattr getxattr lgetxattr", GETXATTR + " ONE_LESS NONE ONE_MORE",
            "getgrgid_r getgrnam_r getpwnam_r getpwuid_r", LOOKUP,
            "getgrouplist", "ENOMEM SILENT ONE_MORE",
            "getgroups", "EFAULT EINVAL SILENT",
            "llistxattr", LISTXATTR + " ONE_LESS NONE ONE_MORE",
            "lremovexattr removexattr", REMOVEXATTR,
            "lsetxattr setxattr", SETXATTR,
            "lstat stat", STAT,
            "open", "EACCES EAGAIN EBUSY EDQUOT EEXIST EFAULT EFBIG EINTR EINVAL EISDIR ELOOP EMFILE"
                    + " ENAMETOOLONG ENFILE ENODEV ENOENT ENOMEM ENOSPC ENOTDIR ENXIO EOPNOTSUPP"
                    + " EOVERFLOW EPERM EROFS ETXTBSY SILENT",
            "opendir", "EACCES EBADF EMFILE ENFILE ENOENT ENOMEM ENOTDIR SILENT",
            "readdir", "EBADF EFAULT EINVAL EIO ENOENT ENOTDIR SILENT",
            "readlink", "EACCES EFAULT EINVAL EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR SILENT"
                    + " ONE_LESS NONE",
            "rewinddir seekdir", "EINVAL EIO",
            "setfsgid setfsuid", FILTERED,
            "setmntent", "EACCES EINVAL EMFILE ENFILE ENOENT ENOMEM",
            "syscall_setgroups", "EFAULT EINVAL ENOMEM EPERM ENOSYS SILENT",
            "sysconf", "EINVAL",
            "utimensat", "EACCES EBADF EFAULT EINVAL ELOOP ENAMETOOLONG ENOENT ENOTDIR EPERM EROFS ESRCH"
                    + " SILENT",
            "zolt_fcntl", CLIENT + " ONE_LESS NONE",
            "zolt_fstat_x zolt_restripe_file zolt_stat_x", CLIENT);

    private static Map<String, String> byFunction(String... functionsAndFaults) {
        Map<String, String> faults = new HashMap<>();
        for (int i = 0; i < functionsAndFaults.length; i += 2) {
            for (String function : functionsAndFaults[i].split(" ")) {
                faults.put(function, functionsAndFaults[i + 1]);
            }
        }
        return faults;
    }

    static Fault errno(int errno) {
        return new Fault(errno, 0);
    }

    static Fault of(String name) {
        switch (name) {
            case "SILENT":
                return SILENT;
            case "ONE_LESS":
                return ONE_LESS;
            case "NONE":
                return NONE;
            case "ONE_MORE":
                return ONE_MORE;
            default:
                return NAMES.entrySet().stream().filter(each -> each.getValue().equals(name))
                        .map(each -> errno(each.getKey())).findFirst().orElseThrow();
        }
    }

    /** Every way in which a function can go wrong. Those of JNI, in capitals, answer null. */
    static List<Fault> ofFunction(String function) {
        if (Character.isUpperCase(function.charAt(0))) {
            return List.of(SILENT);
        }
        String names = BY_FUNCTION.get(function);
        if (names == null) {
            throw new AssertionError("no faults of " + function);
        }
        List<Fault> faults = new ArrayList<>();
        Arrays.stream(names.split(" ")).filter(name -> !name.isEmpty())
                .forEach(name -> faults.add(of(name)));
        return faults;
    }

    /**
     * The failure of a system's function that is followed by most: EACCES, or else the first one. Null
     * for none, and for those of JNI, which a native may notice later.
     */
    static Fault diagnosed(String function) {
        List<Fault> faults = ofFunction(function);
        if (Character.isUpperCase(function.charAt(0))) {
            return null;
        }
        Fault refused = errno(Faults.EACCES);
        return faults.contains(refused) ? refused : faults.stream().findFirst().orElse(null);
    }

    boolean isAltered() {
        return altered != 0;
    }

    @Override
    public String toString() {
        switch (altered) {
            case 1:
                return "one less";
            case 2:
                return "none";
            case 3:
                return "one more";
            default:
                return NAMES.getOrDefault(errno, "no errno");
        }
    }
}
