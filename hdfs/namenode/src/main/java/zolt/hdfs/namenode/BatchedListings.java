package zolt.hdfs.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.BatchedDirectoryListing;
import org.apache.hadoop.hdfs.protocol.DirectoryListing;
import org.apache.hadoop.hdfs.protocol.HdfsPartialListing;
import org.apache.hadoop.hdfs.protocol.proto.HdfsProtos.BatchedListingKeyProto;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.thirdparty.protobuf.ByteString;
import org.apache.hadoop.thirdparty.protobuf.InvalidProtocolBufferException;

/**
 * Many directories by one call. A client goes on by a key that says how far it came, and of which paths, so that nothing is
 * kept for it here.
 */
final class BatchedListings {
    private static final byte[] FROM_THE_START = {};

    private final StatusCalls single;
    private final int pageSize;
    private final int mostPaths;

    BatchedListings(Configuration conf, StatusCalls single, int pageSize) {
        this.single = single;
        this.pageSize = pageSize;
        mostPaths = conf.getInt(DFSConfigKeys.DFS_NAMENODE_BATCHED_LISTING_LIMIT,
                DFSConfigKeys.DFS_NAMENODE_BATCHED_LISTING_LIMIT_DEFAULT);
    }

    /** The next entries of some paths. A path that cannot be listed has its exception in their place. */
    BatchedDirectoryListing getBatchedListing(String[] srcs, byte[] startAfter, boolean needLocation) throws IOException {
        if (srcs.length > mostPaths) {
            throw new HadoopIllegalArgumentException("Too many source paths (" + srcs.length + " > " + mostPaths + ")");
        }
        byte[] checksum = checksum(srcs);
        int index = 0;
        byte[] after = FROM_THE_START;
        if (startAfter.length > 0) {
            BatchedListingKeyProto key = key(startAfter, checksum, srcs.length);
            after = key.getStartAfter().toByteArray();
            // Behind no name: the last path was a file, or the directory had been listed to its end.
            index = after.length == 0 ? key.getPathIndex() + 1 : key.getPathIndex();
        }
        List<HdfsPartialListing> listings = new ArrayList<>();
        int entries = 0;
        for (; index < srcs.length; index++) {
            byte[] last = FROM_THE_START;
            try {
                DirectoryListing listed = list(srcs[index], after, needLocation);
                listings.add(new HdfsPartialListing(index, Arrays.asList(listed.getPartialListing())));
                entries += listed.getPartialListing().length;
                last = listed.hasMore() ? listed.getLastName() : FROM_THE_START;
            } catch (IOException | RuntimeException e) {
                listings.add(new HdfsPartialListing(index, new RemoteException(e.getClass().getName(), e.getMessage())));
            }
            after = FROM_THE_START;
            if (last.length > 0 || entries >= pageSize && index < srcs.length - 1) {
                return answer(listings, BatchedListingKeyProto.newBuilder().setChecksum(ByteString.copyFrom(checksum))
                        .setPathIndex(index).setStartAfter(ByteString.copyFrom(last)).build().toByteArray());
            }
        }
        return answer(listings, FROM_THE_START);
    }

    /** @param key where the client goes on; empty for the end */
    private static BatchedDirectoryListing answer(List<HdfsPartialListing> listings, byte[] key) {
        return new BatchedDirectoryListing(listings.toArray(new HdfsPartialListing[0]), key.length > 0, key);
    }

    private DirectoryListing list(String src, byte[] after, boolean needLocation) throws IOException {
        DirectoryListing listed = single.getListing(src, after, needLocation);
        if (listed == null) {
            throw new FileNotFoundException("Path " + src + " does not exist");
        }
        return listed;
    }

    /** The key is the client's to give back: it may be of other paths, or no key at all. */
    private static BatchedListingKeyProto key(byte[] startAfter, byte[] checksum, int paths) {
        try {
            BatchedListingKeyProto key = BatchedListingKeyProto.parseFrom(startAfter);
            if (Arrays.equals(key.getChecksum().toByteArray(), checksum) && key.getPathIndex() >= 0
                    && key.getPathIndex() < paths) {
                return key;
            }
        } catch (InvalidProtocolBufferException e) {
            throw new HadoopIllegalArgumentException("The key of the next entries is none: " + e.getMessage());
        }
        throw new HadoopIllegalArgumentException("The key of the next entries is that of other paths");
    }

    private static byte[] checksum(String[] srcs) {
        try {
            MessageDigest digest = MessageDigest.getInstance("SHA-256");
            for (String src : srcs) {
                digest.update(src.getBytes(StandardCharsets.UTF_8));
                digest.update((byte) 0);
            }
            return digest.digest();
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
    }
}
