package zolt.hdfs.filesystem;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.URI;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.EnumSet;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.BlockLocation;
import org.apache.hadoop.fs.BulkDelete;
import org.apache.hadoop.fs.CommonConfigurationKeys;
import org.apache.hadoop.fs.CommonPathCapabilities;
import org.apache.hadoop.fs.ContentSummary;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileChecksum;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FsConstants;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.FsStatus;
import org.apache.hadoop.fs.InvalidPathHandleException;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.MultipartUploaderBuilder;
import org.apache.hadoop.fs.Options;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.PathFilter;
import org.apache.hadoop.fs.PathHandle;
import org.apache.hadoop.fs.QuotaUsage;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.StorageStatistics;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.impl.FileSystemMultipartUploaderBuilder;
import org.apache.hadoop.fs.impl.PathCapabilitiesSupport;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsCreateModes;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.fs.statistics.IOStatistics;
import org.apache.hadoop.fs.statistics.IOStatisticsSource;
import org.apache.hadoop.fs.statistics.StoreStatisticNames;
import org.apache.hadoop.fs.statistics.impl.IOStatisticsBinding;
import org.apache.hadoop.fs.statistics.impl.IOStatisticsStore;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.client.HdfsClientConfigKeys;
import org.apache.hadoop.hdfs.protocol.UnresolvedPathException;
import org.apache.hadoop.hdfs.server.namenode.AclRules;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.DataChecksum;
import org.apache.hadoop.util.Progressable;
import zolt.fs.ZoltLibrary;
import zolt.hdfs.namespace.Acls;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.Attributes;
import zolt.hdfs.namespace.Contents;
import zolt.hdfs.namespace.DataFile;
import zolt.hdfs.namespace.Details;
import zolt.hdfs.namespace.Entries;
import zolt.hdfs.namespace.Entry;
import zolt.hdfs.namespace.Folder;
import zolt.hdfs.namespace.Forgotten;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.HdfsXAttributes;
import zolt.hdfs.namespace.Listings;
import zolt.hdfs.namespace.Making;
import zolt.hdfs.namespace.Names;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.PlainFiles;
import zolt.hdfs.namespace.PlainStatuses;
import zolt.hdfs.namespace.Removing;
import zolt.hdfs.namespace.Renaming;
import zolt.hdfs.namespace.Root;
import zolt.hdfs.namespace.XAttributes;

/**
 * {@code zolt:///path}: the file system where it is mounted, with no server between. Each operation is the kernel's, with
 * the rights of the user for whom this object was made; streams go on with the descriptor that they were opened with.
 */
public final class ZoltFileSystem extends FileSystem implements IOStatisticsSource {
    static final String SCHEME = "zolt";
    static final URI NAME = URI.create("zolt:///");

    /** The folder whose paths these are; that of the machine itself, when it is not told. */
    static final String ROOT_KEY = "fs.zolt.root";
    /** Where this process finds that folder, when it is mounted elsewhere for it alone. */
    static final String MOUNT_KEY = "fs.zolt.mount";
    /** As for the service: how long what the user database says is taken for granted, in seconds. */
    private static final String ACCOUNTS_KEY = "zolt.hdfs.accounts.cache.secs";
    private static final int ACCOUNTS_DEFAULT = 30;
    /** HDFS's own limit for the name and the value of an attribute. */
    private static final String XATTR_KEY = "dfs.namenode.fs-limits.max-xattr-size";
    private static final int XATTR_DEFAULT = 16384;

