package zolt.hdfs.namenode;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.XAttrNotFoundException;
import org.apache.hadoop.security.AccessControlException;
import zolt.hdfs.namespace.Acting;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.NativeFiles;
import zolt.hdfs.namespace.SystemCallException;
import zolt.hdfs.namespace.XAttributes;

/** The calls for extended attributes: those of users, and to the superuser trusted ones. */
final class XAttrCalls {
    private final XAttributes attributes;
    private final int mostBytes;

    XAttrCalls(Configuration conf, Parts parts) {
        attributes = parts.xattributes();
        mostBytes = conf.getInt(DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_KEY,
                DFSConfigKeys.DFS_NAMENODE_MAX_XATTR_SIZE_DEFAULT);
    }

    @Dispatch.Changes("set XAttr on")
    void setXAttr(String src, XAttr xAttr, EnumSet<XAttrSetFlag> flag) throws IOException {
        String name = allowed(xAttr);
        byte[] value = xAttr.getValue() == null ? new byte[0] : xAttr.getValue();
        if (flag == null || flag.isEmpty()) {
            throw new HadoopIllegalArgumentException("A flag must be specified.");
        }
        int size = xAttr.getName().getBytes(StandardCharsets.UTF_8).length + value.length;
        if (size > mostBytes) {
            throw new HadoopIllegalArgumentException("The XAttr is too big. The maximum combined size of the name and"
                    + " value is " + mostBytes + ", but the total size is " + size);
        }
        int how = flag.size() == 2 ? 0
                : flag.contains(XAttrSetFlag.CREATE) ? NativeFiles.XATTR_CREATE : NativeFiles.XATTR_REPLACE;
        int result = attributes.set(HdfsPath.of(src), name, value, how);
        if (result != 0) {
            XAttrSetFlag.validate(xAttr.getName(), result == SystemCallException.EEXIST, flag);
        }
    }

    List<XAttr> getXAttrs(String src, List<XAttr> xAttrs) throws IOException {
        if (xAttrs == null || xAttrs.isEmpty()) {
            return listXAttrs(src);
        }
        List<String> names = new ArrayList<>();
        for (XAttr each : xAttrs) {
            names.add(allowed(each));
        }
        Map<String, byte[]> all = attributes.all(HdfsPath.of(src));
        List<XAttr> found = new ArrayList<>();
        for (String name : names) {
            if (!all.containsKey(name)) {
                throw new XAttrNotFoundException();
            }
            found.add(XAttrHelper.buildXAttr(name, value(all.get(name))));
        }
        return found;
    }

    List<XAttr> listXAttrs(String src) throws IOException {
        List<XAttr> visible = new ArrayList<>();
        attributes.all(HdfsPath.of(src)).forEach((name, value) -> {
            if (name.startsWith("user.") || name.startsWith("trusted.") && Acting.now().superuser()) {
                visible.add(XAttrHelper.buildXAttr(name, value(value)));
            }
        });
        return visible;
    }

    /** HDFS has no empty value, only none. */
    private static byte[] value(byte[] bytes) {
        return bytes.length == 0 ? null : bytes;
    }

    @Dispatch.Changes("remove XAttr entry on")
    void removeXAttr(String src, XAttr xAttr) throws IOException {
        if (attributes.remove(HdfsPath.of(src), allowed(xAttr)) != 0) {
            throw new XAttrNotFoundException("No matching attributes found for remove operation");
        }
    }

    /** The kernel's name of an attribute that the caller may touch: not those of the kernel, nor of the service. */
    private static String allowed(XAttr xAttr) throws AccessControlException {
        String name = xAttr.getNameSpace().toString().toLowerCase(Locale.ROOT) + "." + xAttr.getName();
        boolean isUsers = xAttr.getNameSpace() == XAttr.NameSpace.USER;
        boolean isSuperusers = xAttr.getNameSpace() == XAttr.NameSpace.TRUSTED && Acting.now().superuser();
        if (!isUsers && !isSuperusers || XAttributes.isOwn(name)) {
            throw new AccessControlException("User doesn't have permission for xattr: "
                    + XAttrHelper.getPrefixedName(xAttr));
        }
        return name;
    }
}
