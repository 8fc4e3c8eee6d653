package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.util.Arrays;
import java.util.Random;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class NameStackTest {
    /** Beside an array: what lies in memory, in the file and at the border between them. */
    @ParameterizedTest
    @ValueSource(ints = {1, 1000, 70_000, 1 << 20})
    void itHasWhatWasPushed(int limit) throws Exception {
        Random random = new Random(limit);
        byte[] model = new byte[4 << 20];
        try (NameStack stack = new NameStack(limit)) {
            int end = 0;
            for (int round = 0; round < 20_000; round++) {
                int length = random.nextInt(round % 100 == 0 ? 90_000 : 300);
                if (round % 7 == 0 || end + length > model.length) {
                    end = random.nextInt(10) == 0 ? random.nextInt(end + 1) : Math.max(0, end - length);
                    stack.cut(end);
                } else {
                    byte[] bytes = new byte[length];
                    random.nextBytes(bytes);
                    System.arraycopy(bytes, 0, model, end, length);
                    stack.push(bytes, length);
                    end += length;
                }
                assertEquals(end, stack.end());
                int from = random.nextInt(end + 1);
                int wanted = Math.min(end - from, random.nextInt(300));
                byte[] found = new byte[wanted];
                stack.read(from, found, wanted);
                assertArrayEquals(Arrays.copyOfRange(model, from, from + wanted), found);
            }
        }
    }
}
