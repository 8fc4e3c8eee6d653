package zolt.hdfs.datanode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.lang.reflect.InvocationHandler;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.ha.HAServiceProtocol.HAServiceState;
import org.apache.hadoop.hdfs.DFSUtil;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo.DatanodeInfoBuilder;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LastBlockWithStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.hdfs.protocol.proto.ClientNamenodeProtocolProtos.ClientNamenodeProtocol;
import org.apache.hadoop.hdfs.protocol.proto.DatanodeProtocolProtos.DatanodeProtocolService;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.protocolPB.DatanodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.DatanodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenIdentifier.AccessMode;
import org.apache.hadoop.hdfs.security.token.block.BlockTokenSecretManager;
import org.apache.hadoop.hdfs.server.protocol.DatanodeCommand;
import org.apache.hadoop.hdfs.server.protocol.DatanodeProtocol;
import org.apache.hadoop.hdfs.server.protocol.DatanodeRegistration;
import org.apache.hadoop.hdfs.server.protocol.HeartbeatResponse;
import org.apache.hadoop.hdfs.server.protocol.NNHAStatusHeartbeat;
import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;
import org.apache.hadoop.hdfs.server.protocol.StorageReport;
import org.apache.hadoop.ipc.ProtobufRpcEngine2;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.util.DataChecksum;
import zolt.hdfs.block.Generations;
import zolt.hdfs.block.ReadBlock;
import zolt.hdfs.block.SignedBlock;
import zolt.hdfs.block.WriteBlock;
import zolt.hdfs.namespace.NativeFiles;

/**
 * As much of a NameNode as clients need to write and read the files of one flat folder through DataNodes: the
 * calls of both protocols by their names and parameters, over real RPC.
 */
final class FakeNameNode implements AutoCloseable {
    static final long BLOCK = 1 << 20;
    static final String POOL = "BP-1-127.0.0.1-1";
    private static final int DAY_MILLIS = 24 * 3600 * 1000;

    final Path folder;
    final BlockTokenSecretManager tokens =
            new BlockTokenSecretManager(DAY_MILLIS, DAY_MILLIS, 0, 1, POOL, null, false);
    final List<String> pathsAsked = new ArrayList<>();
    private final boolean withTokens;
    private final RPC.Server server;
    private final int root;
    private final Generations generations;
    private final Map<String, DatanodeRegistration> datanodes = new LinkedHashMap<>();
    private final Map<String, String> storages = new ConcurrentHashMap<>();
    private final Map<String, Long> sessions = new ConcurrentHashMap<>();

    FakeNameNode(Path folder, boolean withTokens) throws IOException {
        this.folder = folder;
        this.withTokens = withTokens;
        root = NativeFiles.open(NativeFiles.NO_DIRECTORY, folder.toString().getBytes(StandardCharsets.UTF_8),
                NativeFiles.O_RDONLY, 0);
        generations = Generations.of(root, root);
        Configuration conf = new Configuration();
        RPC.setProtocolEngine(conf, ClientNamenodeProtocolPB.class, ProtobufRpcEngine2.class);
        server = new RPC.Builder(conf).setProtocol(ClientNamenodeProtocolPB.class)
                .setInstance(ClientNamenodeProtocol.newReflectiveBlockingService(
                        new ClientNamenodeProtocolServerSideTranslatorPB(proxy(ClientProtocol.class))))
                .setBindAddress("127.0.0.1").setPort(0).setNumHandlers(4).build();
        DFSUtil.addInternalPBProtocol(conf, DatanodeProtocolPB.class,
                DatanodeProtocolService.newReflectiveBlockingService(
                        new DatanodeProtocolServerSideTranslatorPB(proxy(DatanodeProtocol.class), 1 << 26)), server);
        server.start();
    }

    int port() {
        return server.getListenerAddress().getPort();
    }

    synchronized int datanodes() {
        return storages.size();
    }

    synchronized void forget(String datanodeUuid) {
        datanodes.remove(datanodeUuid);
        storages.remove(datanodeUuid);
    }

    @Override
    public void close() {
        server.stop();
        NativeFiles.close(root);
    }

    // What DataNodes call.

    public NamespaceInfo versionRequest() {
        return new NamespaceInfo(1, "cluster", POOL, 0, HAServiceState.ACTIVE);
    }

    public synchronized DatanodeRegistration registerDatanode(DatanodeRegistration registration) {
        datanodes.put(registration.getDatanodeUuid(), registration);
        if (withTokens) {
            registration.setExportedKeys(tokens.exportKeys());
        }
        return registration;
    }

