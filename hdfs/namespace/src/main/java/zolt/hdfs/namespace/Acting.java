package zolt.hdfs.namespace;

import java.io.IOException;
import java.util.Arrays;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The identity that the thread acts with, for the length of a scope: the kernel checks each access against it.
 * Scopes nest; the end of one restores what was before.
 */
public final class Acting implements AutoCloseable {
    private static final Logger LOG = LoggerFactory.getLogger(Acting.class);

    private static final int OWN_GROUP = -1;

    /** How much of the service's rights is in effect. */
    private enum Reach { FILES, RECORDS, DATA }

    /**
     * Whose rights a thread has.
     *
     * @param reach of the service's own identity
     * @param group what the thread makes has this group, and its owner is the caller; OWN_GROUP for the usual
     */
    private record Rights(Caller caller, Reach reach, int group) {
        /** Whether the thread has the service's own identity. */
        boolean isService() {
            return caller.superuser() && group == OWN_GROUP;
        }

        /** Changes to these rights from those that the thread has. */
        int take(Rights now) {
            if (group != OWN_GROUP) {
                int[] groups = Arrays.copyOf(caller.groups(), caller.groups().length + 1);
                groups[groups.length - 1] = caller.gid();
                return NativeFiles.actAs(caller.uid(), group, groups, caller.superuser());
            }
            if (!isService()) {
                return NativeFiles.actAs(caller.uid(), caller.gid(), caller.groups(), false);
            }
            if (!now.isService()) {
                int result = NativeFiles.actAsService(reach == Reach.RECORDS);
                return result == 0 && reach == Reach.DATA ? NativeFiles.confineToData() : result;
            }
            return reach == Reach.DATA ? NativeFiles.confineToData() : NativeFiles.administer(reach == Reach.RECORDS);
        }

        boolean areThoseOf(Rights other) {
            return isService() && other.isService() && reach == other.reach;
        }
    }

    private static final Rights OWN = new Rights(Caller.SERVICE, Reach.FILES, OWN_GROUP);
    private static final Rights RECORDS = new Rights(Caller.SERVICE, Reach.RECORDS, OWN_GROUP);
    private static final Rights DATA = new Rights(Caller.SERVICE, Reach.DATA, OWN_GROUP);
    private static final ThreadLocal<Rights> NOW = ThreadLocal.withInitial(() -> OWN);

    private final Rights before = NOW.get();

    private Acting(Rights rights) throws IOException {
        if (!rights.areThoseOf(before)) {
            int result = rights.take(before);
            if (result < 0) {
                restore(rights);
                throw new SystemCallException(-result, "the identity of " + rights.caller().user());
            }
        }
        NOW.set(rights);
    }

    /** Acts with a caller's rights. */
    public static Acting as(Caller caller) throws IOException {
        return new Acting(new Rights(caller, Reach.FILES, OWN_GROUP));
    }

    /**
     * Acts with the service's rights, in the midst of a caller's request, on what the service itself keeps with a
     * file: its lease, and the settings for which the file system's client asks an administrator's rights.
     */
    public static Acting service() throws IOException {
        return new Acting(RECORDS);
    }

    /**
     * Acts with the service's rights to what is in files: the kernel takes the set-user-id bit from a file that is changed,
     * as it does for the caller.
     */
    static Acting onData() throws IOException {
        return new Acting(DATA);
    }

    /** Goes on acting for the same caller, so that what the thread makes has its uid and this group. */
    static Acting withGroup(int group) throws IOException {
        return new Acting(new Rights(now(), Reach.FILES, group));
    }

    /** For whom the thread acts. */
    public static Caller now() {
        return NOW.get().caller();
    }

    private void restore(Rights ending) {
        if (ending.areThoseOf(before)) {
            return;
        }
        int result = before.take(ending);
        if (result < 0) {
            // The next request on this thread would have a stranger's rights. Nothing is lost with the process.
            LOG.error("Cannot return to the identity of {}: error {}", before.caller().user(), -result);
            Runtime.getRuntime().halt(1);
        }
    }

    @Override
    public void close() {
        Rights ending = NOW.get();
        NOW.set(before);
        restore(ending);
    }
}
