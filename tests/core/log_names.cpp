#include "log_names.h"

#include <atomic>

#define NATIVE(method) "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_" #method

namespace zolt::test {

namespace {

struct Message {
  const char* begin;
  const char* later;  // what stands somewhere behind it
  std::vector<std::string> names;
};

// The first row that fits is the message's.
const Message MESSAGES[] = {
    // identity
    {"setfsuid error: ", "", {"setfsid"}},
    {"setfsgid error: ", "", {"setfsid"}},
    {"@", " => (", {"setfsid"}},
    {"Unable to map username: ", "Try nobody", {"FSAccount"}},
    {"Unable to map uid: 0 to username", "", {NATIVE(getFileStatusNative), "getFailedPath"}},
    {"setgroups:", "", {"setgroups"}},
    {"failed to alloc ", " gid buffer", {"setgroups"}},
    {"SYS_setgroups error", "", {"setgroups"}},
    {"Unknown uid ", "", {"uid_to_usrname"}},
    {"getpwuid_r() failed", "", {"uid_to_usrname"}},
    {"Unknown gid ", "", {"gid_to_grpname"}},
    {"getgrgid_r() failed", "", {"gid_to_grpname"}},
    {"Unknown user ", "", {"username_to_uidgid"}},
    {"getpwnam_r() failed", "", {"username_to_uidgid"}},
    {"Unknown group ", "", {"grpname_to_gid"}},
    {"new failed, pwdbufsize = ", "", {"username_to_uidgid", "uid_to_usrname"}},
    {"new failed, grpbufsize = ", "", {"grpname_to_gid", "gid_to_grpname"}},
    {"No ids for user ", "", {"idsOf"}},
    {"getgrnam_r() failed", "", {"grpname_to_gid"}},
    // configuration
    {"Invalid default blocksize ", "", {NATIVE(setDefaultBlockSizeReplication)}},
    {"Invalid default replication ", "", {NATIVE(setDefaultBlockSizeReplication)}},
    // status
    {"lstat for ", " resolveLink ", {"getStat"}},
    {"link target is invalid, stat for ", "", {"getStat"}},
    {"path: ", " uid: ", {"getStat", NATIVE(getFileStatusNative), NATIVE(getFileStatusFastNative)}},
    {"path: ", " mtime: ", {NATIVE(isCMTimeChangedNative)}},
    {"Invalid ia_version ", "", {"getStatX"}},
    {"Unmatch ia_reclen ", "", {"getStatX"}},
    {"No Acl for ", "", {"getPermissionFromMode"}},
    {"Acl is set for ", "", {"getPermissionFromMode"}},
    {"stat failed with ", " followLink ", {NATIVE(getFileStatusNative)}},
    {"open failed with ", " for ", {NATIVE(getFileStatusNative)}},
    {"not changed: ", "", {NATIVE(getFileStatusNative)}},
    {"Direct ByteBuffer length error: length ",
     "type size 88",
     {NATIVE(getFileStatusNative), NATIVE(getFileStatusFastNative)}},
    {"getBGF faied with ", "", {NATIVE(getFileStatusNative)}},
    {"fgetxattr faied with ", "", {NATIVE(getFileStatusNative)}},
    {"Unable to map uid to name for uid: ", "", {"getFailedPathInt"}},
    {"Unable to map gid to name for gid: ", "", {"getFailedPathInt"}},
    {"\n@@@fails @", "", {"getFailedPathInt"}},
    {"\n/", "@@@fails @", {"getFailedPathInt"}},
    {"\n/", " ACLs: ", {"getFailedPathInt"}},
    {"fails @", " error:", {"getFailedPath"}},
    {"Invalid link target for ", "", {NATIVE(getLinkTargetNative), "getLinkTarget"}},
    {"failed to set time for ", "", {NATIVE(setTimes)}},
    // listing
    {"wrapper buffer addr=", "", {"setBuffer"}},
    {"unwrapper buffer addr=", "", {"~Buffer"}},
    {"Dir ", " is too large: ", {NATIVE(getDirentsNative), NATIVE(getDirentCountNative)}},
    {"open dir ", "buffer report=", {NATIVE(getDirentsNative)}},
    {"close dir ", "buffer report=", {NATIVE(getDirentsNative)}},
    {"close dir/", "", {NATIVE(getDirentsNative)}},
    {"yield dir ", "buffer report=", {NATIVE(getDirentsNative)}},
    {"readdir error dir ", "errno=", {NATIVE(getDirentsNative)}},
    {"readdir error, errno=", "", {NATIVE(getDirentCountNative)}},
    // blocks
    {"bgf is not set", "", {"getBlkBGF"}},
    {"bgf: ", "", {"getBlkBGF"}},
    {"fs blocksize ", " returns aligned blocksize ", {"getBlkBGF"}},
    {"requested offset=", "", {"getBlkLocation", "getBlkLocation_sort"}},
    {"skipfactor(", "", {"getBlkLocation"}},
    {"input blocksize=", "", {"getBlkLocation_sort"}},
    {"inode=", " group blknum=", {"getBlkLocation_sort"}},
    {"Unknown storage type ", "", {"getBlkLocationInt"}},
    {"failed to get extended stat for ", "", {"getBlkLocationInt"}},
    {"No location map returned. ", "", {"getBlkLocationInt"}},
    {"/", " filelen ", {NATIVE(getBlockLocationsNative)}},
    {"open failed with ", "", {NATIVE(getBlockLocationsNative)}},
    {"/", " replication ", {NATIVE(setReplication)}},
    {"failed to open ", "", {NATIVE(setReplication), NATIVE(setBGF)}},
    {"failed to set replication for ", "", {NATIVE(setReplication)}},
    {"failed to restripe file ", "", {NATIVE(setReplication)}},
    {"Invalid BGF(", "", {NATIVE(setBGF)}},
    {"Failed to set BGF(", "", {NATIVE(setBGF)}},
    // attributes and leases
    {"getxattr: failed", "", {"zolt_getxattr"}},
    {"setxattr: failed", "", {"zolt_setxattr"}},
    {"listxattr: failed", "", {"zolt_listxattrs"}},
    {"removexattr: failed", "", {"zolt_removexattr"}},
    {"lease update ", "lease holder ", {NATIVE(setFileLeaseNative)}},
    {"lease overdue now ", "", {NATIVE(getFileLeaseNative)}},
    {"now ", "lease last update ", {NATIVE(getFileLeaseNative)}},
    // access control lists
    {"libacl.so loaded", "", {"init"}},
    {"failed to resolve: ", "", {"init"}},
    {"libacl.so unloaded", "", {"uninit"}},
    {"Unknown type: ", "", {"ACL", "from_text"}},
    {"valid failed dump ", "", {"valid"}},
    {"acl_valid fails", "", {"valid"}},
    {"/", ": Malformed access ACL ", {"valid"}},
    {": Malformed ", "", {"valid"}},
    {"current acl lacks base entries", "", {"make_valid"}},
    {"acl_calc_mask error ", "", {"make_valid"}},
    {"acl_get_file error ", "", {"get_file"}},
    {"acl_init error ", "", {"get_file"}},
    {"acl_set_file error ", "", {"set_file"}},
    {"acl_from_text error ", "", {"from_text"}},
    {"acl_to_text error ", "", {"to_text", "valid"}},
    {"acl_create_entry error ", "", {"Entry"}},
    {"acl_get_entry error ", "", {"begin", "operator++"}},
    {"acl_copy_entry error ", "", {"copy"}},
    {"acl_delete_entry error ", "", {"remove"}},
    {"acl_get_tag_type error ", "", {"get_tag"}},
    {"acl_set_tag_type error ", "", {"set_tag"}},
    {"acl_get_qualifier error ", "", {"get_qualifier"}},
    {"acl_set_qualifier error ", "", {"set_qualifier"}},
    {"acl_get_permset error ", "", {"get_perm", "set_perm", "clear_perm"}},
    {"acl_get_perm error ", "", {"get_perm"}},
    {"acl_add_perm error ", "", {"set_perm"}},
    {"acl_clear_perms error ", "", {"clear_perm"}},
    {"aclspec entry size: ", "", {"convert"}},
    {"convert,790 unknown acl scope: ", "", {"convert"}},
    {"convert dump: ", "", {"convert"}},
    {"AclEntry count:", "", {"convert"}},
    // what begins with a path or says nothing, and the lines of the logger's own tests
    {"",
     "",
     {NATIVE(setPermission), NATIVE(setTimes), NATIVE(renewFileLeaseNative),
      NATIVE(removeFileLeaseNative), "convert", "getFailedPathInt", "speakAtEveryLevel",
      "TestBody"}},
};

std::atomic<bool> seen[std::size(MESSAGES)];

}  // namespace

std::vector<std::string> namesOf(const std::string& body) {
  for (const Message& message : MESSAGES) {
    if (!body.starts_with(message.begin) || body.find(message.later) == std::string::npos) continue;
    seen[&message - MESSAGES] = true;
    return message.names;
  }
  return {};
}

std::vector<std::string> unseenMessages() {
  std::vector<std::string> unseen;
  for (const Message& message : MESSAGES) {
    if (!seen[&message - MESSAGES]) unseen.push_back(std::string(message.begin) + message.later);
  }
  return unseen;
}

}  // namespace zolt::test