    public HeartbeatResponse sendHeartbeat(DatanodeRegistration registration, StorageReport[] reports, long capacity,
            long used, int xmits, int xceivers, int failed, Object failures, boolean lease, Object peers, Object disks) {
        storages.put(registration.getDatanodeUuid(), reports[0].getStorage().getStorageID());
        return new HeartbeatResponse(new DatanodeCommand[0], new NNHAStatusHeartbeat(HAServiceState.ACTIVE, 1), null, 0);
    }

    public DatanodeCommand blockReport(DatanodeRegistration registration, String pool, Object reports, Object context) {
        return null;
    }

    public void blockReceivedAndDeleted(DatanodeRegistration registration, String pool, Object blocks) {
        // The file tells.
    }

    public void errorReport(DatanodeRegistration registration, int code, String message) {
        // Nobody reads it here.
    }

    public void reportBadBlocks(LocatedBlock[] blocks) {
        // The client tries again.
    }

    public String getLinkTarget(String path) throws IOException {
        synchronized (pathsAsked) {
            pathsAsked.add(path);
        }
        long inode = Long.parseLong(path.substring(path.lastIndexOf('/') + 1));
        return "/" + withInode(inode).getFileName();
    }

    // What clients call.

    public FsServerDefaults getServerDefaults() {
        return new FsServerDefaults(BLOCK, 512, 65536, (short) datanodes(), 4096, false, 0, DataChecksum.Type.CRC32C, "",
                (byte) 0);
    }

    public HdfsFileStatus getFileInfo(String src) throws IOException {
        return Files.exists(file(src)) ? status(src) : null;
    }

    public HdfsFileStatus create(String src, FsPermission mode, String client, Object flags, boolean parents,
            short replication, long blockSize, Object versions, String policy, String storagePolicy) throws IOException {
        Files.deleteIfExists(file(src));
        Files.createFile(file(src));
        lease(file(src), client);
        sessions.put(src, 0L);
        return status(src);
    }

    public LastBlockWithStatus append(String src, String client, Object flags) throws IOException {
        lease(file(src), client);
        sessions.put(src, Files.size(file(src)));
        return new LastBlockWithStatus(null, status(src));
    }

    public LocatedBlock addBlock(String src, String client, ExtendedBlock previous, DatanodeInfo[] excluded, long id,
            Object favoured, Object flags) throws IOException {
        WriteBlock block = previous == null ? new WriteBlock(inode(src), 0, sessions.get(src), 0)
                : WriteBlock.of(previous.getBlockId(), previous.getGenerationStamp()).next(previous.getNumBytes());
        return located(new ExtendedBlock(POOL, block.id(), 0, block.stamp()), block.start(), src, AccessMode.WRITE,
                excluded == null ? List.of() : Arrays.asList(excluded));
    }

    public void abandonBlock(ExtendedBlock block, long id, String src, String client) {
        // It left nothing.
    }

    public LocatedBlock updateBlockForPipeline(ExtendedBlock old, String client) throws IOException {
        WriteBlock block = WriteBlock.of(old.getBlockId(), old.getGenerationStamp()).recovered();
        // As Hadoop's own: the block without its nodes, which the client knows.
        return located(new ExtendedBlock(POOL, block.id(), old.getNumBytes(), block.stamp()), block.start(),
                "/" + withInode(block.inode()).getFileName(), AccessMode.WRITE, nodes());
    }

    public void updatePipeline(String client, ExtendedBlock old, ExtendedBlock block, Object nodes, Object storageIds) {
        // The next call brings the block along.
    }

    public void fsync(String src, long id, String client, long length) {
        // The size of the file tells.
    }

    public void renewLease(String client, List<String> namespaces) {
        // It lasts as long as the test.
    }

    public boolean complete(String src, String client, ExtendedBlock last, long id) throws IOException {
        if (last != null) {
            long end = WriteBlock.of(last.getBlockId(), last.getGenerationStamp()).start() + last.getNumBytes();
            try (FileChannel channel = FileChannel.open(file(src), StandardOpenOption.WRITE)) {
                channel.truncate(end);
            }
        }
        attributes(file(src)).delete("lease.holder");
        return true;
    }

    public LocatedBlocks getBlockLocations(String src, long offset, long length) throws IOException {
        long size = Files.size(file(src));
        List<LocatedBlock> blocks = new ArrayList<>();
        for (int i = 0; i * BLOCK < size; i++) {
            ReadBlock block = new ReadBlock(inode(src), i, generation(src), BLOCK);
            blocks.add(located(new ExtendedBlock(POOL, block.id(), block.lengthIn(size), block.stamp()), block.start(), src,
                    AccessMode.READ, List.of()));
        }
        boolean open = attributes(file(src)).list().contains("lease.holder");
        LocatedBlock last = blocks.isEmpty() ? null : blocks.get(blocks.size() - 1);
        if (open && last != null) {
            // The client asks a DataNode how long the last block is by now.
            blocks.remove(last);
            return new LocatedBlocks(last.getStartOffset(), true, blocks, last, false, null, null);
        }
        return new LocatedBlocks(size, open, blocks, last, true, null, null);
    }

