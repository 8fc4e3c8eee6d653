package zolt.soak;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.atomic.AtomicReference;
import java.util.concurrent.locks.Lock;

/** A thread that takes on one user after the other and makes calls by chance. */
final class Worker extends Thread {
    /** The first broken invariant, of any thread. */
    static final AtomicReference<Throwable> FAILED = new AtomicReference<>();

    private static final int MOST_CALLS = 25; // in one session
    private static final int DEEPEST = 3;
    private static final List<Call> CALLS = calls();

    private final Tree tree;
    private final int number;
    private final long seed;
    private final Scene.Buffers buffers;
    private final Lock busy;
    private final CountDownLatch begun = new CountDownLatch(1);
    private volatile boolean leaves;

    /** @param busy held while the worker is at it */
    Worker(Tree tree, int number, long seed, Scene.Buffers buffers, Lock busy) {
        super("soak-" + number);
        setDaemon(true); // a call that never comes back must not keep the report
        this.tree = tree;
        this.number = number;
        this.seed = seed;
        this.buffers = buffers;
        this.busy = busy;
    }

    private static List<Call> calls() {
        List<Call> calls = new ArrayList<>();
        calls.addAll(StatusCalls.all());
        calls.addAll(ListingCalls.all());
        calls.addAll(BlockCalls.all());
        calls.addAll(XattrCalls.all());
        calls.addAll(LeaseCalls.all());
        calls.addAll(AclCalls.all());
        calls.addAll(OtherCalls.all());
        calls.addAll(RefusedCalls.all());
        for (int i = 0; i < 3; i++) { // of which only the service makes any
            calls.addAll(ChurnCalls.all());
        }
        calls.add(Worker::asAnother);
        return List.copyOf(calls);
    }

    /** Waits for the end of its first session, or its own. */
    void awaitBegun() throws InterruptedException {
        begun.await();
    }

    /** Ends after the present session, with a listing open; waits for that so many milliseconds. */
    Scene.Buffers leave(long patience) throws InterruptedException {
        leaves = true;
        join(patience);
        return buffers;
    }

    @Override
    public void run() {
        try {
            Scene scene = new Scene(tree, number, seed, buffers);
            while (!leaves && FAILED.get() == null) {
                busy.lock();
                try {
                    session(scene);
                    ListingCalls.end(scene);
                } finally {
                    busy.unlock();
                }
                begun.countDown();
            }
            ListingCalls.goOn(scene);
        } catch (Throwable e) {
            FAILED.compareAndSet(null, e);
        } finally {
            begun.countDown();
        }
    }

    private static void session(Scene scene) throws Exception {
        boolean asUser = scene.random.nextInt(6) != 0;
        if (asUser) {
            scene.become(scene.random.nextInt(Users.COUNT));
        }
        makeCalls(scene);
        while (scene.depth() > 0) {
            scene.unbecome();
        }
    }

    private static void makeCalls(Scene scene) throws Exception {
        for (int count = 1 + scene.random.nextInt(MOST_CALLS); count > 0; count--) {
            CALLS.get(scene.random.nextInt(CALLS.size())).make(scene);
        }
    }

    /** A switch within a switch. */
    private static void asAnother(Scene scene) throws Exception {
        int depth = scene.depth();
        if (depth == 0 || depth >= DEEPEST) {
            return;
        }
        scene.become(scene.random.nextInt(Users.COUNT));
        makeCalls(scene);
        while (scene.depth() > depth) {
            scene.unbecome();
        }
    }
}
