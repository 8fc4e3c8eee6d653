package zolt.soak;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Map;
import java.util.Set;
import java.util.SplittableRandom;
import java.util.concurrent.Callable;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.LongAdder;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import zolt.test.Level;
import zolt.test.Log;

/**
 * One thread's side of the soak: its dice, its buffers, who it is, and the calls it makes. After
 * each call the identity that the kernel has for the thread is compared with what it must be.
 */
final class Scene {
    /** Calls, and exceptions by kind, of all threads. */
    static final LongAdder CALLS = new LongAdder();
    static final Map<String, LongAdder> EXCEPTIONS = new ConcurrentHashMap<>();

    /** With everything logged, these leave the thread with the service's identity if they fail. */
    private static final Set<String> DIAGNOSE =
            Set.of("getFileStatusFastNative", "getAclStatus", "getFailedPathNative");
    private static final boolean TRACED = Log.takes(Level.TRACE);

    /** The direct buffers of a thread. Who takes its place goes on with them. */
    record Buffers(ByteBuffer status, ByteBuffer entries, ByteBuffer locations) {
        Buffers() {
            this(direct(102), direct(600), direct(1024));
        }

        private static ByteBuffer direct(int size) {
            return ByteBuffer.allocateDirect(size).order(ByteOrder.nativeOrder());
        }
    }

    final Tree tree;
    final SplittableRandom random;
    final Buffers buffers;
    final ListingCalls.Progress listing = new ListingCalls.Progress();
    private final int thread;
    private final long seed;
    private final Deque<Long> handles = new ArrayDeque<>();
    private final Deque<Integer> users = new ArrayDeque<>();
    private final int[] identity = new int[4];
    private int groupCount;
    private int firstGroup;

    Scene(Tree tree, int thread, long seed, Buffers buffers) {
        this.tree = tree;
        this.thread = thread;
        this.seed = seed;
        this.buffers = buffers;
        random = new SplittableRandom(seed * 1_000_003 + thread);
        Users.introduce();
        Gauge.identity(identity);
        groupCount = identity[2];
        firstGroup = identity[3];
    }

    int user() {
        return users.isEmpty() ? Users.SERVICE : users.peek();
    }

    boolean mayActAs(int owner) {
        return user() == owner || user() == Users.SERVICE;
    }

    int depth() {
        return handles.size();
    }

    /** A user on whose files to work; half of the time the one that this thread is. */
    int somebody() {
        return user() != Users.SERVICE && random.nextBoolean() ? user()
                : random.nextInt(Users.COUNT);
    }

    <E> E oneOf(E[] all) {
        return all[random.nextInt(all.length)];
    }

    void become(int user) {
        users.push(user);
        groupCount = 1;
        firstGroup = Users.id(user);
        long handle = ask("setFsUid", () -> ZOLTNative.setFsUid(Users.name(user)), Users.name(user))
                .value();
        handles.push(handle);
    }

    /** Ends the innermost switch. The groups stay, as they always do. */
    void unbecome() {
        long handle = handles.pop();
        users.pop();
        ask("setFsUid", () -> {
            ZOLTNative.setFsUid(handle);
            return null;
        }, "handle").value();
    }

    interface Procedure {
        void run() throws Exception;
    }

    Answer<Void> tell(String call, Procedure body, Object... arguments) {
        return ask(call, () -> {
            body.run();
            return null;
        }, arguments);
    }

    <T> Answer<T> ask(String call, Callable<T> body, Object... arguments) {
        T value = null;
        Throwable thrown = null;
        try {
            value = body.call();
        } catch (Throwable e) {
            thrown = e;
            EXCEPTIONS.computeIfAbsent(e.getClass().getSimpleName(), kind -> new LongAdder())
                    .increment();
        }
        CALLS.increment();
        Answer<T> answer = new Answer<>(this, call, arguments, value, thrown);
        boolean diagnosed = TRACED && DIAGNOSE.contains(call)
                && (thrown != null || call.equals("getFailedPathNative"));
        expectIdentity(answer, diagnosed ? Users.SERVICE : user());
        if (diagnosed && user() != Users.SERVICE) {
            int user = users.pop();
            users.push(Users.SERVICE); // is who this switch has left the thread as
            become(user);
        }
        Log.clear();
        return answer;
    }

    private void expectIdentity(Answer<?> answer, int user) {
        Gauge.identity(identity);
        if (identity[0] != Users.id(user) || identity[1] != Users.id(user)
                || identity[2] != groupCount || groupCount > 0 && identity[3] != firstGroup) {
            throw answer.broken("expected the identity " + Users.id(user) + ":" + Users.id(user)
                    + " with " + groupCount + " groups from " + firstGroup + ", got " + identity[0]
                    + ":" + identity[1] + " with " + identity[2] + " from " + identity[3]);
        }
    }

    @Override
    public String toString() {
        return "thread " + thread + " as " + Users.name(user()) + ", seed " + seed;
    }
}
