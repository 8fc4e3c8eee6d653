package zolt.hdfs.namespace;

import java.time.Duration;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.function.LongSupplier;

/** A bounded memory of answers that hold for a time. What is used least goes first. */
public final class Remembered<K, V> {
    private record Answer<V>(V value, long until) {}

    private static final float LOAD = 0.75f;

    private final long nanos;
    private final LongSupplier clock;
    private final Map<K, Answer<V>> answers;

    public Remembered(int most, Duration time) {
        this(most, time, System::nanoTime);
    }

    Remembered(int most, Duration time, LongSupplier clock) {
        nanos = time.toNanos();
        this.clock = clock;
        answers = new LinkedHashMap<>(16, LOAD, true) {
            private static final long serialVersionUID = 1;

            @Override
            protected boolean removeEldestEntry(Map.Entry<K, Answer<V>> eldest) {
                return size() > most;
            }
        };
    }

    /** The answer, while it holds; else null. */
    public synchronized V get(K key) {
        Answer<V> answer = answers.get(key);
        if (answer == null || clock.getAsLong() - answer.until > 0) {
            return null;
        }
        return answer.value;
    }

    public synchronized void put(K key, V value) {
        answers.put(key, new Answer<>(value, clock.getAsLong() + nanos));
    }

    public synchronized void remove(K key) {
        answers.remove(key);
    }

    public synchronized void clear() {
        answers.clear();
    }

    public synchronized int size() {
        return answers.size();
    }
}
