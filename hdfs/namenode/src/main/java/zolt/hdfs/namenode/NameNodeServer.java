package zolt.hdfs.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.InetSocketAddress;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Executors;
import java.util.concurrent.ScheduledExecutorService;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.InvalidPathException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.fs.UnresolvedLinkException;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.DFSUtil;
import org.apache.hadoop.hdfs.DFSUtilClient;
import org.apache.hadoop.hdfs.HAUtil;
import org.apache.hadoop.hdfs.HDFSPolicyProvider;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsConstants;
import org.apache.hadoop.hdfs.protocol.UnresolvedPathException;
import org.apache.hadoop.hdfs.protocol.proto.ClientNamenodeProtocolProtos.ClientNamenodeProtocol;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolPB;
import org.apache.hadoop.hdfs.protocolPB.ClientNamenodeProtocolServerSideTranslatorPB;
import org.apache.hadoop.hdfs.server.namenode.LeaseExpiredException;
import org.apache.hadoop.hdfs.server.namenode.NameNode;
import org.apache.hadoop.hdfs.server.protocol.NamespaceInfo;
import org.apache.hadoop.ipc.ProtobufRpcEngine2;
import org.apache.hadoop.ipc.RPC;
import org.apache.hadoop.ipc.RetryCache;
import org.apache.hadoop.ipc.StandbyException;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.DataChecksum;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.fs.ZoltLibrary;
import zolt.hdfs.block.Generations;
import zolt.hdfs.namespace.Callers;
import zolt.hdfs.namespace.Folder;
import zolt.hdfs.namespace.Holders;
import zolt.hdfs.namespace.Locks;
import zolt.hdfs.namespace.Names;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.NodeHosts;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.Root;
import zolt.hdfs.namespace.SafeMode;
import zolt.hdfs.namespace.ServiceFolder;
import zolt.hdfs.namespace.Space;

/** A NameNode on a folder: Hadoop's own RPC server before the calls of this package. */
public final class NameNodeServer implements AutoCloseable {
    private static final Logger LOG = LoggerFactory.getLogger(NameNodeServer.class);

    /** How long what the user database says is taken for granted, in seconds. */
    static final String ACCOUNTS_KEY = "zolt.hdfs.accounts.cache.secs";
    private static final int ACCOUNTS_DEFAULT = 30;

    /** Whether each change is forced to the disk before it is answered. */
    static final String FORCE_KEY = "zolt.hdfs.force.changes";

    private static final long HOUSEKEEPING_SECONDS = 60;

    private final ServiceFolder service;
    private final RPC.Server server;
    private final StatusPage page;
    private final RefusalWords refusals;
    /** Null where nobody needs one. */
    private final DelegationTokens tokens;
    private final Calls calls = new Calls();
    private final ScheduledExecutorService housekeeper;

    /** Begins to serve. The calling thread, and so each that is started here, has been confined before. */
    public NameNodeServer(Configuration conf, Root root) throws IOException {
        Duration accounts = Duration.ofSeconds(conf.getInt(ACCOUNTS_KEY, ACCOUNTS_DEFAULT));
        refusals = new RefusalWords(root);
        Folder folder = new Folder(root, new Names(accounts), refusals);
        service = new ServiceFolder(root);
        Holders holders = new Holders(service);
        OpenFiles.Limits limits = new OpenFiles.Limits(Duration.ofMillis(HdfsConstants.LEASE_SOFTLIMIT_PERIOD),
                Duration.ofSeconds(conf.getLong(DFSConfigKeys.DFS_LEASE_HARDLIMIT_KEY,
                        DFSConfigKeys.DFS_LEASE_HARDLIMIT_DEFAULT)));
        Parts parts = Parts.of(folder, holders, new Locks(service), limits);
        NamespaceInfo namespace = namespace(service);
        Datanodes datanodes = new Datanodes(conf);
        BlockKeys keys = new BlockKeys(conf, namespace.getBlockPoolID());
        FsServerDefaults defaults = defaults(conf);
        ZoltLibrary.setDefaults(defaults.getBlockSize(), defaults.getReplication());
        NativeFiles.setDefaults(defaults.getBlockSize(), defaults.getReplication());

        Callers callers = callers(conf, accounts);
        Dispatch.State state = new Dispatch.State(answered(conf), calls, new SafeMode(service), forcing(conf), root);
        Dispatch.Admission users = () -> callers.of(Requests.user().getShortUserName());
        tokens = DelegationTokens.of(conf, service);
        KnownPaths paths = new KnownPaths();
        WrittenFiles written = new WrittenFiles(conf, parts, paths);
        List<Object> subjects = new ArrayList<>(subjects(conf, parts, paths, written,
                new Blocks(namespace.getBlockPoolID(), datanodes, keys)));
        subjects.add(new ServiceCalls(conf, defaults, datanodes, new Space(root), state.safeMode()));
        subjects.add(new TokenCalls(tokens));
        server = server(conf, Dispatch.serve(ClientProtocol.class, subjects, users, state), tokens);
        Protocols others = new Protocols(conf, server, state);
        others.datanodes(new DatanodeCalls(namespace, datanodes, keys), new DatanodeAdmission(conf, callers));
        others.namenodes(new NamenodeCalls(namespace), users);
        others.groups(new GroupsOfUsers(folder.names()), users);
        others.reconfiguration(users);
        others.refreshing(new Refreshing(server, callers, authorizes(conf)), users);
        page = new StatusPage(conf, root.folder(), datanodes, calls, written, refusals);
        server.start();

        housekeeper = Executors.newSingleThreadScheduledExecutor(task -> {
            Thread thread = new Thread(task, "housekeeper");
            thread.setDaemon(true);
            return thread;
        });
        housekeeper.scheduleWithFixedDelay(() -> keepHouse(keys, holders, limits, written), HOUSEKEEPING_SECONDS,
                HOUSEKEEPING_SECONDS, TimeUnit.SECONDS);
        LOG.info("Serving {} at {}", root.folder(), address());
    }

