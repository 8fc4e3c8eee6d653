package zolt.cli.commands;

import java.io.IOException;
import zolt.fs.BlockLocations;
import zolt.fs.FileStatus;

/** The blocks of a file, range by range: a file of terabytes has more than a buffer holds. */
final class BlockRanges {
    /** What is done with the blocks of a range; the first of them has this number among all. */
    interface Step {
        void take(BlockLocations locations, long first) throws IOException;
    }

    /** In blocks of the file system: one and a half megabytes, where there are three copies. */
    private static final long SMALL_BLOCKS = 1 << 16;
    /** HDFS blocks are made of thousands of them each: part of a second's work. */
    private static final long LARGE_BLOCKS = 1 << 8;

    private final BlockLocations locations;
    private final FileStatus file = new FileStatus();
    private final BlockLocations.Form form;
    private final long offset;
    private final long end;
    private final long start;
    private final long blockSize;
    private final int replicas;

    BlockRanges(BlockLocations locations, String path, BlockLocations.Form form, long offset, long length)
            throws IOException {
        this.locations = locations;
        this.form = form;
        file.readFast(path);
        locations.read(file, form, offset, length < BlockLocations.TO_THE_END ? length : 0);
        this.blockSize = locations.blockSize();
        this.replicas = locations.replicas();
        long left = Math.max(0, file.size() - offset);
        this.offset = offset;
        this.end = offset + (length == BlockLocations.TO_THE_END ? left : Math.min(length, left));
        this.start = blockSize == 0 ? offset : offset - offset % blockSize;
    }

    String path() {
        return file.path();
    }

    long fileSize() {
        return file.size();
    }

    long blockSize() {
        return blockSize;
    }

    int replicas() {
        return replicas;
    }

    /** How many blocks there are in all ranges. */
    long count() {
        return blockSize == 0 || offset >= end ? 0 : (end - start - 1) / blockSize + 1;
    }

    void each(Step step) throws IOException {
        long perRange = blockSize * (form == BlockLocations.Form.FILE_SYSTEM ? SMALL_BLOCKS
                : LARGE_BLOCKS);
        if (count() == 0) {
            return;
        }
        long first = 0;
        for (long at = start; at < end; at += perRange) {
            long from = Math.max(at, offset);
            locations.read(file, form, from, Math.min(end - at, perRange) - (from - at));
            step.take(locations, first);
            first += locations.count();
        }
    }
}
