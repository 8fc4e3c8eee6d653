package zolt.test.hostile;

import static zolt.test.hostile.Hostile.FLAG;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.List;
import java.util.function.ToIntFunction;
import zolt.test.Faults;
import zolt.test.Kernel;
import zolt.test.Outcome;
import zolt.test.acl.AclBytes;
import zolt.test.acl.AclBytes.Entry;
import zolt.test.acl.AclFixture;
import zolt.test.hostile.Hostile.Call;
import zolt.test.hostile.Hostile.Native;
import zolt.test.hostile.Hostile.Parameter;
import zolt.test.hostile.Hostile.Value;

/** Access control lists, by libacl's own calls and by the rules of a specification. */
final class HostileAcls {
    private static final int ACCESS = AclBytes.ACCESS;
    private static final int DEFAULT = AclBytes.DEFAULT;
    private static final int NAMED_AND_MASK = AclBytes.USER | AclBytes.GROUP | AclBytes.MASK;
    private static final int THE_USER = 7; // who has an entry in every list of the stage that is one

    /** A whole list, which any list of the stage becomes by merging it too. */
    private static final String WHOLE = "u::rwx,u:7:r--,g::r-x,m::rwx,o::--x";

    private static final Outcome NO_PATH = Outcome.error(Faults.EINVAL, "failed to get path");
    /** A list of no path is stored nowhere, and one without entries is not even valid. */
    private static final Outcome ENOENT_OF_NO_PATH = Outcome.error(Faults.ENOENT, "");
    private static final Outcome MALFORMED = Outcome.error(Faults.EINVAL,
            ": Malformed access ACL \"\": Missing or wrong entry");

    private HostileAcls() {}

    static List<Native> natives(HostileValues values) {
        Parameter whole = specifications(whole(ACCESS));
        Parameter one = specifications(ints(1, ACCESS, 2, THE_USER, -1));
        return List.of(
                Native.of("getAclStatus", HostileAcls::status, values.paths("acl"), FLAG).ofNull(NO_PATH),
                Native.of("setAcl", call -> change(call, path -> 0, HostileAcls::store, ENOENT_OF_NO_PATH),
                        values.ownPaths("acl"), whole),
                Native.of("modifyAclEntries", call -> change(call, HostileAcls::load,
                        HostileAcls::store, ENOENT_OF_NO_PATH), values.ownPaths("acl"), whole),
                Native.of("removeAclEntries", call -> change(call, HostileAcls::load,
                        HostileAcls::reduce, MALFORMED), values.ownPaths("acl"), one),
                Native.of("removeDefaultAcl", HostileAcls::removeDefault, values.ownPaths("sub/listed"),
                        FLAG).ofNull(NO_PATH),
                Native.of("removeAcl", HostileAcls::remove, values.ownPaths("acl"), FLAG)
                        .ofNull(NO_PATH));
    }

    private static byte[] ints(int... values) {
        return AclFixture.ints(values);
    }

    private static byte[] whole(int scope) {
        return AclBytes.specification(new Entry(scope, AclBytes.USER_OBJ, 7),
                new Entry(scope, AclBytes.USER, THE_USER, 4), new Entry(scope, AclBytes.GROUP_OBJ, 5),
                new Entry(scope, AclBytes.MASK, 7), new Entry(scope, AclBytes.OTHER, 1));
    }

    /** A valid one cut at every byte, and what is none at any of its places. */
    private static Parameter specifications(byte[] valid) {
        List<Value> values = new ArrayList<>(HostileValues.bytes(valid).values());
        for (int number : new int[] {Integer.MIN_VALUE, Integer.MAX_VALUE, -1, 0, 3, 64, 16385}) {
            values.add(HostileValues.bytes("scope " + number, ints(1, number, 1, 7)));
            values.add(HostileValues.bytes("tag " + number, ints(1, ACCESS, number, 7, 7)));
            values.add(HostileValues.bytes("later scope " + number,
                    ints(2, ACCESS, 1, 7, number, 1, 7)));
            values.add(HostileValues.bytes("tag and default " + number,
                    ints(2, DEFAULT, 2, number, 7, DEFAULT, 128, 7)));
        }
        for (int count : new int[] {0, -1, Integer.MIN_VALUE}) {
            values.add(HostileValues.bytes("count " + count, ints(count, ACCESS, 1, 7)));
        }
        byte[] more = valid.clone();
        ByteBuffer.wrap(more).order(ByteOrder.nativeOrder()).putInt(0, Integer.MAX_VALUE);
        values.add(HostileValues.bytes("count MAX", more));
        return new Parameter(byte[].class, values);
    }