    // How it does that.

    private synchronized List<DatanodeInfo> nodes() {
        return datanodes.values().stream().<DatanodeInfo>map(node -> new DatanodeInfoBuilder().setNodeID(node).build())
                .toList();
    }

    private String session(String src) throws IOException {
        ByteBuffer session = ByteBuffer.allocate(1000);
        attributes(file(src)).read("zolt.session", session);
        String text = StandardCharsets.UTF_8.decode(session.flip()).toString();
        return text.substring(text.indexOf(' ') + 1);
    }

    Path file(String src) {
        return folder.resolve(src.substring(1));
    }

    /** A lease whose session has the client's name. */
    static void lease(Path file, String client) throws IOException {
        attributes(file).write("lease.holder", StandardCharsets.UTF_8.encode(client));
        session(file, client);
    }

    static void session(Path file, String id) throws IOException {
        attributes(file).write("zolt.session", StandardCharsets.UTF_8.encode("0 " + id));
    }

    static UserDefinedFileAttributeView attributes(Path file) {
        return Files.getFileAttributeView(file, UserDefinedFileAttributeView.class);
    }

    long inode(String src) throws IOException {
        return (long) Files.getAttribute(file(src), "unix:ino");
    }

    int generation(String src) throws IOException {
        int opened = open(file(src));
        try {
            return generations.of(opened);
        } finally {
            NativeFiles.close(opened);
        }
    }

    /** A block with its nodes and its token. */
    LocatedBlock located(ExtendedBlock block, long start, String src, AccessMode mode, List<DatanodeInfo> excluded)
            throws IOException {
        List<DatanodeInfo> nodes = new ArrayList<>();
        List<String> ids = new ArrayList<>();
        synchronized (this) {
            for (DatanodeRegistration node : datanodes.values()) {
                String storage = storages.get(node.getDatanodeUuid());
                if (storage != null && excluded.stream().noneMatch(not -> not.getXferPort() == node.getXferPort())) {
                    nodes.add(new DatanodeInfoBuilder().setNodeID(node).build());
                    ids.add(storage);
                }
            }
        }
        StorageType[] types = Stream.generate(() -> StorageType.DISK).limit(nodes.size()).toArray(StorageType[]::new);
        String[] storageIds = ids.toArray(String[]::new);
        LocatedBlock located = new LocatedBlock(block, nodes.toArray(DatanodeInfo[]::new), storageIds, types, start,
                false, null);
        if (withTokens) {
            String[] signed = mode == AccessMode.READ ? SignedBlock.toRead(storageIds, block.getGenerationStamp())
                    : SignedBlock.toWrite(storageIds, new SignedBlock.Writer(generation(src), session(src)));
            located.setBlockToken(tokens.generateToken("tester", block, EnumSet.of(mode), types, signed));
        }
        return located;
    }

    private HdfsFileStatus status(String src) throws IOException {
        return new HdfsFileStatus.Builder().length(Files.size(file(src))).replication(Math.max(1, datanodes()))
                .blocksize(BLOCK).perm(FsPermission.getFileDefault()).owner("tester").group("tester").fileId(inode(src))
                .path(new byte[0]).build();
    }

    private Path withInode(long inode) throws IOException {
        try (Stream<Path> all = Files.list(folder)) {
            for (Path each : (Iterable<Path>) all::iterator) {
                if (Long.valueOf(inode).equals(Files.getAttribute(each, "unix:ino"))) {
                    return each;
                }
            }
        }
        throw new FileNotFoundException("inode " + inode);
    }

    private static int open(Path path) {
        return NativeFiles.open(NativeFiles.NO_DIRECTORY, path.toString().getBytes(StandardCharsets.UTF_8),
                NativeFiles.O_PATH, 0);
    }

    private <P> P proxy(Class<P> protocol) {
        InvocationHandler handler = (self, method, arguments) -> {
            for (Method own : FakeNameNode.class.getMethods()) {
                if (own.getName().equals(method.getName()) && own.getParameterCount() == method.getParameterCount()) {
                    try {
                        return own.invoke(this, arguments);
                    } catch (InvocationTargetException e) {
                        throw e.getCause();
                    }
                }
            }
            throw new UnsupportedOperationException(method.getName());
        };
        return protocol.cast(Proxy.newProxyInstance(protocol.getClassLoader(), new Class<?>[] {protocol}, handler));
    }
}
