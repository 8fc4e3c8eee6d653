package zolt.hdfs.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.EnumSet;
import java.util.List;
import java.util.Optional;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.AddBlockFlag;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.DatanodeInfoWithStorage;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LastBlockWithStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.io.EnumSetWritable;
import zolt.hdfs.block.Generations;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;
import zolt.hdfs.namespace.Attributes;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.Holders;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.Statuses;

/**
 * The calls of a client that writes. Who may write on is told by the file itself, and where a block starts by
 * the block before it, so that any NameNode answers each of them.
 */
final class WriteCalls {
    private final Statuses statuses;
    private final OpenFiles open;
    private final Holders holders;
    private final Blocks blocks;
    private final BlockLimits limits;
    private final Generations generations;
    private final FileStatuses forms;
    private final KnownPaths paths;
    private final WrittenFiles written;

    WriteCalls(Parts parts, Blocks blocks, BlockLimits limits, Generations generations, FileStatuses forms,
            KnownPaths paths, WrittenFiles written) {
        statuses = parts.statuses();
        open = parts.open();
        holders = parts.holders();
        this.blocks = blocks;
        this.limits = limits;
        this.generations = generations;
        this.forms = forms;
        this.paths = paths;
        this.written = written;
    }

    @Dispatch.Changes("create file")
    HdfsFileStatus create(String src, FsPermission masked, String clientName, EnumSetWritable<CreateFlag> flag,
            boolean createParent, short replication, long blockSize, CryptoProtocolVersion[] supportedVersions,
            String ecPolicyName, String storagePolicy) throws IOException {
        HdfsPath path = HdfsPath.toCreate(src);
        limits.checkSize(blockSize);
        EnumSet<CreateFlag> flags = flag.get();
        OpenFiles.Creation how = new OpenFiles.Creation(masked, flags.contains(CreateFlag.CREATE),
                flags.contains(CreateFlag.OVERWRITE), createParent, Attributes.requireCopies(src, replication),
                blockSize);
        OpenFiles.Opened opened = open.create(path, how, Requests.writer(clientName));
        written.begun(opened.entry().inode(), path, Requests.machine());
        return forms.ofWritten(path, opened);
    }

    @Dispatch.Changes("append to file")
    LastBlockWithStatus append(String src, String clientName, EnumSetWritable<CreateFlag> flag) throws IOException {
        HdfsPath path = HdfsPath.of(src);
        OpenFiles.Opened opened = open.append(path, Requests.writer(clientName));
        written.begun(opened.entry().inode(), path, Requests.machine());
        return new LastBlockWithStatus(null, forms.ofWritten(path, opened));
    }

    @Dispatch.Changes("add a block to")
    LocatedBlock addBlock(String src, String clientName, ExtendedBlock previous, DatanodeInfo[] excludeNodes,
            long fileId, String[] favoredNodes, EnumSet<AddBlockFlag> addBlockFlags) throws IOException {
        HdfsPath path = where(src, fileId);
        try (OpenFiles.Written file = open.written(path, clientName, fileId)) {
            written.begun(file.entry().inode(), path, Requests.machine());
            WriteBlock next = previous == null ? new WriteBlock(file.entry().inode(), 0, file.session().start(), 0)
                    : own(file, previous).next(previous.getNumBytes());
            limits.checkNumber(next.sequence());
            List<DatanodeInfoWithStorage> nodes = blocks.datanodes().choose(Blocks.WRITERS, List.of(), Requests.machine(),
                    excludeNodes == null ? List.of() : Arrays.asList(excludeNodes));
            if (nodes.isEmpty()) {
                throw new IOException("File " + src + " could only be written to 0 of the 1 minReplication nodes. There"
                        + " are no live DataNodes, or the client has excluded them all");
            }
            return blocks.toWrite(next, writer(file), 0, nodes);
        }
    }

    private SignedBlock.Writer writer(OpenFiles.Written file) throws IOException {
        return new SignedBlock.Writer(generations.of(file.descriptor()), file.session().id());
    }

    /** The block, when it is one of the file's: its number says where the next begins. */
    private WriteBlock own(OpenFiles.Written file, ExtendedBlock block) throws IOException {
        WriteBlock written = blocks.written(block);
        if (written.inode() != file.entry().inode()) {
            throw new IOException("Block " + block + " belongs to another file");
        }
        if (written.start() < file.session().start()) {
            throw new IOException("Block " + block + " lies before the writing of the file began");
        }
        return written;
    }

