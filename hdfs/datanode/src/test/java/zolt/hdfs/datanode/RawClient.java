package zolt.hdfs.datanode;

import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.EOFException;
import java.io.IOException;
import java.net.Socket;
import java.net.SocketException;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.datatransfer.BlockConstructionStage;
import org.apache.hadoop.hdfs.protocol.datatransfer.PacketHeader;
import org.apache.hadoop.hdfs.protocol.datatransfer.PipelineAck;
import org.apache.hadoop.hdfs.protocol.datatransfer.Sender;
import org.apache.hadoop.hdfs.protocol.proto.DataTransferProtos.BlockOpResponseProto;
import org.apache.hadoop.hdfs.protocolPB.PBHelperClient;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.hdfs.server.datanode.CachingStrategy;
import org.apache.hadoop.security.token.Token;
import org.apache.hadoop.util.DataChecksum;

/** A client that says to a DataNode what Hadoop's own would never say. */
final class RawClient implements AutoCloseable {
    private static final int PATIENCE_MILLIS = 20_000;

    /** How many bytes each checksum is of. */
    int bytesPerChecksum = 512;

    private final Socket socket;
    private final DataOutputStream out;
    private final DataInputStream in;
    private final DatanodeInfo node;
    private final String storageId;

    /** Connects to the first node of a block. */
    RawClient(LocatedBlock located) throws IOException {
        node = located.getLocations()[0];
        storageId = located.getStorageIDs()[0];
        socket = new Socket(node.getIpAddr(), node.getXferPort());
        socket.setSoTimeout(PATIENCE_MILLIS);
        out = new DataOutputStream(new BufferedOutputStream(socket.getOutputStream()));
        in = new DataInputStream(new BufferedInputStream(socket.getInputStream()));
    }

    /** What the DataNode answers to a wish to read: the name of a status, or "closed". */
    String read(ExtendedBlock block, Token<BlockTokenIdentifier> token, long from, long length) throws IOException {
        new Sender(out).readBlock(block, token, "tester", from, length, true, CachingStrategy.newDefaultStrategy());
        return answer();
    }

    /** The same of a wish to write, into a pipeline of DataNodes with these storages. */
    String write(ExtendedBlock block, Token<BlockTokenIdentifier> token, BlockConstructionStage stage, long stamp,
            long acknowledged, long sent, String... storages) throws IOException {
        new Sender(out).writeBlock(block, StorageType.DISK, token, "tester", new DatanodeInfo[0], new StorageType[0], null,
                stage, 1, acknowledged, sent, stamp, DataChecksum.newDataChecksum(DataChecksum.Type.CRC32C,
                bytesPerChecksum),
                CachingStrategy.newDefaultStrategy(), false, false, null, storageId, storages);
        return answer();
    }

    /** Sends a packet of a block that is being written, and tells how it was acknowledged. */
    String send(long number, long offset, byte[] bytes, boolean last) throws IOException {
        DataChecksum checksum = DataChecksum.newDataChecksum(DataChecksum.Type.CRC32C, bytesPerChecksum);
        byte[] sums = new byte[checksum.getChecksumSize(bytes.length)];
        checksum.calculateChunkedSums(bytes, 0, bytes.length, sums, 0);
        new PacketHeader(Integer.BYTES + sums.length + bytes.length, offset, number, last, bytes.length, false).write(out);
        out.write(sums);
        out.write(bytes);
        out.flush();
        PipelineAck ack = new PipelineAck();
        ack.readFields(in);
        return PipelineAck.getStatusFromHeader(ack.getHeaderFlag(0)).name();
    }

    /** Sends bytes as they are, and tells whether the DataNode hangs up. */
    boolean isRefused(byte[] bytes) throws IOException {
        try {
            out.write(bytes);
            out.flush();
            socket.shutdownOutput();
            in.readAllBytes();
            return true;
        } catch (SocketException reset) {
            return true;
        }
    }

    @Override
    public void close() throws IOException {
        socket.close();
    }

    private String answer() throws IOException {
        out.flush();
        try {
            return BlockOpResponseProto.parseFrom(PBHelperClient.vintPrefixed(in)).getStatus().name();
        } catch (EOFException | SocketException e) {
            return "closed";
        }
    }
}
