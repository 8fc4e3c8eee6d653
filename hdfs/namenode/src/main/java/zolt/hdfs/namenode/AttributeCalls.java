package zolt.hdfs.namenode;

import java.io.IOException;
import org.apache.hadoop.fs.permission.FsPermission;
import zolt.hdfs.namespace.Attributes;
import zolt.hdfs.namespace.HdfsPath;

/** The calls that change what an entry is like. */
final class AttributeCalls {
    private final Attributes attributes;

    AttributeCalls(Parts parts) {
        attributes = parts.attributes();
    }

    @Dispatch.Changes("set permission for")
    void setPermission(String src, FsPermission permission) throws IOException {
        attributes.mode(HdfsPath.of(src), permission.toShort());
    }

    @Dispatch.Changes("set owner for")
    void setOwner(String src, String username, String groupname) throws IOException {
        attributes.owner(HdfsPath.of(src), username, groupname);
    }

    @Dispatch.Changes("set times")
    void setTimes(String src, long mtime, long atime) throws IOException {
        attributes.times(HdfsPath.of(src), mtime, atime);
    }

    @Dispatch.Changes("set replication for")
    boolean setReplication(String src, short replication) throws IOException {
        return attributes.replication(HdfsPath.of(src), Attributes.requireCopies(src, replication));
    }
}