    private Dispatch.Forcing forcing(Configuration conf) {
        if (!conf.getBoolean(FORCE_KEY, false)) {
            return () -> { };
        }
        return () -> {
            long begun = System.nanoTime();
            service.force();
            calls.done("forced to the disk", System.nanoTime() - begun, null);
        };
    }

    /** Where NameNodes share a folder, the keys of the one that {@code dfs.ha.namenode.id} or the address names. */
    static void chooseAmongNameNodes(Configuration conf) {
        String service = DFSUtil.getNamenodeNameServiceId(conf);
        NameNode.initializeGenericKeys(conf, service, HAUtil.getNameNodeId(conf, service));
    }

    /** The calls on files. */
    private static List<Object> subjects(Configuration conf, Parts parts, KnownPaths paths, WrittenFiles written,
            Blocks blocks) throws IOException {
        FileStatuses forms = new FileStatuses(parts.statuses(), parts.folder().names());
        Generations generations = parts.folder().root().withDescriptor(open -> Generations.of(open, open));
        BlockLimits limits = BlockLimits.of(conf);
        Locations locations = new Locations(parts, blocks, limits, generations, paths, new NodeHosts(conf));
        int pageSize = conf.getInt(DFSConfigKeys.DFS_LIST_LIMIT, DFSConfigKeys.DFS_LIST_LIMIT_DEFAULT);
        StatusCalls single = new StatusCalls(parts, forms, locations, paths, pageSize);
        return List.of(single, new BatchedListings(conf, single, pageSize), new TreeCalls(parts, paths),
                new AttributeCalls(parts), new AclCalls(parts), new XAttrCalls(conf, parts),
                new WriteCalls(parts, blocks, limits, generations, forms, paths, written),
                new WrittenFiles.Listing(written));
    }

    private static RetryCache answered(Configuration conf) {
        return new RetryCache("answered",
                conf.getFloat(DFSConfigKeys.DFS_NAMENODE_RETRY_CACHE_HEAP_PERCENT_KEY,
                        DFSConfigKeys.DFS_NAMENODE_RETRY_CACHE_HEAP_PERCENT_DEFAULT),
                TimeUnit.MILLISECONDS.toNanos(conf.getLong(DFSConfigKeys.DFS_NAMENODE_RETRY_CACHE_EXPIRYTIME_MILLIS_KEY,
                        DFSConfigKeys.DFS_NAMENODE_RETRY_CACHE_EXPIRYTIME_MILLIS_DEFAULT)));
    }

    private static Callers callers(Configuration conf, Duration time) throws IOException {
        String service = UserGroupInformation.getLoginUser().getShortUserName();
        return new Callers(service, conf.get(DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_KEY,
                DFSConfigKeys.DFS_PERMISSIONS_SUPERUSERGROUP_DEFAULT), time);
    }

