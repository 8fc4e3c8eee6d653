package zolt.hdfs.block;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.HashMap;
import java.util.Map;
import java.util.Optional;
import java.util.OptionalLong;
import java.util.Random;
import org.junit.jupiter.api.Test;

/** Ids and stamps: every width of every part goes in and comes out, and no two blocks share an id. */
class BlockIdsTest {
    private final Random random = new Random(17);

    /** Of each pair of widths that fits: the smallest number, the largest, and some between. */
    private interface Visit {
        void at(long inode, int number);
    }

    private void everyWidth(Visit visit) {
        for (int inodeBits = 1; inodeBits <= 49; inodeBits++) {
            for (int numberBits = 0; numberBits <= (inodeBits <= 41 ? 20 : 12); numberBits++) {
                visit.at(1L << inodeBits - 1, numberBits == 0 ? 0 : 1 << numberBits - 1);
                visit.at((1L << inodeBits) - 1, (1 << numberBits) - 1);
                visit.at(1L << inodeBits - 1 | random.nextLong() & (1L << inodeBits - 1) - 1,
                        random.nextInt(1 << numberBits));
            }
        }
    }

    @Test
    void whatIsPackedForReadingComesOut() {
        everyWidth((inode, index) -> {
            for (int generation : new int[] {0, 1, -1, Integer.MIN_VALUE, Integer.MAX_VALUE, random.nextInt()}) {
                for (int sizeBits = 0; sizeBits < 31; sizeBits++) {
                    long size = (1L << sizeBits | random.nextInt() & (1 << sizeBits) - 1) * ReadBlock.UNIT;
                    ReadBlock block = new ReadBlock(inode, index, generation, size);
                    assertEquals(block, ReadBlock.of(block.id(), block.stamp()));
                    assertTrue(block.id() >= 0 && block.stamp() > 0 && block.start() >= 0);
                    assertTrue(!ReadBlock.isWriting(block.id()));
                }
            }
        });
    }

    @Test
    void whatIsPackedForWritingComesOut() {
        everyWidth((inode, sequence) -> {
            for (int startBits = 0; startBits <= 50; startBits++) {
                for (int recovery : new int[] {0, 1, 8191, random.nextInt(8192)}) {
                    WriteBlock block = new WriteBlock(inode, sequence, (1L << startBits) - 1, recovery);
                    assertEquals(block, WriteBlock.of(block.id(), block.stamp()));
                    assertTrue(block.id() >= 0 && block.stamp() >= 0);
                    assertTrue(ReadBlock.isWriting(block.id()));
                }
            }
        });
    }

    @Test
    void differentBlocksHaveDifferentIds() {
        Map<Long, String> seen = new HashMap<>();
        everyWidth((inode, number) -> {
            String name = inode + " " + number;
            String reading = seen.put(new ReadBlock(inode, number, 1, 4096).id(), "r" + name);
            assertTrue(reading == null || reading.equals("r" + name));
            String writing = seen.put(new WriteBlock(inode, number, 0, 0).id(), "w" + name);
            assertTrue(writing == null || writing.equals("w" + name));
        });
    }

    @Test
    void whatIsSignedComesOutOfTheStorageIds() {
        String[] storages = {"DS-1", "DS-2"};
        for (long stamp : new long[] {0, 1, Long.MAX_VALUE, random.nextLong()}) {
            String[] signed = SignedBlock.toRead(storages, stamp);
            assertEquals(OptionalLong.of(stamp), SignedBlock.stamp(signed));
            assertEquals(Optional.empty(), SignedBlock.writer(signed));
            assertArrayEquals(storages, SignedBlock.storageIds(signed));
        }
        for (String holder : new String[] {"", "DFSClient_1", "with blanks and stamp=1"}) {
            SignedBlock.Writer writer = new SignedBlock.Writer(random.nextInt(), holder);
            String[] signed = SignedBlock.toWrite(storages, writer);
            assertEquals(Optional.of(writer), SignedBlock.writer(signed));
            assertEquals(OptionalLong.empty(), SignedBlock.stamp(signed));
            assertArrayEquals(storages, SignedBlock.storageIds(signed));
        }
    }

