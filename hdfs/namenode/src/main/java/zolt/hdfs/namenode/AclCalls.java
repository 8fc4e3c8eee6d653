package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.server.namenode.AclRules;
import zolt.hdfs.namespace.Acls;
import zolt.hdfs.namespace.Entry;
import zolt.hdfs.namespace.HdfsPath;

/** The calls for access control lists. */
final class AclCalls {
    private static final int MINIMAL = 3;

    private final Acls acls;
    private final Parts parts;

    AclCalls(Parts parts) {
        this.parts = parts;
        acls = new Acls(parts.folder());
    }

    @Dispatch.Changes("modify ACL entries on")
    void modifyAclEntries(String src, List<AclEntry> aclSpec) throws IOException {
        acls.change(HdfsPath.of(src), now -> AclRules.merge(now, aclSpec));
    }

    @Dispatch.Changes("remove ACL entries on")
    void removeAclEntries(String src, List<AclEntry> aclSpec) throws IOException {
        acls.change(HdfsPath.of(src), now -> AclRules.remove(now, aclSpec));
    }

    @Dispatch.Changes("remove default ACL entries on")
    void removeDefaultAcl(String src) throws IOException {
        acls.change(HdfsPath.of(src), AclRules::removeDefault);
    }

    /** Leaves the entries of the mode, with the group's own and not the mask. */
    @Dispatch.Changes("remove ACL on")
    void removeAcl(String src) throws IOException {
        acls.change(HdfsPath.of(src), now -> now.stream().filter(entry -> entry.getScope() == AclEntryScope.ACCESS
                && entry.getName() == null && entry.getType() != AclEntryType.MASK).toList());
    }

    @Dispatch.Changes("set ACL on")
    void setAcl(String src, List<AclEntry> aclSpec) throws IOException {
        acls.change(HdfsPath.of(src), now -> AclRules.replace(now, aclSpec));
    }

    AclStatus getAclStatus(String src) throws IOException {
        HdfsPath path = HdfsPath.of(src);
        Entry entry = parts.statuses().require(path);
        FsPermission mode = new FsPermission((short) entry.permissions());
        return new AclStatus.Builder().owner(parts.folder().names().user(entry.uid()))
                .group(parts.folder().names().group(entry.gid())).stickyBit(mode.getStickyBit()).setPermission(mode)
                .addEntries(beyondMode(acls.get(path))).build();
    }

    /** HDFS does not repeat in the list what the mode says: owner, mask and others. */
    private static List<AclEntry> beyondMode(List<AclEntry> all) {
        List<AclEntry> access = all.stream().filter(entry -> entry.getScope() == AclEntryScope.ACCESS).toList();
        List<AclEntry> beyond = new ArrayList<>();
        if (access.size() > MINIMAL) {
            beyond.addAll(access.subList(1, access.size() - 2));
        }
        all.stream().filter(entry -> entry.getScope() == AclEntryScope.DEFAULT).forEach(beyond::add);
        return beyond;
    }
}
