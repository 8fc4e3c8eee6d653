package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.EnumSet;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.HdfsXAttributes;

/** The calls for extended attributes. */
final class XAttrCalls {
    private final HdfsXAttributes attributes;

    XAttrCalls(Configuration conf, Parts parts) {
        attributes = new HdfsXAttributes(parts.xattributes(), conf.getInt(DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_KEY,
                DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_DEFAULT));
    }

    @Dispatch.Changes("set XAttr on")
    void setXAttr(String src, XAttr xAttr, EnumSet<XAttrSetFlag> flag) throws IOException {
        attributes.set(HdfsPath.of(src), xAttr, flag);
    }

    List<XAttr> getXAttrs(String src, List<XAttr> xAttrs) throws IOException {
        return attributes.get(HdfsPath.of(src), xAttrs);
    }

    List<XAttr> listXAttrs(String src) throws IOException {
        return attributes.list(HdfsPath.of(src));
    }

    @Dispatch.Changes("remove XAttr entry on")
    void removeXAttr(String src, XAttr xAttr) throws IOException {
        attributes.remove(HdfsPath.of(src), xAttr);
    }
}
