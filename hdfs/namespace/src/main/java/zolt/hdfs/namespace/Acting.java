package zolt.hdfs.namespace;

import java.io.IOException;
import java.util.Arrays;
import org.apache.hadoop.security.AccessControlException;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The identity that the thread acts with, for the length of a scope: the kernel checks each access against it.
 * Scopes nest; the end of one restores what was before. A thread that does one request after the other keeps the
 * identity of the last one between them, where nothing asks the kernel: most requests are of the same caller.
 */
public final class Acting implements AutoCloseable {
    private static final Logger LOG = LoggerFactory.getLogger(Acting.class);

    private static final int OWN_GROUP = -1;

    /**
     * How much of the service's rights is in effect. A guest acts in a process that is no service: nothing is ever done
     * with the process's rights for another user.
     */
    private enum Reach { FILES, RECORDS, DATA, GUEST }

    /**
     * Whose rights a thread has.
     *
     * @param reach of the service's own identity
     * @param group what the thread makes has this group, and its owner is the caller; OWN_GROUP for the usual
     */
    private record Rights(Caller caller, Reach reach, int group) {
        /** Whether the thread has the service's own identity. */
        boolean isService() {
            return caller.superuser() && group == OWN_GROUP && !isGuest();
        }

        boolean isGuest() {
            return reach == Reach.GUEST;
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
            if (isGuest() || other.isGuest()) {
                return isGuest() && other.isGuest() && caller.uid() == other.caller.uid();
            }
            return isService() && other.isService() ? reach == other.reach : equals(other);
        }
    }

    private static final Rights OWN = new Rights(Caller.SERVICE, Reach.FILES, OWN_GROUP);
    private static final Rights RECORDS = new Rights(Caller.SERVICE, Reach.RECORDS, OWN_GROUP);
    private static final Rights DATA = new Rights(Caller.SERVICE, Reach.DATA, OWN_GROUP);

    /** A thread's rights: what they are to be, and what the kernel has been told. */
    private static final class OfThread {
        private Rights wanted = OWN;
        private Rights told = OWN;
    }

    private static final ThreadLocal<OfThread> NOW = ThreadLocal.withInitial(OfThread::new);

    private final OfThread thread = NOW.get();
    private final Rights before = thread.wanted;
    private final boolean kept;
    /** Whether a guest came in by this scope, and what the thread had before, where that was changed. */
    private boolean entered;
    private long[] taken;

    private Acting(Rights rights) throws IOException {
        this(rights, false);
    }

    private Acting(Rights rights, boolean kept) throws IOException {
        this.kept = kept;
        if (rights.isGuest() && !rights.areThoseOf(thread.told)) {
            enter(rights);
        } else if (!rights.areThoseOf(thread.told)) {
            int result = rights.take(thread.told);
            if (result < 0) {
                thread.told = rights;
                restore(thread, before);
                throw new SystemCallException(-result, "the identity of " + rights.caller().user());
            }
            thread.told = rights;
        }
        thread.wanted = rights;
    }

    /** Acts with a caller's rights. */
    public static Acting as(Caller caller) throws IOException {
        return new Acting(new Rights(caller, Reach.FILES, OWN_GROUP));
    }

    /**
     * As {@link #as}, for a request. The kernel is told of the end of the scope by the next one only, or by {@link
     * #release}: what the thread does until then is to need no rights.
     */
    public static Acting forRequest(Caller caller) throws IOException {
        return new Acting(new Rights(caller, Reach.FILES, OWN_GROUP), true);
    }

    /** Gives a thread that is in no scope the service's rights back. */
    public static void release() {
        OfThread thread = NOW.get();
        restore(thread, thread.wanted);
    }

    /**
     * Acts as a user in a process that is no service. Scopes of the service's rights have no effect within. The process's
     * own user keeps the thread's own identity, with all that it may.
     *
     * @throws AccessControlException where the process may not act for another user
     */
    public static Acting asGuest(Caller caller) throws IOException {
        return new Acting(new Rights(caller, Reach.GUEST, OWN_GROUP));
    }

    private void enter(Rights rights) throws IOException {
        Caller caller = rights.caller();
        if (!thread.told.equals(OWN)) {
            throw new IllegalStateException("the thread acts for " + before.caller().user() + " already");
        }
        if (!Caller.isOfProcess(caller)) {
            long[] answer = NativeFiles.assume(caller.uid(), caller.gid(), caller.groups());
            if (answer[0] == -SystemCallException.ENOTRECOVERABLE) {
                end(OWN, SystemCallException.ENOTRECOVERABLE);
            } else if (answer[0] != 0) {
                throw new AccessControlException("This process runs as " + Caller.SERVICE.user() + " and may not act for "
                        + caller.user() + ": that takes root, or CAP_SETUID and CAP_SETGID ("
                        + NativeFiles.errorText((int) -answer[0]) + ")");
            }
            taken = answer;
        }
        entered = true;
        thread.told = rights;
    }

    private void leave() {
        int result = taken == null ? 0 : NativeFiles.resume(taken);
        if (result < 0) {
            end(before, -result);
        }
        thread.told = before;
    }

    /** Whether the thread acts for a guest. */
    static boolean isGuest() {
        return NOW.get().wanted.isGuest();
    }

    private static Rights unlessGuest(Rights rights) {
        Rights now = NOW.get().wanted;
        return now.isGuest() ? now : rights;
    }

    /**
     * Acts with the service's rights, in the midst of a caller's request, on what the service itself keeps with a
     * file: its lease, and the settings for which the file system's client asks an administrator's rights.
     */
    public static Acting service() throws IOException {
        return new Acting(unlessGuest(RECORDS));
    }

    /**
     * Acts with the service's rights to what is in files: the kernel takes the set-user-id bit from a file that is changed,
     * as it does for the caller.
     */
    static Acting onData() throws IOException {
        return new Acting(unlessGuest(DATA));
    }

    /** Goes on acting for the same caller, so that what the thread makes has its uid and this group. */
    static Acting withGroup(int group) throws IOException {
        return new Acting(unlessGuest(new Rights(now(), Reach.FILES, group)));
    }

    /** For whom the thread acts. */
    public static Caller now() {
        return NOW.get().wanted.caller();
    }

    private static void restore(OfThread thread, Rights rights) {
        if (rights.areThoseOf(thread.told)) {
            return;
        }
        int result = rights.take(thread.told);
        if (result < 0) {
            end(rights, -result);
        }
        thread.told = rights;
    }

    /** The next request on this thread would have a stranger's rights. Nothing is lost with the process. */
    private static void end(Rights rights, int errno) {
        LOG.error("Cannot return to the identity of {}: error {}", rights.caller().user(), errno);
        Runtime.getRuntime().halt(1);
    }

    @Override
    public void close() {
        thread.wanted = before;
        if (entered) {
            leave();
        } else if (!kept) {
            restore(thread, before);
        }
    }
}
