package zolt.hdfs.datanode;

import java.io.FileInputStream;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentMap;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.server.datanode.Replica;
import org.apache.hadoop.hdfs.server.datanode.ReplicaHandler;
import org.apache.hadoop.hdfs.server.datanode.ReplicaNotFoundException;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.ReplicaInputStreams;
import zolt.hdfs.block.WriteBlock;

/**
 * Blocks for writing. Id and stamp say where the bytes go, and the file has those that came before, by whichever
 * DataNode. So a DataNode takes up a block that another one began, or that itself began before it was started
 * anew. What is kept is the blocks that are being received just now, so that the next writer stops the one before.
 *
 * <p>A file is never cut here: behind the bytes of one DataNode there may be those of another.
 */
final class BlockWrites {
    private final BlockFiles files;
    private final FsVolumeSpi volume;
    private final long stopMillis;
    private final ConcurrentMap<Long, WriteReplica> received = new ConcurrentHashMap<>();

    /**
     * Blocks of files.
     *
     * @param stopMillis how long to wait for the end of a writer
     */
    BlockWrites(BlockFiles files, FsVolumeSpi volume, long stopMillis) {
        this.files = files;
        this.volume = volume;
        this.stopMillis = stopMillis;
    }

    /** A new block. */
    ReplicaHandler create(ExtendedBlock block) throws IOException {
        return receive(parse(block, block.getGenerationStamp()), 0);
    }

    /**
     * A block that goes on after its pipeline broke, with a younger stamp. The client sends again what was not
     * acknowledged, and it is written where it was before.
     *
     * @param acknowledged how much of the block the client was told is written
     */
    ReplicaHandler recover(ExtendedBlock block, long stamp, long acknowledged, long sent) throws IOException {
        WriteBlock wanted = renewed(block, stamp);
        if (acknowledged < 0 || acknowledged > sent) {
            throw new ReplicaNotFoundException(block + " cannot have " + acknowledged + " bytes of " + sent);
        }
        stop(block.getBlockId());
        requireBytes(block, wanted, acknowledged);
        return receive(wanted, acknowledged);
    }

    /** The end of a block whose pipeline broke when all was sent. */
    Replica recoverClose(ExtendedBlock block, long stamp, long length) throws IOException {
        WriteBlock wanted = renewed(block, stamp);
        stop(block.getBlockId());
        requireBytes(block, wanted, length);
        return WriteReplica.finished(wanted, length, volume);
    }

    /** How much of a block the file has. */
    long length(ExtendedBlock block) throws IOException {
        WriteBlock wanted = parse(block, block.getGenerationStamp());
        try (BlockFile file = find(block, wanted)) {
            return Math.max(0, file.size() - wanted.start());
        }
    }

    /**
     * The bytes and the checksums of what there is of a block that is being received: the DataNode goes on with the
     * checksum of a chunk that was begun.
     */
    ReplicaInputStreams begun(ExtendedBlock block, long offset, long checksumOffset) throws IOException {
        WriteReplica replica = received.get(block.getBlockId());
        if (replica == null) {
            throw new ReplicaNotFoundException(block);
        }
        WriteBlock wanted = parse(block, block.getGenerationStamp());
        try (BlockFile file = find(block, wanted)) {
            FileInputStream bytes = file.read(wanted.start() + offset);
            try {
                ChecksumStream sums = new ChecksumStream(
                        file.read(0), wanted.start(), replica.getBytesOnDisk(), replica.checksum());
                sums.seek(checksumOffset);
                return new ReplicaInputStreams(bytes, sums, volume.obtainReference(), volume.getFileIoProvider());
            } catch (IOException e) {
                bytes.close();
                throw e;
            }
        }
    }

    /** How many blocks are being received. */
    int count() {
        return received.size();
    }

    private ReplicaHandler receive(WriteBlock block, long length) throws IOException {
        WriteReplica[] own = new WriteReplica[1];
        WriteReplica replica = new WriteReplica(block, length, files, volume, () -> received.remove(block.id(), own[0]));
        own[0] = replica;
        while (received.putIfAbsent(block.id(), replica) != null) {
            stop(block.id());
        }
        return new ReplicaHandler(replica, volume.obtainReference());
    }

    private void stop(long id) throws IOException {
        WriteReplica before = received.get(id);
        if (before != null) {
            before.stopWriter(stopMillis);
            received.remove(id, before);
        }
    }

    private void requireBytes(ExtendedBlock block, WriteBlock wanted, long length) throws IOException {
        try (BlockFile file = find(block, wanted)) {
            if (file.size() < wanted.start() + length) {
                throw new ReplicaNotFoundException(block + " should have " + length + " bytes, but its file ends before");
            }
        }
    }

    private BlockFile find(ExtendedBlock block, WriteBlock wanted) throws IOException {
        try {
            return files.of(wanted);
        } catch (FileNotFoundException e) {
            throw new ReplicaNotFoundException(block + ": " + e.getMessage());
        }
    }

    private static WriteBlock renewed(ExtendedBlock block, long stamp) throws ReplicaNotFoundException {
        WriteBlock before = parse(block, block.getGenerationStamp());
        WriteBlock renewed = parse(block, stamp);
        if (renewed.start() != before.start() || stamp < block.getGenerationStamp()) {
            throw new ReplicaNotFoundException(ReplicaNotFoundException.UNEXPECTED_GS_REPLICA + block + " and " + stamp);
        }
        return renewed;
    }

    private static WriteBlock parse(ExtendedBlock block, long stamp) throws ReplicaNotFoundException {
        try {
            return WriteBlock.of(block.getBlockId(), stamp);
        } catch (IllegalArgumentException e) {
            throw new ReplicaNotFoundException(block + ": " + e.getMessage());
        }
    }
}
