package zolt.hdfs.datanode;

import java.io.ByteArrayInputStream;
import java.io.DataInputStream;
import java.io.IOException;
import java.util.OptionalInt;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenSecretManager;
import org.apache.hadoop.security.token.SecretManager.InvalidToken;
import org.apache.hadoop.security.token.Token;
import zolt.hdfs.block.ReadBlock;
import zolt.hdfs.block.SignedGeneration;

/**
 * The check of block tokens, with that of the generation that a NameNode has signed: a token for a file that is gone
 * is none for the file that has its inode now. Block ids for writing have no room for the generation, so
 * it is kept for the length of the request.
 */
final class SignedTokens extends BlockTokenSecretManager {
    private record Signed(long id, int generation) {}

    private static final ThreadLocal<Signed> OF_THIS_REQUEST = new ThreadLocal<>();

    SignedTokens(long lifetime, String blockPool, String encryptionAlgorithm, boolean protobuf) {
        super(0, lifetime, blockPool, encryptionAlgorithm, protobuf);
    }

    /** The generation in the token of this thread's request, if it was one for that block. */
    static OptionalInt generation(long id) {
        Signed signed = OF_THIS_REQUEST.get();
        return signed != null && signed.id == id ? OptionalInt.of(signed.generation) : OptionalInt.empty();
    }

    @Override
    public void checkAccess(Token<BlockTokenIdentifier> token, String user, ExtendedBlock block, AccessMode mode,
            StorageType[] types, String[] storageIds) throws InvalidToken {
        OF_THIS_REQUEST.remove();
        super.checkAccess(token, user, block, mode, types, storageIds);
        OF_THIS_REQUEST.set(new Signed(block.getBlockId(), signed(identifier(token), block)));
    }

    @Override
    public void checkAccess(BlockTokenIdentifier id, String user, ExtendedBlock block, AccessMode mode,
            StorageType[] types, String[] storageIds) throws InvalidToken {
        super.checkAccess(id, user, block, mode, types, storageIds);
        signed(id, block);
    }

    private static int signed(BlockTokenIdentifier id, ExtendedBlock block) throws InvalidToken {
        int signed = SignedGeneration.in(id.getStorageIds())
                .orElseThrow(() -> new InvalidToken("The block token for " + block + " names no generation"));
        if (block.getBlockId() >= 0 && !ReadBlock.isWriting(block.getBlockId()) && generationOf(block) != signed) {
            throw new InvalidToken("The block token for " + block + " is one for an earlier or later file");
        }
        return signed;
    }

    private static int generationOf(ExtendedBlock block) throws InvalidToken {
        try {
            return ReadBlock.of(block.getBlockId(), block.getGenerationStamp()).generation();
        } catch (IllegalArgumentException e) {
            throw new InvalidToken(block + ": " + e.getMessage());
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
