package zolt.hdfs.filesystem;

import java.io.IOException;
import java.net.URI;
import java.net.URISyntaxException;
import java.util.EnumSet;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.AbstractFileSystem;
import org.apache.hadoop.fs.DelegateToFileSystem;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.LocatedFileStatus;
import org.apache.hadoop.fs.Options;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsAction;

/** {@code zolt://} for programs that use {@link org.apache.hadoop.fs.FileContext}. */
public final class ZoltFs extends DelegateToFileSystem {
    /** As {@link AbstractFileSystem} makes it by reflection. */
    public ZoltFs(URI uri, Configuration conf) throws IOException, URISyntaxException {
        super(uri, new ZoltFileSystem(), conf, ZoltFileSystem.SCHEME, false);
    }

    /** A rename that may replace is one step, and no removal before it. */
    @Override
    @SuppressWarnings("deprecation")
    public void renameInternal(Path src, Path dst, boolean overwrite) throws IOException {
        checkPath(src);
        checkPath(dst);
        ((ZoltFileSystem) fsImpl).rename(src, dst, overwrite ? Options.Rename.OVERWRITE : Options.Rename.NONE);
    }

    @Override
    public RemoteIterator<FileStatus> listStatusIterator(Path f) throws IOException {
        checkPath(f);
        return fsImpl.listStatusIterator(f);
    }

    @Override
    public RemoteIterator<LocatedFileStatus> listLocatedStatus(Path f) throws IOException {
        checkPath(f);
        return fsImpl.listLocatedStatus(f);
    }

    @Override
    public void access(Path path, FsAction mode) throws IOException {
        checkPath(path);
        fsImpl.access(path, mode);
    }

    @Override
    public void modifyAclEntries(Path path, List<AclEntry> entries) throws IOException {
        fsImpl.modifyAclEntries(path, entries);
    }

    @Override
    public void removeAclEntries(Path path, List<AclEntry> entries) throws IOException {
        fsImpl.removeAclEntries(path, entries);
    }

    @Override
    public void removeDefaultAcl(Path path) throws IOException {
        fsImpl.removeDefaultAcl(path);
    }

    @Override
    public void removeAcl(Path path) throws IOException {
        fsImpl.removeAcl(path);
    }

    @Override
    public void setAcl(Path path, List<AclEntry> entries) throws IOException {
        fsImpl.setAcl(path, entries);
    }

    @Override
    public AclStatus getAclStatus(Path path) throws IOException {
        return fsImpl.getAclStatus(path);
    }

    @Override
    public void setXAttr(Path path, String name, byte[] value, EnumSet<XAttrSetFlag> flag) throws IOException {
        fsImpl.setXAttr(path, name, value, flag);
    }

    @Override
    public byte[] getXAttr(Path path, String name) throws IOException {
        return fsImpl.getXAttr(path, name);
    }

    @Override
    public Map<String, byte[]> getXAttrs(Path path) throws IOException {
        return fsImpl.getXAttrs(path);
    }

    @Override
    public Map<String, byte[]> getXAttrs(Path path, List<String> names) throws IOException {
        return fsImpl.getXAttrs(path, names);
    }

    @Override
    public List<String> listXAttrs(Path path) throws IOException {
        return fsImpl.listXAttrs(path);
    }

    @Override
    public void removeXAttr(Path path, String name) throws IOException {
        fsImpl.removeXAttr(path, name);
    }
}
