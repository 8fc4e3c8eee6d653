package zolt.hdfs.namespace;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.XAttr;
import org.apache.hadoop.fs.XAttrSetFlag;
import org.apache.hadoop.hdfs.XAttrHelper;
import org.apache.hadoop.hdfs.protocol.XAttrNotFoundException;
import org.apache.hadoop.security.AccessControlException;

/** Extended attributes by HDFS's names and rules: those of users, and to the superuser trusted ones. */
public final class HdfsXAttributes {
    private final XAttributes attributes;
    private final int mostBytes;

    /** @param mostBytes the longest name and value together */
    public HdfsXAttributes(XAttributes attributes, int mostBytes) {
        this.attributes = attributes;
        this.mostBytes = mostBytes;
    }

    /** Sets an attribute, as the flags allow. */
    public void set(HdfsPath path, XAttr xAttr, EnumSet<XAttrSetFlag> flag) throws IOException {
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
        int result = attributes.set(path, name, value, how);
        if (result != 0) {
            XAttrSetFlag.validate(xAttr.getName(), result == SystemCallException.EEXIST, flag);
        }
    }

    /** The attributes of these names; all where there is none. */
    public List<XAttr> get(HdfsPath path, List<XAttr> xAttrs) throws IOException {
        if (xAttrs == null || xAttrs.isEmpty()) {
            return list(path);
        }
        List<String> names = new ArrayList<>();
        for (XAttr each : xAttrs) {
            names.add(allowed(each));
        }
        Map<String, byte[]> all = attributes.all(path);
        List<XAttr> found = new ArrayList<>();
        for (String name : names) {
            if (!all.containsKey(name)) {
                throw new XAttrNotFoundException();
            }
            found.add(XAttrHelper.buildXAttr(name, value(all.get(name))));
        }
        return found;
    }

    /** All attributes that the caller may see. */
    public List<XAttr> list(HdfsPath path) throws IOException {
        List<XAttr> visible = new ArrayList<>();
        attributes.all(path).forEach((name, value) -> {
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

    /** Removes an attribute. */
    public void remove(HdfsPath path, XAttr xAttr) throws IOException {
        if (attributes.remove(path, allowed(xAttr)) != 0) {
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