    private User user;
    private Parts parts;
    private Locations locations;
    private FsServerDefaults defaults;
    private FsPermission mask;
    private String homes;
    private Path workingDirectory;
    private final IOStatisticsStore operations = IOStatisticsBinding.iostatisticsStore().withCounters(
            StoreStatisticNames.OP_ACCESS, StoreStatisticNames.OP_APPEND,
            StoreStatisticNames.OP_CREATE, StoreStatisticNames.OP_DELETE, StoreStatisticNames.OP_GET_CONTENT_SUMMARY,
            StoreStatisticNames.OP_GET_FILE_CHECKSUM, StoreStatisticNames.OP_GET_FILE_STATUS,
            StoreStatisticNames.OP_GET_STATUS, StoreStatisticNames.OP_LIST_LOCATED_STATUS,
            StoreStatisticNames.OP_LIST_STATUS, StoreStatisticNames.OP_MKDIRS, StoreStatisticNames.OP_MODIFY_ACL_ENTRIES,
            StoreStatisticNames.OP_MSYNC, StoreStatisticNames.OP_OPEN, StoreStatisticNames.OP_REMOVE_ACL,
            StoreStatisticNames.OP_REMOVE_ACL_ENTRIES, StoreStatisticNames.OP_REMOVE_DEFAULT_ACL,
            StoreStatisticNames.OP_RENAME, StoreStatisticNames.OP_SET_ACL, StoreStatisticNames.OP_SET_OWNER,
            StoreStatisticNames.OP_SET_PERMISSION, StoreStatisticNames.OP_SET_TIMES, StoreStatisticNames.OP_TRUNCATE,
            StoreStatisticNames.OP_XATTR_GET_MAP, StoreStatisticNames.OP_XATTR_GET_NAMED,
            StoreStatisticNames.OP_XATTR_GET_NAMED_MAP, StoreStatisticNames.OP_XATTR_LIST).build();

    /** What works on the folder. */
    private record Parts(Folder folder, PlainStatuses statuses, PlainFiles files, Making making, Removing removing,
            Renaming renaming, Attributes attributes, Acls acls, HdfsXAttributes xattributes) {}

    @Override
    public String getScheme() {
        return SCHEME;
    }

    @Override
    public URI getUri() {
        return NAME;
    }

    /** Nobody needs a token: the kernel knows who asks. */
    @Override
    public String getCanonicalServiceName() {
        return null;
    }

