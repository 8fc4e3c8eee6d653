package zolt.hdfs.datanode;

import java.io.FileInputStream;
import java.io.FileNotFoundException;
import java.io.IOException;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.server.datanode.ReplicaNotFoundException;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.FsVolumeSpi;
import org.apache.hadoop.hdfs.server.datanode.fsdataset.LengthInputStream;
import org.apache.hadoop.util.DataChecksum;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.hdfs.block.ReadBlock;

/**
 * Blocks for reading. Nothing is remembered of them but, for the length of one request, how long the block was when
 * the request began: the bytes and the checksums of a growing file must end at the same place.
 */
final class BlockReads {
    private static final Logger LOG = LoggerFactory.getLogger(BlockReads.class);

    private final BlockFiles files;
    private final FsVolumeSpi volume;
    private final DataChecksum.Type checksumType;
    private final int bytesPerChecksum;
    private final ThreadLocal<ReadReplica> ofThisRequest = new ThreadLocal<>();

    BlockReads(BlockFiles files, FsVolumeSpi volume, DataChecksum.Type checksumType, int bytesPerChecksum) {
        this.files = files;
        this.volume = volume;
        this.checksumType = checksumType;
        this.bytesPerChecksum = bytesPerChecksum;
    }

    /** The replica of an id; null when the id is none for reading. */
    ReadReplica replica(long id) {
        if (id < 0 || ReadBlock.isWriting(id)) {
            return null;
        }
        ReadReplica replica = new ReadReplica(id, volume);
        ofThisRequest.set(replica);
        return replica;
    }

    /**
     * Gives the replica that this thread asked for its length.
     *
     * @return false when the block no longer fits
     */
    boolean bind(ExtendedBlock block) {
        ReadReplica replica = ofThisRequest.get();
        if (replica == null || replica.getBlockId() != block.getBlockId()) {
            return true;
        }
        try {
            replica.bind(block, length(block));
            return true;
        } catch (IOException e) {
            LOG.info("{} cannot be read: {}", block, e.toString());
            return false;
        }
    }

    /** How much of a block its file has now. */
    long length(ExtendedBlock block) throws IOException {
        ReadBlock wanted = parse(block);
        try (BlockFile file = find(block, wanted)) {
            return length(block, wanted, file);
        }
    }

    /** The bytes of a block from an offset on, and whatever follows them in the file. */
    FileInputStream bytes(ExtendedBlock block, long offset) throws IOException {
        ReadBlock wanted = parse(block);
        ofThisRequest.remove();
        try (BlockFile file = find(block, wanted)) {
            return file.read(wanted.start() + offset);
        }
    }

    /** The checksums of a block. */
    LengthInputStream checksums(ExtendedBlock block) throws IOException {
        ReadBlock wanted = parse(block);
        ReadReplica replica = ofThisRequest.get();
        try (BlockFile file = find(block, wanted)) {
            long length = replica != null && replica.isBoundTo(block) ? replica.getBytesOnDisk()
                    : length(block, wanted, file);
            DataChecksum checksum = DataChecksum.newDataChecksum(checksumType, bytesPerChecksum);
            ChecksumStream stream = new ChecksumStream(file.read(0), wanted.start(), length, checksum);
            return new LengthInputStream(stream, stream.size());
        }
    }

    private static long length(ExtendedBlock block, ReadBlock wanted, BlockFile file) throws IOException {
        long size = file.size();
        if (size < wanted.start()) {
            throw new ReplicaNotFoundException(block + " starts behind the end of its file, which has " + size + " bytes");
        }
        return wanted.lengthIn(size);
    }

    private BlockFile find(ExtendedBlock block, ReadBlock wanted) throws IOException {
        try {
            return files.of(wanted);
        } catch (FileNotFoundException e) {
            throw notFound(block, e);
        }
    }

    private static ReadBlock parse(ExtendedBlock block) throws ReplicaNotFoundException {
        try {
            return ReadBlock.of(block.getBlockId(), block.getGenerationStamp());
        } catch (IllegalArgumentException e) {
            throw notFound(block, e);
        }
    }

    private static ReplicaNotFoundException notFound(ExtendedBlock block, Exception cause) {
        return new ReplicaNotFoundException(block + ": " + cause.getMessage());
    }
}