    /** A DataNode chooses the id of its storage; what a NameNode signs stands behind it. */
    @Test
    void aStorageIdIsNoMark() {
        String[] chosen = {SignedBlock.toRead(new String[0], 7)[0],
                SignedBlock.toWrite(new String[0], new SignedBlock.Writer(7, "thief"))[0]};
        String[] toRead = SignedBlock.toRead(chosen, 8);
        assertEquals(OptionalLong.of(8), SignedBlock.stamp(toRead));
        assertEquals(Optional.empty(), SignedBlock.writer(toRead));
        String[] toWrite = SignedBlock.toWrite(chosen, new SignedBlock.Writer(8, "client"));
        assertEquals(Optional.of(new SignedBlock.Writer(8, "client")), SignedBlock.writer(toWrite));
        assertEquals(OptionalLong.empty(), SignedBlock.stamp(toWrite));
        assertArrayEquals(chosen, SignedBlock.storageIds(toRead));
        assertArrayEquals(chosen, SignedBlock.storageIds(toWrite));
    }

    @Test
    void whatDoesNotFitIsRefused() {
        for (long inode : new long[] {0, -1, 1L << 49, Long.MIN_VALUE, Long.MAX_VALUE}) {
            assertThrows(IllegalArgumentException.class, () -> new ReadBlock(inode, 0, 0, 4096));
            assertThrows(IllegalArgumentException.class, () -> new WriteBlock(inode, 0, 0, 0));
        }
        assertThrows(IllegalArgumentException.class, () -> new ReadBlock(1L << 41, 1 << 12, 0, 4096));
        assertThrows(IllegalArgumentException.class, () -> new ReadBlock(1, 1 << 20, 0, 4096));
        assertThrows(IllegalArgumentException.class, () -> new ReadBlock(1, -1, 0, 4096));
        for (long size : new long[] {0, -4096, 4095, 4097, 1L << 43, Long.MIN_VALUE}) {
            assertThrows(IllegalArgumentException.class, () -> new ReadBlock(1, 0, 0, size));
        }
        assertThrows(IllegalArgumentException.class, () -> new WriteBlock(1, 0, 1L << 50, 0));
        assertThrows(IllegalArgumentException.class, () -> new WriteBlock(1, 0, -1, 0));
        assertThrows(IllegalArgumentException.class, () -> new WriteBlock(1, 0, 0, 8192));
        assertThrows(IllegalArgumentException.class, () -> new WriteBlock(1, 0, 0, -1));
    }

    /** Any 64 bits are refused, or name a block whose id and stamp they are. */
    @Test
    void forgedIdsNameOneBlockOrNone() {
        int named = 0;
        for (int i = 0; i < 200_000; i++) {
            long id = random.nextLong() >>> random.nextInt(8);
            long stamp = random.nextLong() >>> random.nextInt(8);
            try {
                if (ReadBlock.isWriting(id)) {
                    WriteBlock block = WriteBlock.of(id, stamp);
                    assertEquals(id, block.id());
                    assertEquals(stamp, block.stamp());
                } else {
                    ReadBlock block = ReadBlock.of(id, stamp);
                    assertEquals(id, block.id());
                    assertEquals(stamp, block.stamp());
                    assertTrue(block.start() >= 0 && block.lengthIn(Long.MAX_VALUE) > 0);
                }
                named++;
            } catch (IllegalArgumentException refused) {
                // As it should be for most.
            }
        }
        assertNotEquals(0, named);
    }

    @Test
    void aBlockHasWhatTheFileHasOfIt() {
        ReadBlock second = new ReadBlock(7, 1, 0, 8192);
        assertEquals(0, second.lengthIn(0));
        assertEquals(0, second.lengthIn(8192));
        assertEquals(1, second.lengthIn(8193));
        assertEquals(8192, second.lengthIn(16384));
        assertEquals(8192, second.lengthIn(100_000));
    }

    @Test
    void theStampGrowsWithTheStartAndWithEachRecovery() {
        WriteBlock block = new WriteBlock(7, 0, 12345, 0);
        assertTrue(block.recovered().stamp() > block.stamp());
        assertEquals(new WriteBlock(7, 1, 12345 + 99, 0), block.recovered().next(99));
        assertTrue(block.next(1).stamp() > new WriteBlock(7, 0, 12345, 8191).stamp());
    }
}
