package org.apache.hadoop.hdfs.server.namenode;

import java.util.List;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.hdfs.protocol.AclException;

/** HDFS's own rules of how a list of access control entries changes, which its package keeps to itself. */
public final class AclRules {
    private AclRules() {}

    @FunctionalInterface
    private interface Rule {
        List<AclEntry> changed() throws AclException;
    }

    /** Programs that have only the client's part of Hadoop do not have the rules. */
    private static List<AclEntry> by(Rule rule) throws AclException {
        try {
            return rule.changed();
        } catch (NoClassDefFoundError e) {
            throw new AclException("Access control lists are changed by HDFS's rules, which are in hadoop-hdfs: its jar is"
                    + " not on the class path", e);
        }
    }

    /** Adds entries, in place of those for the same user or group; the mask follows. */
    public static List<AclEntry> merge(List<AclEntry> now, List<AclEntry> entries) throws AclException {
        return by(() -> AclTransformation.mergeAclEntries(now, entries));
    }

    /** Replaces the scopes that the entries have. */
    public static List<AclEntry> replace(List<AclEntry> now, List<AclEntry> entries) throws AclException {
        return by(() -> AclTransformation.replaceAclEntries(now, entries));
    }

    /** Removes entries for the same users and groups; the mask follows. */
    public static List<AclEntry> remove(List<AclEntry> now, List<AclEntry> entries) throws AclException {
        return by(() -> AclTransformation.filterAclEntriesByAclSpec(now, entries));
    }

    /** Removes what a directory hands down. */
    public static List<AclEntry> removeDefault(List<AclEntry> now) throws AclException {
        return by(() -> AclTransformation.filterDefaultAclEntries(now));
    }
}