    /** Names that are the folder's, not this process's: every NameNode on it tells DataNodes the same. */
    private static NamespaceInfo namespace(ServiceFolder service) throws IOException {
        String cluster = service.name("cluster");
        int id = cluster.hashCode() & Integer.MAX_VALUE;
        return new NamespaceInfo(id, "CID-" + cluster, "BP-" + id + "-127.0.0.1-" + Integer.toUnsignedLong(id), 0);
    }

    private static FsServerDefaults defaults(Configuration conf) {
        return new FsServerDefaults(
                conf.getLongBytes(HdfsClientConfigKeys.DFS_BLOCK_SIZE_KEY, HdfsClientConfigKeys.DFS_BLOCK_SIZE_DEFAULT),
                conf.getInt(HdfsClientConfigKeys.DFS_BYTES_PER_CHECKSUM_KEY,
                        HdfsClientConfigKeys.DFS_BYTES_PER_CHECKSUM_DEFAULT),
                conf.getInt(HdfsClientConfigKeys.DFS_CLIENT_WRITE_PACKET_SIZE_KEY,
                        HdfsClientConfigKeys.DFS_CLIENT_WRITE_PACKET_SIZE_DEFAULT),
                (short) conf.getInt(HdfsClientConfigKeys.DFS_REPLICATION_KEY,
                        HdfsClientConfigKeys.DFS_REPLICATION_DEFAULT),
                conf.getInt(CommonConfigurationKeys.IO_FILE_BUFFER_SIZE_KEY,
                        CommonConfigurationKeys.IO_FILE_BUFFER_SIZE_DEFAULT),
                false, conf.getLong("fs.trash.interval", 0), DataChecksum.Type.CRC32C, "", (byte) 0);
    }

    private static RPC.Server server(Configuration conf, ClientProtocol clients, DelegationTokens tokens)
            throws IOException {
        RPC.setProtocolEngine(conf, ClientNamenodeProtocolPB.class, ProtobufRpcEngine2.class);
        InetSocketAddress address = DFSUtilClient.getNNAddress(conf);
        RPC.Server server = new RPC.Builder(conf)
                .setProtocol(ClientNamenodeProtocolPB.class)
                .setInstance(ClientNamenodeProtocol.newReflectiveBlockingService(
                        new ClientNamenodeProtocolServerSideTranslatorPB(clients)))
                .setBindAddress(address.getHostString())
                .setPort(address.getPort())
                .setNumHandlers(conf.getInt(DFSConfigKeys.DFS_NAMENODE_HANDLER_COUNT_KEY,
                        DFSConfigKeys.DFS_NAMENODE_HANDLER_COUNT_DEFAULT))
                .setVerbose(false)
                .setSecretManager(tokens)
                .build();
        if (authorizes(conf)) {
            server.refreshServiceAcl(conf, new HDFSPolicyProvider());
        }
        server.addTerseExceptions(FileNotFoundException.class, HadoopIllegalArgumentException.class,
                FileAlreadyExistsException.class, InvalidPathException.class, ParentNotDirectoryException.class,
                UnresolvedLinkException.class, AlreadyBeingCreatedException.class, AccessControlException.class,
                LeaseExpiredException.class, PathIsNotEmptyDirectoryException.class,
                UnsupportedOperationException.class, StandbyException.class);
        server.addSuppressedLoggingExceptions(UnresolvedPathException.class);
        return server;
    }

    private static boolean authorizes(Configuration conf) {
        return conf.getBoolean(CommonConfigurationKeys.HADOOP_SECURITY_AUTHORIZATION, false);
    }

    /** Where it serves. */
    public InetSocketAddress address() {
        return server.getListenerAddress();
    }

    int pagePort() {
        return page.port();
    }

    private static void keepHouse(BlockKeys keys, Holders holders, OpenFiles.Limits limits, WrittenFiles written) {
        try {
            keys.renew();
            written.sweep();
            holders.sweep(limits.hard().multipliedBy(2));
        } catch (IOException | RuntimeException e) {
            LOG.warn("Housekeeping failed and will be tried again", e);
        }
    }

    /** Serves until it is closed, or the process ends. */
    public void join() throws InterruptedException {
        server.join();
    }

    @Override
    public void close() {
        housekeeper.shutdownNow();
        server.stop();
        page.close();
        refusals.close();
        if (tokens != null) {
            tokens.stopThreads();
        }
        service.close();
    }
}