    @Override
    public void initialize(URI name, Configuration conf) throws IOException {
        super.initialize(name, conf);
        if (name.getAuthority() != null) {
            throw new IOException(name + " names a host: it is zolt:///PATH, a path of this machine");
        }
        setConf(conf);
        Forgotten.prepare();
        // A class that is first needed in an operation is loaded with the rights of its user, who may not read the jars:
        // they are open from here on, since each is looked into for what none has.
        ZoltFileSystem.class.getClassLoader().getResource("no/such/resource");
        user = new User(UserGroupInformation.getCurrentUser().getShortUserName(),
                conf.getInt(ACCOUNTS_KEY, ACCOUNTS_DEFAULT));
        mask = FsPermission.getUMask(conf);
        homes = conf.get(HdfsClientConfigKeys.DFS_USER_HOME_DIR_PREFIX_KEY,
                HdfsClientConfigKeys.DFS_USER_HOME_DIR_PREFIX_DEFAULT);
        defaults = new FsServerDefaults(
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
        ZoltLibrary.setDefaults(defaults.getBlockSize(), defaults.getReplication());
        NativeFiles.setDefaults(defaults.getBlockSize(), defaults.getReplication());
        parts = parts(conf, defaults);
        locations = new Locations(conf, parts.files());
        workingDirectory = getHomeDirectory();
    }

    private static Parts parts(Configuration conf, FsServerDefaults defaults) throws IOException {
        String known = conf.get(ROOT_KEY, "/");
        Root root = Root.mounted(known, conf.get(MOUNT_KEY, known));
        Folder folder = new Folder(root, new Names(Duration.ofSeconds(conf.getInt(ACCOUNTS_KEY, ACCOUNTS_DEFAULT))));
        Making making = new Making(folder, Making.maskOfProcess());
        Removing removing = new Removing(folder, new Listings(folder, null));
        return new Parts(folder, new PlainStatuses(folder,
                new Details(defaults.getBlockSize(), defaults.getReplication(), false)),
                new PlainFiles(folder, making, removing), making, removing, new Renaming(folder), new Attributes(folder),
                new Acls(folder), new HdfsXAttributes(new XAttributes(folder), conf.getInt(XATTR_KEY, XATTR_DEFAULT)));
    }

    /** What is done with a path, as the user. */
    @FunctionalInterface
    private interface Operation<T> {
        T on(HdfsPath path) throws IOException;
    }

    @FunctionalInterface
    private interface Change {
        void on(HdfsPath path) throws IOException;
    }

    private <T> T read(String what, Path path, Operation<T> operation) throws IOException {
        return read(what, HdfsPath.of(text(path)), operation);
    }

    private <T> T read(String what, HdfsPath path, Operation<T> operation) throws IOException {
        statistics.incrementReadOps(1);
        operations.incrementCounter(what);
        if (path.isRoot()) {
            parts.folder().root().requireMounted();  // there is a folder below every mount
        }
        try {
            return resolve(path, operation);
        } catch (FileNotFoundException e) {
            parts.folder().root().requireMounted();
            throw e;
        }
    }

    private <T> T write(String what, HdfsPath path, Operation<T> operation) throws IOException {
        countWrite(what);
        parts.folder().root().requireMounted();
        return resolve(path, operation);
    }

    private void countWrite(String what) {
        statistics.incrementWriteOps(1);
        operations.incrementCounter(what);
    }

    private void change(String what, Path path, Change change) throws IOException {
        write(what, HdfsPath.of(text(path)), at -> {
            change.on(at);
            return null;
        });
    }

    /** Goes on where a link leads that the kernel was told not to follow, or that lies on a mount where it follows none. */
    private <T> T resolve(HdfsPath path, Operation<T> operation) throws IOException {
        HdfsPath at = path;
        for (int links = 0; links <= FsConstants.MAX_PATH_LINKS; links++) {
            try (Acting as = user.acting()) {
                try {
                    return operation.on(at);
                } catch (UnresolvedPathException e) {
                    at = parts.folder().resolved(at, e);
                }
            }
        }
        throw new IOException("Possible cyclic loop while following symbolic link " + path);
    }

    private String text(Path path) {
        Path whole = fixRelativePart(path);
        checkPath(whole);
        return whole.toUri().getPath();
    }

    private static Path path(HdfsPath path) {
        return new Path(SCHEME, null, path.toString());
    }

    @Override
    public Path getWorkingDirectory() {
        return workingDirectory;
    }

    @Override
    public void setWorkingDirectory(Path directory) {
        Path whole = fixRelativePart(directory);
        checkPath(whole);
        workingDirectory = makeQualified(new Path(whole.toUri().getPath()));
    }

    @Override
    protected Path getInitialWorkingDirectory() {
        return getHomeDirectory();
    }

    @Override
    public Path getHomeDirectory() {
        return makeQualified(new Path(homes + "/" + user.name()));
    }

    // ---- What is there

    @Override
    public FileStatus getFileStatus(Path f) throws IOException {
        HdfsPath path = HdfsPath.of(text(f));
        return read(StoreStatisticNames.OP_GET_FILE_STATUS, path, at -> status(path, parts.statuses().require(at)));
    }

    @Override
    public FileStatus getFileLinkStatus(Path f) throws IOException {
        HdfsPath path = HdfsPath.of(text(f));
        return read(StoreStatisticNames.OP_GET_FILE_STATUS, path, at -> {
            FileStatus status = status(path, parts.statuses().requireLink(at));
            if (status.isSymlink()) {
                status.setSymlink(LinkTargets.qualified(NAME, status.getPath(), status.getSymlink()));
            }
            return status;
        });
    }

    private ZoltFileStatus status(HdfsPath path, Entry entry) throws IOException {
        return status(path(path), path, entry);
    }

    private ZoltFileStatus status(Path shown, HdfsPath path, Entry entry) throws IOException {
        return new ZoltFileStatus(this, entry, shown, entry.isLink() ? new Path(parts.folder().linkTarget(path)) : null,
                parts.folder().names().user(entry.uid()), parts.folder().names().group(entry.gid()));
    }

    /** What a status tells only when it is asked. A file that is gone by then has the usual values. */
    Details details(ZoltFileStatus status) {
        Details usual = new Details(defaults.getBlockSize(), defaults.getReplication(), false);
        if (status.isSymlink()) {
            return usual;
        }
        try {
            return resolve(HdfsPath.of(status.getPath().toUri().getPath()), at -> {
                Details details = status.isFile() ? parts.statuses().details(at, status.inode()) : usual;
                return new Details(details.blockSize(), details.replication(), parts.statuses().hasAcl(at));
            });
        } catch (IOException e) {
            LOG.debug("The details of {} cannot be had", status.getPath(), e);
            return usual;
        }
    }

    @Override
    public FileStatus[] listStatus(Path f) throws IOException {
        List<FileStatus> all = new ArrayList<>();
        try (Listed<FileStatus> listed = list(f, StoreStatisticNames.OP_LIST_STATUS, status -> status)) {
            while (listed.hasNext()) {
                all.add(listed.next());
            }
        }
        FileStatus[] sorted = all.toArray(new FileStatus[0]);
        Arrays.sort(sorted, Comparator.comparing(status -> status.getPath().getName()));
        return sorted;
    }

    @Override
    public RemoteIterator<FileStatus> listStatusIterator(Path f) throws IOException {
        return list(f, StoreStatisticNames.OP_LIST_STATUS, status -> status);
    }

    @Override
    protected RemoteIterator<LocatedFileStatus> listLocatedStatus(Path f, PathFilter filter) throws IOException {
        return list(f, StoreStatisticNames.OP_LIST_LOCATED_STATUS,
                status -> filter.accept(status.getPath()) ? located(status) : null);
    }

    private LocatedFileStatus located(FileStatus status) throws IOException {
        return new LocatedFileStatus(status, status.isFile()
                ? locations.ofListed(HdfsPath.of(status.getPath().toUri().getPath()), status) : null);
    }

    @FunctionalInterface
    private interface Shown<T> {
        T of(FileStatus status) throws IOException;
    }

    private <T> Listed<T> list(Path f, String what, Shown<T> shown) throws IOException {
        HdfsPath path = HdfsPath.of(text(f));
        String prefix = path.isRoot() ? "/" : path + "/";
        return read(what, path, at -> {
            Entry entry = parts.statuses().require(at);
            if (!entry.isDirectory()) {
                return Listed.one(shown.of(status(path, entry)));
            }
            return Listed.of(parts.folder(), at, user, item -> {
                T answer = shown.of(listed(new Path(SCHEME, null, prefix + item.text()), at, item));
                return answer;
            });
        });
    }

    /** Programs read what a link in a directory stands for, as with every local file; one that leads nowhere is shown. */
    private FileStatus listed(Path shown, HdfsPath directory, Entries.Item item) throws IOException {
        if (!item.entry().isLink()) {
            return status(shown, null, item.entry());
        }
        HdfsPath path = directory.child(item.text());
        try {
            return status(shown, path, parts.statuses().require(parts.statuses().resolved(path)));
        } catch (IOException e) {
            LOG.debug("{} leads nowhere", path, e);
            return status(shown, path, item.entry());
        }
    }

    @Override
    public ContentSummary getContentSummary(Path f) throws IOException {
        Contents.Sum sum = read(StoreStatisticNames.OP_GET_CONTENT_SUMMARY, f, at -> {
            parts.statuses().require(at);
            return parts.statuses().contents().of(at);
        });
        return new ContentSummary.Builder().length(sum.length()).fileCount(sum.files() + sum.links())
                .directoryCount(sum.directories()).spaceConsumed(sum.copies()).erasureCodingPolicy("").build();
    }

    /** There are no quotas but those of the file system itself, which tells users theirs by its own means. */
    @Override
    public QuotaUsage getQuotaUsage(Path f) throws IOException {
        return getContentSummary(f);
    }

    @Override
    public void access(Path f, FsAction mode) throws IOException {
        read(StoreStatisticNames.OP_ACCESS, f, at -> {
            parts.attributes().check(at, mode);
            return null;
        });
    }

    @Override
    public BlockLocation[] getFileBlockLocations(FileStatus file, long start, long length) throws IOException {
        return file == null ? null : getFileBlockLocations(file.getPath(), start, length);
    }

    @Override
    public BlockLocation[] getFileBlockLocations(Path f, long start, long length) throws IOException {
        if (start < 0 || length < 0) {
            throw new IllegalArgumentException("Invalid start or len parameter");
        }
        return read("op_get_file_block_locations", f, at -> locations.of(at, start, length));
    }

    @Override
    public FileChecksum getFileChecksum(Path f, long length) throws IOException {
        if (length < 0) {
            throw new HadoopIllegalArgumentException("a checksum of " + length + " bytes");
        }
        DataFile file = read(StoreStatisticNames.OP_GET_FILE_CHECKSUM, f, parts.files()::toRead);
        try (DataFile closing = file) {
            long blockSize = getFileStatus(f).getBlockSize();
            return Checksums.of(getConf(), file.channel(), length, blockSize, defaults.getBytesPerChecksum());
        }
    }

    @Override
    public FileChecksum getFileChecksum(Path f) throws IOException {
        return getFileChecksum(f, Long.MAX_VALUE);
    }

    @Override
    public FsStatus getStatus(Path f) throws IOException {
        long[] space = read(StoreStatisticNames.OP_GET_STATUS, f == null ? new Path("/") : f, parts.files()::space);
        return new FsStatus(space[0], space[0] - space[1], space[1]);
    }

    @Override
    @Deprecated
    public FsServerDefaults getServerDefaults() {
        return defaults;
    }

    @Override
    public FsServerDefaults getServerDefaults(Path f) {
        return defaults;
    }

    @Override
    @Deprecated
    public long getDefaultBlockSize() {
        return defaults.getBlockSize();
    }

    @Override
    @Deprecated
    public short getDefaultReplication() {
        return defaults.getReplication();
    }

    /** Every call asks the file system itself: nothing can be behind. */
    @Override
    public void msync() {
        operations.incrementCounter(StoreStatisticNames.OP_MSYNC);
    }

    // ---- Reading and writing

    @Override
    public FSDataInputStream open(Path f, int bufferSize) throws IOException {
        return in(f, read(StoreStatisticNames.OP_OPEN, f, parts.files()::toRead), bufferSize);
    }

    private FSDataInputStream in(Path f, DataFile file, int bufferSize) {
        return new FSDataInputStream(new ZoltInputStream(f.toString(), file, statistics, bufferSize));
    }

    @Override
    protected PathHandle createPathHandle(FileStatus status, Options.HandleOpt... options) {
        return ZoltPathHandle.of(status, options);
    }

    @Override
    public FSDataInputStream open(PathHandle handle, int bufferSize) throws IOException {
        ZoltPathHandle wanted = ZoltPathHandle.of(handle);
        DataFile file;
        try {
            file = read(StoreStatisticNames.OP_OPEN, wanted.path(), parts.files()::toRead);
        } catch (FileNotFoundException e) {
            throw new InvalidPathHandleException(wanted.path() + " has no file any more", e);
        }
        if (!wanted.isOf(file.entry())) {
            file.close();
            throw new InvalidPathHandleException(wanted.path() + " has another file by now, or another content");
        }
        return in(wanted.path(), file, bufferSize);
    }

    private FsPermission masked(FsPermission permission, FsPermission usual) {
        return FsCreateModes.applyUMask(permission == null ? usual : permission, mask);
    }

    private static EnumSet<CreateFlag> flags(boolean overwrite) {
        return overwrite ? EnumSet.of(CreateFlag.CREATE, CreateFlag.OVERWRITE) : EnumSet.of(CreateFlag.CREATE);
    }

    @Override
    public FSDataOutputStream create(Path f, FsPermission permission, boolean overwrite, int bufferSize,
            short replication, long blockSize, Progressable progress) throws IOException {
        return create(f, permission, flags(overwrite), bufferSize, replication, blockSize, progress, null);
    }

    @Override
    public FSDataOutputStream create(Path f, FsPermission permission, EnumSet<CreateFlag> flags, int bufferSize,
            short replication, long blockSize, Progressable progress, Options.ChecksumOpt checksums) throws IOException {
        return make(f, masked(permission, FsPermission.getFileDefault()), flags, true, bufferSize, replication, blockSize);
    }

    @Override
    public FSDataOutputStream createNonRecursive(Path f, FsPermission permission, EnumSet<CreateFlag> flags,
            int bufferSize, short replication, long blockSize, Progressable progress) throws IOException {
        return make(f, masked(permission, FsPermission.getFileDefault()), flags, false, bufferSize, replication, blockSize);
    }

    @Override
    protected FSDataOutputStream primitiveCreate(Path f, FsPermission absolute, EnumSet<CreateFlag> flags, int bufferSize,
            short replication, long blockSize, Progressable progress, Options.ChecksumOpt checksums) throws IOException {
        return make(f, absolute, flags, true, bufferSize, replication, blockSize);
    }

    private FSDataOutputStream make(Path f, FsPermission mode, EnumSet<CreateFlag> flags, boolean parents, int bufferSize,
            short replication, long blockSize) throws IOException {
        CreateFlag.validate(flags);
        HdfsPath path = HdfsPath.toCreate(text(f));
        boolean syncs = flags.contains(CreateFlag.SYNC_BLOCK);
        if (flags.contains(CreateFlag.APPEND)) {
            try {
                return out(f, write(StoreStatisticNames.OP_APPEND, path, parts.files()::toAppend), bufferSize, syncs);
            } catch (FileNotFoundException e) {
                if (!flags.contains(CreateFlag.CREATE)) {
                    throw e;
                }
            }
        }
        OpenFiles.Creation how = new OpenFiles.Creation(mode, flags.contains(CreateFlag.CREATE),
                flags.contains(CreateFlag.OVERWRITE), parents, replication == defaults.getReplication() ? 0 : replication,
                blockSize == defaults.getBlockSize() ? 0 : blockSize);
        return out(f, write(StoreStatisticNames.OP_CREATE, path, at -> parts.files().create(at, how)), bufferSize, syncs);
    }

    private FSDataOutputStream out(Path f, DataFile file, int bufferSize, boolean syncs) throws IOException {
        return new FSDataOutputStream(new ZoltOutputStream(f.toString(), file, statistics, bufferSize, syncs), null,
                file.entry().size());
    }

    @Override
    public FSDataOutputStream append(Path f, int bufferSize, Progressable progress) throws IOException {
        DataFile file = write(StoreStatisticNames.OP_APPEND, HdfsPath.of(text(f)), parts.files()::toAppend);
        return out(f, file, bufferSize, false);
    }

    @Override
    public boolean truncate(Path f, long length) throws IOException {
        if (length < 0) {
            throw new HadoopIllegalArgumentException("Cannot truncate to a negative file size: " + length + ".");
        }
        change(StoreStatisticNames.OP_TRUNCATE, f, at -> parts.files().truncate(at, length));
        return true;
    }

    @Override
    public void concat(Path target, Path[] sources) throws IOException {
        List<HdfsPath> paths = new ArrayList<>();
        for (Path source : sources) {
            paths.add(HdfsPath.of(text(source)));
        }
        change("op_concat", target, at -> {
            List<HdfsPath> resolved = new ArrayList<>();
            for (HdfsPath path : paths) {
                resolved.add(parts.statuses().resolved(path));
            }
            parts.files().join(at, resolved);
        });
    }

    @Override
    public MultipartUploaderBuilder createMultipartUploader(Path base) {
        return new FileSystemMultipartUploaderBuilder(this, base);
    }

    // ---- The tree of names

    @Override
    public boolean mkdirs(Path f, FsPermission permission) throws IOException {
        makeDirectory(f, masked(permission, FsPermission.getDirDefault()), true);
        return true;
    }

    @Override
    protected boolean primitiveMkdir(Path f, FsPermission absolute) throws IOException {
        makeDirectory(f, absolute, true);
        return true;
    }

    @Override
    protected void primitiveMkdir(Path f, FsPermission absolute, boolean parents) throws IOException {
        makeDirectory(f, absolute, parents);
    }

    private void makeDirectory(Path f, FsPermission mode, boolean parents) throws IOException {
        write(StoreStatisticNames.OP_MKDIRS, HdfsPath.toCreate(text(f)), at -> {
            parts.making().directory(at, mode, parents);
            return null;
        });
    }

    @Override
    public boolean delete(Path f, boolean recursive) throws IOException {
        return write(StoreStatisticNames.OP_DELETE, HdfsPath.of(text(f)), at -> parts.removing().remove(at, recursive));
    }

    @Override
    public BulkDelete createBulkDelete(Path path) {
        return ZoltBulkDelete.of(this, path);
    }

    /** Removes files and empty directories; answers those that stay, and why. */
    List<Map.Entry<Path, String>> deleteEach(List<Path> paths) throws IOException {
        List<HdfsPath> all = new ArrayList<>();
        for (Path path : paths) {
            all.add(HdfsPath.of(text(path)));
        }
        List<Map.Entry<Path, String>> staying = new ArrayList<>();
        parts.folder().root().requireMounted();
        try (Acting as = user.acting()) {
            for (int i = 0; i < all.size(); i++) {
                countWrite(StoreStatisticNames.OP_DELETE);
                try {
                    resolve(all.get(i), at -> parts.removing().remove(at, false));
                } catch (IOException e) {
                    staying.add(Map.entry(paths.get(i), e.toString()));
                }
            }
        }
        return staying;
    }

    @FunctionalInterface
    private interface Move {
        boolean by(HdfsPath from, HdfsPath to) throws IOException;
    }

    private boolean move(Path from, Path to, Move move) throws IOException {
        HdfsPath source = HdfsPath.of(text(from));
        HdfsPath target = HdfsPath.toCreate(text(to));
        countWrite(StoreStatisticNames.OP_RENAME);
        return resolve(HdfsPath.ROOT, root -> {
            try {
                return move.by(source, target);
            } catch (UnresolvedPathException e) {
                // Where the kernel follows no links, neither path may have one before its end.
                return move.by(inResolved(source), inResolved(target));
            }
        });
    }

    private HdfsPath inResolved(HdfsPath path) throws IOException {
        return path.isRoot() ? path : parts.statuses().resolved(path.parent()).child(path.name());
    }

    @Override
    public boolean rename(Path from, Path to) throws IOException {
        return move(from, to, (source, target) -> parts.renaming().rename(source, target).isPresent());
    }

    @Override
    @Deprecated
    public void rename(Path from, Path to, Options.Rename... options) throws IOException {
        boolean overwrite = Arrays.asList(options).contains(Options.Rename.OVERWRITE);
        move(from, to, (source, target) -> {
            parts.renaming().rename(source, target, overwrite);
            return true;
        });
    }

    @Override
    public boolean supportsSymlinks() {
        return true;
    }

    /** The target is kept as the kernel follows it, so that every program of the machine finds the same. */
    @Override
    public void createSymlink(Path target, Path link, boolean createParent) throws IOException {
        if (!areSymlinksEnabled()) {
            throw new UnsupportedOperationException("Symlinks not supported");
        }
        String text = LinkTargets.inFileSystem(target);
        write("op_create_symlink", HdfsPath.toCreate(text(link)), at -> {
            parts.making().link(at, text, createParent);
            return null;
        });
    }

    @Override
    public Path getLinkTarget(Path f) throws IOException {
        HdfsPath path = HdfsPath.of(text(f));
        return read(StoreStatisticNames.OP_GET_FILE_STATUS, path,
                at -> status(path, parts.statuses().requireLink(at))).getSymlink();
    }

    // ---- What entries are like

    @Override
    public void setPermission(Path f, FsPermission permission) throws IOException {
        change(StoreStatisticNames.OP_SET_PERMISSION, f, at -> parts.attributes().mode(at, permission.toShort()));
    }

    @Override
    public void setOwner(Path f, String username, String groupname) throws IOException {
        if (username == null && groupname == null) {
            throw new IOException("username == null && groupname == null");
        }
        change(StoreStatisticNames.OP_SET_OWNER, f, at -> parts.attributes().owner(at, username, groupname));
    }

    @Override
    public void setTimes(Path f, long modified, long accessed) throws IOException {
        change(StoreStatisticNames.OP_SET_TIMES, f, at -> parts.attributes().times(at, modified, accessed));
    }

    @Override
    public boolean setReplication(Path f, short copies) throws IOException {
        Attributes.requireCopies(f.toString(), copies);
        return write("op_set_replication", HdfsPath.of(text(f)), at -> parts.attributes().replication(at, copies));
    }

    @Override
    public void modifyAclEntries(Path f, List<AclEntry> entries) throws IOException {
        change(StoreStatisticNames.OP_MODIFY_ACL_ENTRIES, f,
                at -> parts.acls().change(at, now -> AclRules.merge(now, entries)));
    }

    @Override
    public void removeAclEntries(Path f, List<AclEntry> entries) throws IOException {
        change(StoreStatisticNames.OP_REMOVE_ACL_ENTRIES, f,
                at -> parts.acls().change(at, now -> AclRules.remove(now, entries)));
    }

    @Override
    public void removeDefaultAcl(Path f) throws IOException {
        change(StoreStatisticNames.OP_REMOVE_DEFAULT_ACL, f, at -> parts.acls().change(at, AclRules::removeDefault));
    }

    @Override
    public void removeAcl(Path f) throws IOException {
        change(StoreStatisticNames.OP_REMOVE_ACL, f, at -> parts.acls().remove(at));
    }

    @Override
    public void setAcl(Path f, List<AclEntry> entries) throws IOException {
        change(StoreStatisticNames.OP_SET_ACL, f, at -> parts.acls().change(at, now -> AclRules.replace(now, entries)));
    }

    @Override
    public AclStatus getAclStatus(Path f) throws IOException {
        return read("op_get_acl_status", f, at -> parts.acls().status(at));
    }

    @Override
    public void setXAttr(Path f, String name, byte[] value, EnumSet<XAttrSetFlag> flags) throws IOException {
        change("op_set_xattr", f, at -> parts.xattributes().set(at, XAttrHelper.buildXAttr(name, value), flags));
    }

    @Override
    public byte[] getXAttr(Path f, String name) throws IOException {
        return read(StoreStatisticNames.OP_XATTR_GET_NAMED, f, at -> XAttrHelper.getFirstXAttrValue(
                parts.xattributes().get(at, XAttrHelper.buildXAttrAsList(name))));
    }

    @Override
    public Map<String, byte[]> getXAttrs(Path f) throws IOException {
        return read(StoreStatisticNames.OP_XATTR_GET_MAP, f,
                at -> XAttrHelper.buildXAttrMap(parts.xattributes().list(at)));
    }

    @Override
    public Map<String, byte[]> getXAttrs(Path f, List<String> names) throws IOException {
        return read(StoreStatisticNames.OP_XATTR_GET_NAMED_MAP, f,
                at -> XAttrHelper.buildXAttrMap(parts.xattributes().get(at, XAttrHelper.buildXAttrs(names))));
    }

    @Override
    public List<String> listXAttrs(Path f) throws IOException {
        return read(StoreStatisticNames.OP_XATTR_LIST, f,
                at -> new ArrayList<>(XAttrHelper.buildXAttrMap(parts.xattributes().list(at)).keySet()));
    }

    @Override
    public void removeXAttr(Path f, String name) throws IOException {
        change("op_remove_xattr", f, at -> parts.xattributes().remove(at, XAttrHelper.buildXAttr(name)));
    }

    // ---- What this can do

    @Override
    public boolean hasPathCapability(Path f, String capability) throws IOException {
        switch (PathCapabilitiesSupport.validatePathCapabilityArgs(makeQualified(f), capability)) {
            case CommonPathCapabilities.FS_APPEND:
            case CommonPathCapabilities.FS_CHECKSUMS:
            case CommonPathCapabilities.FS_CONCAT:
            case CommonPathCapabilities.FS_MULTIPART_UPLOADER:
            case CommonPathCapabilities.FS_PATHHANDLES:
            case CommonPathCapabilities.FS_PERMISSIONS:
            case CommonPathCapabilities.FS_TRUNCATE:
                return true;
            case CommonPathCapabilities.FS_ACLS:
                return knows(f, "system.posix_acl_access");
            case CommonPathCapabilities.FS_XATTRS:
                return knows(f, "user.");
            case CommonPathCapabilities.VIRTUAL_BLOCK_LOCATIONS:
                return !locations.knowsNodes();
            default:
                return super.hasPathCapability(f, capability);
        }
    }

    /** By the nearest that is there, of a path or of what is above it. */
    private boolean knows(Path f, String attribute) throws IOException {
        return read(StoreStatisticNames.OP_GET_FILE_STATUS, f, at -> {
            for (HdfsPath path = at; !path.isRoot(); path = path.parent()) {
                try {
                    return parts.files().knows(path, attribute);
                } catch (FileNotFoundException e) {
                    continue;
                }
            }
            return parts.files().knows(HdfsPath.ROOT, attribute);
        });
    }

    @Override
    public IOStatistics getIOStatistics() {
        return operations;
    }

    @Override
    public StorageStatistics getStorageStatistics() {
        StorageStatistics own = getGlobalStorageStatistics().get(SCHEME);
        return own == null ? super.getStorageStatistics() : own;
    }
}
