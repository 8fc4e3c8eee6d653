package zolt.soak;

import zolt.test.Faults;

/** The ten users. Only the threads that were told of them know their names. */
final class Users {
    static final int COUNT = 10;
    /** The service itself, which may do everything. */
    static final int SERVICE = -1;

    private static final int FIRST_ID = 70200;

    private Users() {}

    /** The uid of a user, and the gid of the group of the same name. */
    static int id(int user) {
        return user == SERVICE ? 0 : FIRST_ID + user;
    }

    static String name(int user) {
        return user == SERVICE ? "the service" : "soak" + user;
    }

    /** Tells the calling thread. */
    static void introduce() {
        for (int user = 0; user < COUNT; user++) {
            Faults.user(name(user), id(user), id(user), 0);
            Faults.group(name(user), id(user), 0);
        }
    }
}
