package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.List;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.hdfs.server.namenode.AclRules;
import zolt.hdfs.namespace.Acls;
import zolt.hdfs.namespace.HdfsPath;

/** The calls for access control lists. */
final class AclCalls {
    private final Acls acls;

    AclCalls(Parts parts) {
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

    @Dispatch.Changes("remove ACL on")
    void removeAcl(String src) throws IOException {
        acls.remove(HdfsPath.of(src));
    }

    @Dispatch.Changes("set ACL on")
    void setAcl(String src, List<AclEntry> aclSpec) throws IOException {
        acls.change(HdfsPath.of(src), now -> AclRules.replace(now, aclSpec));
    }

    AclStatus getAclStatus(String src) throws IOException {
        return acls.status(HdfsPath.of(src));
    }
}