    /** A file may have another name since it was opened: the one at which it was last seen, if it still is there. */
    private HdfsPath where(String src, long fileId) throws IOException {
        HdfsPath path = HdfsPath.of(src);
        if (fileId <= 0 || path.equals(paths.get(fileId))) {
            return path;
        }
        HdfsPath known = paths.getIfThere(fileId, statuses);
        return known == null ? path : known;
    }

    /** Nothing to forget: the next block starts at the same place, and complete cuts what is behind the end. */
    @Dispatch.Changes("abandon")
    void abandonBlock(ExtendedBlock b, long fileId, String src, String holder) throws IOException {
        try (OpenFiles.Written file = open.written(where(src, fileId), holder, fileId)) {
            own(file, b);
        }
    }

    LocatedBlock getAdditionalDatanode(String src, long fileId, ExtendedBlock blk, DatanodeInfo[] existings,
            String[] existingStorageIDs, DatanodeInfo[] excludes, int numAdditionalNodes, String clientName)
            throws IOException {
        try (OpenFiles.Written file = open.written(where(src, fileId), clientName, fileId)) {
            WriteBlock block = own(file, blk);
            List<DatanodeID> without = new ArrayList<>(Arrays.asList(existings));
            Collections.addAll(without, excludes == null ? new DatanodeInfo[0] : excludes);
            return blocks.toWrite(block, writer(file), blk.getNumBytes(),
                    blocks.datanodes().choose(numAdditionalNodes, List.of(), Requests.machine(), without));
        }
    }

    @Dispatch.Changes("complete file")
    boolean complete(String src, String clientName, ExtendedBlock last, long fileId) throws IOException {
        Optional<OpenFiles.Written> there = open.writtenOrClosed(where(src, fileId), clientName, fileId);
        if (there.isEmpty()) {
            written.ended(fileId);
            return true;
        }
        try (OpenFiles.Written file = there.get()) {
            long size = last == null ? file.session().start() : own(file, last).start() + last.getNumBytes();
            if (file.entry().size() < size) {
                return false;
            }
            file.complete(size);
            written.ended(file.entry().inode());
            return true;
        }
    }

    @Dispatch.Changes("fsync file")
    void fsync(String src, long inodeId, String client, long lastBlockLength) throws IOException {
        try (OpenFiles.Written file = open.written(where(src, inodeId), client, inodeId)) {
            file.force();
        }
    }

    void renewLease(String clientName, List<String> namespaces) throws IOException {
        holders.heard(clientName);
    }

    @Dispatch.Changes("recover the lease of")
    boolean recoverLease(String src, String clientName) throws IOException {
        return open.recover(HdfsPath.of(src));
    }

    @Dispatch.Changes("truncate for")
    boolean truncate(String src, long newLength, String clientName) throws IOException {
        if (newLength < 0) {
            throw new HadoopIllegalArgumentException("Cannot truncate to a negative file size: " + newLength + ".");
        }
        open.truncate(HdfsPath.of(src), newLength, Requests.writer(clientName));
        return true;
    }

    /** A recovered pipeline gets the same block again under a stamp that has grown. */
    @Dispatch.Changes("go on with")
    LocatedBlock updateBlockForPipeline(ExtendedBlock block, String clientName) throws IOException {
        try (OpenFiles.Written file = writing(block, clientName)) {
            WriteBlock next = own(file, block).recovered();
            return blocks.toWrite(next, writer(file), block.getNumBytes(), List.of());
        }
    }

    @Dispatch.Changes("go on with the client")
    void updatePipeline(String clientName, ExtendedBlock oldBlock, ExtendedBlock newBlock, DatanodeID[] newNodes,
            String[] newStorageIDs) throws IOException {
        try (OpenFiles.Written file = writing(newBlock, clientName)) {
            if (blocks.written(oldBlock).id() != own(file, newBlock).id()) {
                throw new IOException("Update " + oldBlock + " to " + newBlock + ": they are not the same block");
            }
        }
    }

    /** These calls name a block and no path: where its file lies is known from when the block was given out. */
    private OpenFiles.Written writing(ExtendedBlock block, String clientName) throws IOException {
        long inode = blocks.written(block).inode();
        HdfsPath path = paths.get(inode);
        if (path == null) {
            throw new FileNotFoundException("This NameNode does not know the path of inode " + inode);
        }
        return open.written(path, clientName, inode);
    }

    /** A block that a DataNode cannot read lies in the file system; it is the same for all. */
    void reportBadBlocks(LocatedBlock[] bad) {
        // The DataNode that found it has logged it.
    }
}
