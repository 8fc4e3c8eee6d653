package zolt.soak;

import static zolt.test.acl.AclBytes.ACCESS;
import static zolt.test.acl.AclBytes.DEFAULT;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.stream.Collectors;
import zolt.test.acl.AclBytes;
import zolt.test.acl.AclBytes.Entry;

/**
 * The lists that are set as a whole. All permissions in one but the owner's and the others' are the
 * same, and another in each list, so that a mixture of two shows.
 */
final class AclLists {
    static final int COUNT = 4;

    private static final int[] PERMISSIONS = {1, 4, 5, 7};

    private AclLists() {}

    /** Two named users, a named group and the mask, in the order that the kernel keeps them in. */
    static List<Entry> whole(int number, int scope) {
        int permission = PERMISSIONS[number];
        List<Entry> list = new ArrayList<>();
        list.add(new Entry(scope, AclBytes.USER_OBJ, 7));
        list.add(new Entry(scope, AclBytes.USER, Users.id(number), permission));
        list.add(new Entry(scope, AclBytes.USER, Users.id(number + 4), permission));
        list.add(new Entry(scope, AclBytes.GROUP_OBJ, permission));
        list.add(new Entry(scope, AclBytes.GROUP, Users.id(number + 2), permission));
        list.add(new Entry(scope, AclBytes.MASK, permission));
        list.add(new Entry(scope, AclBytes.OTHER, 0));
        return list;
    }

    /** The same in any order, and with or without the mask, which comes out the same. */
    static List<Entry> specification(int number, int scope, boolean withMask) {
        List<Entry> list = whole(number, scope);
        if (!withMask) {
            list.removeIf(entry -> entry.tag() == AclBytes.MASK);
        }
        Collections.rotate(list, number);
        return list;
    }

    private static List<Entry> base(int number) {
        return whole(number, ACCESS).stream()
                .filter(entry -> (entry.tag()
                        & (AclBytes.USER_OBJ | AclBytes.GROUP_OBJ | AclBytes.OTHER)) != 0)
                .collect(Collectors.toList());
    }

    static boolean isMode(int mode) {
        for (int permission : PERMISSIONS) {
            if (mode == (0700 | permission << 3)) {
                return true;
            }
        }
        return false;
    }

    /** One of the access lists, or what is left of one, and one default list or none. */
    static boolean isStatus(List<Entry> status) {
        List<Entry> access = ofScope(status, ACCESS);
        List<Entry> byDefault = ofScope(status, DEFAULT);
        boolean isAccess = false;
        boolean isDefault = byDefault.isEmpty();
        for (int i = 0; i < COUNT; i++) {
            isAccess |= access.equals(whole(i, ACCESS)) || access.equals(base(i));
            isDefault |= byDefault.equals(whole(i, DEFAULT));
        }
        return isAccess && isDefault && status.size() == access.size() + byDefault.size();
    }

    private static List<Entry> ofScope(List<Entry> status, int scope) {
        return status.stream().filter(entry -> entry.scope() == scope)
                .collect(Collectors.toList());
    }
}
