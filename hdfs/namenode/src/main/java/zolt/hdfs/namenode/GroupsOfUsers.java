package zolt.hdfs.namenode;

import java.io.IOException;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.tools.GetUserMappingsProtocol;

/** Answers 'hdfs groups'. */
final class GroupsOfUsers implements GetUserMappingsProtocol {
    @Override
    public String[] getGroupsForUser(String user) throws IOException {
        return UserGroupInformation.createRemoteUser(user).getGroupNames();
    }
}
