package zolt.hdfs.datanode;

import java.io.ByteArrayInputStream;
import java.io.DataInputStream;
import java.io.IOException;
import java.util.Optional;
import java.util.OptionalLong;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenSecretManager;
import org.apache.hadoop.security.token.Token;
import zolt.hdfs.block.ReadBlock;
import zolt.hdfs.block.SignedBlock;

/**
 * The check of block tokens, with that of what a NameNode has signed besides the id. A token to read is good for
 * the stamp it names. One to write is good for a file and the holder of its lease; block ids for writing have no room
 * for these, so they are kept for the length of the request.
 */
final class SignedTokens extends BlockTokenSecretManager {
    private record Request(long id, SignedBlock.Writer writer) {}

    private static final ThreadLocal<Request> OF_THIS_THREAD = new ThreadLocal<>();

    SignedTokens(long lifetime, String blockPool, String encryptionAlgorithm, boolean protobuf) {
        super(0, lifetime, blockPool, encryptionAlgorithm, protobuf);
    }

    /** Whom the token of this thread's request lets write, if it was one for that block. */
    static Optional<SignedBlock.Writer> writer(long id) {
        Request request = OF_THIS_THREAD.get();
        return request != null && request.id == id ? Optional.of(request.writer) : Optional.empty();
    }

    @Override
    public void checkAccess(Token<BlockTokenIdentifier> token, String user, ExtendedBlock block, AccessMode mode,
            StorageType[] types, String[] storageIds) throws InvalidToken {
        OF_THIS_THREAD.remove();
        super.checkAccess(token, user, block, mode, types, storageIds);
        SignedBlock.writer(identifier(token).getStorageIds())
                .ifPresent(writer -> OF_THIS_THREAD.set(new Request(block.getBlockId(), writer)));
    }

    /** Called by the one above before it compares the password. */
    @Override
    public void checkAccess(BlockTokenIdentifier id, String user, ExtendedBlock block, AccessMode mode,
            StorageType[] types, String[] storageIds) throws InvalidToken {
        super.checkAccess(id, user, block, mode, types, new String[0]);
        String[] signed = id.getStorageIds();
        if (storageIds != null && storageIds.length > 0) {
            checkAccess(SignedBlock.storageIds(signed), storageIds, "StorageIDs");
        }
        boolean good = ReadBlock.isWriting(block.getBlockId()) ? SignedBlock.writer(signed).isPresent()
                : SignedBlock.stamp(signed).equals(OptionalLong.of(block.getGenerationStamp()));
        if (!good) {
            throw new InvalidToken("The block token is not for the stamp of " + block);
        }
    }

    private static BlockTokenIdentifier identifier(Token<BlockTokenIdentifier> token) throws InvalidToken {
        BlockTokenIdentifier id = new BlockTokenIdentifier();
        try {
            id.readFields(new DataInputStream(new ByteArrayInputStream(token.getIdentifier())));
        } catch (IOException e) {
            throw new InvalidToken("The block token cannot be read: " + e.getMessage());
        }
        return id;
    }
}
