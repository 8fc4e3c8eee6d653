package zolt.fs;

import java.io.Closeable;
import java.io.IOException;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The calling thread with the file-system rights of a user, until it is closed.
 *
 * <p>Other threads keep theirs. A switch belongs to its thread: closing it on another is refused with
 * an {@link IllegalStateException} that names both, and the switch stays. Switches nest, and the inner
 * one ends first: closing an outer one before it is refused too, since each end restores what the
 * switch has found. On a virtual thread no switch begins ({@link IllegalStateException}): the kernel knows
 * only the thread that carries it at the moment, which carries others next.
 *
 * <p>The end restores the user id and the group id. The supplementary groups stay those of the user
 * until the next switch sets others, so a thread that works for users switches for every request. A
 * thread that is started inside a switch begins with the rights of the user, and keeps them.
 *
 * <p>Only a service that may take on identities (root, or one with CAP_SETUID and CAP_SETGID) can
 * switch; {@link ThreadIdentity} tells what the kernel made of it. While {@link
 * ZoltLibrary#alwaysSuper} is set, nothing is switched.
 *
 * <pre>{@code
 * try (Identity as = Identity.of("nobody")) {
 *     System.out.println(ThreadIdentity.now().uid()); // prints: 65534
 * }
 * System.out.println(ThreadIdentity.now().uid()); // prints: 0
 * }</pre>
 */
public final class Identity implements Closeable {
    /** How many switches are open on a thread; a cell, so that switching stores no object. */
    private static final ThreadLocal<int[]> DEPTH = ThreadLocal.withInitial(() -> new int[1]);

    private final String user;
    private final Thread owner = Thread.currentThread();
    private final int depth;
    private long handle;

    private Identity(String user, int[] depths) throws IOException {
        Check.platformThread("the identity of ", user);
        this.user = user;
        handle = ZOLTNative.setFsUid(user);
        depth = ++depths[0];
    }

    /**
     * Gives the calling thread the rights of a user: ids, and the user's groups unless the primary
     * group is the service's own.
     *
     * <pre>{@code
     * try (Identity as = Identity.of("no such user")) {
     *     System.out.println("never reached");
     * } catch (IOException e) {
     *     System.out.println(e.getMessage().startsWith("Invalid argument: Unknown user")); // prints: true
     * }
     * }</pre>
     *
     * @param user the name of a user
     * @return the switch, to be closed on this thread
     * @throws IOException for a user that the system does not know, and when the thread may not take on the
     *     identity; it keeps the one it has
     * @throws IllegalStateException on a virtual thread
     */
    public static Identity of(String user) throws IOException {
        Accounts.uid(user);
        return ofUserOrNobody(user);
    }

    /**
     * The same, but a user that the system does not know gets the rights of "nobody", with a warning in
     * the log. So a NameNode serves callers whom its machine does not know.
     *
     * <pre>{@code
     * try (Identity as = Identity.ofUserOrNobody("no such user")) {
     *     System.out.println(ThreadIdentity.now().uid()); // prints: 65534
     * }
     * }</pre>
     *
     * @param user the name of a user
     * @return the switch, to be closed on this thread
     * @throws IOException when the thread may not take on the identity; it keeps the one it has
     * @throws IllegalStateException on a virtual thread
     */
    public static Identity ofUserOrNobody(String user) throws IOException {
        return new Identity(Check.notNull(user, "user"), DEPTH.get());
    }

    /**
     * Gives the calling thread the rights of the superuser, also inside a switch to another user.
     *
     * <pre>{@code
     * try (Identity as = Identity.of("nobody"); Identity root = Identity.superuser()) {
     *     System.out.println(ThreadIdentity.now().uid()); // prints: 0
     * }
     * }</pre>
     *
     * @return the switch, to be closed on this thread
     * @throws IOException when the thread may not take on the identity; it keeps the one it has
     * @throws IllegalStateException on a virtual thread
     */
    public static Identity superuser() throws IOException {
        return of(Accounts.user(0));
    }

    /**
     * The user whose rights the thread was given.
     *
     * <pre>{@code
     * try (Identity as = Identity.of("nobody")) {
     *     System.out.println(as.user()); // prints: nobody
     * }
     * }</pre>
     *
     * @return the name as it was given
     */
    public String user() {
        return user;
    }

    /**
     * Restores the ids that the thread had before; doing it twice does nothing.
     *
     * <pre>{@code
     * Identity as = Identity.of("nobody");
     * as.close();
     * System.out.println(ThreadIdentity.now().uid()); // prints: 0
     * }</pre>
     *
     * @throws IOException when the ids cannot be restored; the switch has ended all the same, and
     *     the thread should do no more work
     * @throws IllegalStateException on another thread, or before an inner switch has ended; the switch
     *     goes on
     */
    @Override
    public void close() throws IOException {
        if (Thread.currentThread() != owner) {
            Check.thread(owner, "the identity of " + user);
        }
        if (handle == 0) {
            return;
        }
        int[] depths = DEPTH.get();
        if (depths[0] != depth) {
            throw new IllegalStateException("the identity of " + user + " cannot end before the "
                    + (depths[0] - depth) + " that were taken on after it");
        }
        long ending = handle;
        handle = 0;
        depths[0]--;
        ZOLTNative.setFsUid(ending);
    }
}