    private static Outcome status(Call call) {
        String path = call.text(0);
        if (path.isEmpty()) {
            return Outcome.value(new byte[0]); // the list of no path is an empty one
        }
        Object access = Kernel.acl(path, ACCESS);
        if (access instanceof Integer errno) {
            return Outcome.error(errno, path);
        }
        Object byDefault = call.flag(1) ? Kernel.acl(path, DEFAULT) : new byte[0];
        if (byDefault instanceof Integer errno) {
            return Outcome.error(errno, path);
        }
        byte[] first = (byte[]) access;
        byte[] second = (byte[]) byDefault;
        return Outcome.value(ByteBuffer.allocate(first.length + second.length).put(first).put(second)
                .array());
    }

    interface Store {
        /** 0 or errno. */
        int to(String path, Reader read);
    }

    private static int load(String path) {
        return !(Kernel.acl(path, ACCESS) instanceof Integer errno) ? 0 : errno;
    }

    private static int store(String path, Reader read) {
        return Kernel.storeAcl(path, ACCESS, read.complete ? WHOLE : WHOLE.replace("o::--x", "o::---"));
    }

    private static int reduce(String path, Reader read) {
        return Kernel.reduceAcl(path, read.id == THE_USER ? 2 : 0, THE_USER);
    }

    private static Outcome change(Call call, ToIntFunction<String> load, Store store,
            Outcome ofNoPath) {
        String path = call.text(0);
        if (call.bytes(1) == null) {
            return Outcome.error(Faults.EINVAL, path);
        }
        Reader in = new Reader(call.bytes(1));
        int count = in.next();
        for (int i = 0; i < count; i++) {
            int scope = in.next();
            if (scope != ACCESS && scope != DEFAULT) {
                return Outcome.error(0, "convert,790 unknown acl scope: " + scope);
            }
            int tag = in.next();
            if (tag != 1 && tag != 2 && tag != 4 && tag != 8 && tag != 16 && tag != 32) {
                return Outcome.error(0, "");
            }
            if (tag == 2 || tag == 8) {
                in.id = in.next();
            }
            in.next();
        }
        // What is left with entries is the whole valid one, but that its last number may be 0.
        if (count <= 0) {
            return Outcome.NOTHING;
        }
        if (path.isEmpty()) {
            return ofNoPath;
        }
        int errno = load.applyAsInt(path);
        if (errno == 0) {
            errno = store.to(path, in);
        }
        return Outcome.of(errno, null, path);
    }

    /** Four bytes at a time; what is missing reads as 0. */
    private static final class Reader {
        private final ByteBuffer bytes;
        boolean complete = true;
        int id;

        Reader(byte[] bytes) {
            this.bytes = ByteBuffer.wrap(bytes).order(ByteOrder.nativeOrder());
        }

        int next() {
            if (bytes.remaining() >= 4) {
                return bytes.getInt();
            }
            bytes.position(bytes.limit());
            complete = false;
            return 0;
        }
    }

    private static Outcome removeDefault(Call call) {
        String path = call.text(0);
        int errno = call.flag(1) ? Kernel.storeAcl(path, DEFAULT, null) : 0;
        return Outcome.of(errno, null, path);
    }

    private static Outcome remove(Call call) {
        String path = call.text(0);
        if (path.isEmpty()) {
            return MALFORMED;
        }
        int errno = Kernel.reduceAcl(path, NAMED_AND_MASK, -1);
        return errno == 0 ? removeDefault(call) : Outcome.error(errno, path);
    }
}
