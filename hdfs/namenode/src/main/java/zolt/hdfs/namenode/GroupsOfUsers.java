package zolt.hdfs.namenode;

import java.util.LinkedHashSet;
import java.util.Set;
import org.apache.hadoop.tools.GetUserMappingsProtocol;
import zolt.hdfs.namespace.Names;
import zolt.hdfs.namespace.NativeFiles;

/** Answers 'hdfs groups' with the groups that a request of the user has. */
final class GroupsOfUsers implements GetUserMappingsProtocol {
    private static final int GROUPS = 1;

    private final Names names;

    GroupsOfUsers(Names names) {
        this.names = names;
    }

    /** None for a user whom the system does not know, as HDFS answers. */
    @Override
    public String[] getGroupsForUser(String user) {
        int[] ids = NativeFiles.credentials(user);
        Set<String> groups = new LinkedHashSet<>();
        for (int i = GROUPS; ids != null && i < ids.length; i++) {
            groups.add(names.group(ids[i]));
        }
        return groups.toArray(new String[0]);
    }
}
