// Floors of the ACL status, through libacl as it is linked, and of the identity switch.
#include <acl/libacl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/acl.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "floor.h"
#include "zolt_bench_Floor.h"

namespace floors {

namespace {

constexpr size_t LARGEST_STREAM = 16384;

char* append(acl_t list, int type, char* out) {
  const auto put = [&out](int word) {
    memcpy(out, &word, sizeof word);
    out += sizeof word;
  };
  acl_entry_t entry = nullptr;
  for (int at = ACL_FIRST_ENTRY; acl_get_entry(list, at, &entry) == 1; at = ACL_NEXT_ENTRY) {
    put(type);
    acl_tag_t tag = 0;
    acl_get_tag_type(entry, &tag);
    put(tag);
    if (tag == ACL_USER || tag == ACL_GROUP) {
      void* id = acl_get_qualifier(entry);
      put(static_cast<int>(*static_cast<id_t*>(id)));
      acl_free(id);
    }
    acl_permset_t permissions = nullptr;
    acl_get_permset(entry, &permissions);
    put((acl_get_perm(permissions, ACL_READ) != 0 ? 4 : 0) |
        (acl_get_perm(permissions, ACL_WRITE) != 0 ? 2 : 0) |
        (acl_get_perm(permissions, ACL_EXECUTE) != 0 ? 1 : 0));
  }
  acl_free(list);
  return out;
}

}  // namespace

long acl(const char* path, bool isDirectory, char* out) {
  acl_t access = acl_get_file(path, ACL_TYPE_ACCESS);
  acl_t byDefault = acl_init(0);
  if (isDirectory) {
    acl_free(byDefault);
    byDefault = acl_get_file(path, ACL_TYPE_DEFAULT);
  }
  return append(byDefault, ACL_TYPE_DEFAULT, append(access, ACL_TYPE_ACCESS, out)) - out;
}

}  // namespace floors

using namespace floors;

JNIEXPORT jbyteArray JNICALL Java_zolt_bench_Floor_acl(JNIEnv* env, jclass, jstring javaPath,
                                                       jboolean isDirectory) {
  const Chars path(env, javaPath);
  char stream[LARGEST_STREAM];
  const long length = acl(path.get(), isDirectory != JNI_FALSE, stream);
  return bytes(env, stream, static_cast<jsize>(length));
}

// For a user whose primary group is not the service's own. The two ids before go into one number.
JNIEXPORT jlong JNICALL Java_zolt_bench_Floor_identity(JNIEnv* env, jclass, jstring javaUser) {
  const Chars user(env, javaUser);
  std::vector<char> buffer(static_cast<size_t>(sysconf(_SC_GETPW_R_SIZE_MAX)));
  passwd entry{};
  passwd* found = nullptr;
  getpwnam_r(user.get(), &entry, buffer.data(), buffer.size(), &found);
  gid_t groups[128];
  int count = 128;
  getgrouplist(user.get(), entry.pw_gid, groups, &count);
  syscall(SYS_setgroups, count, groups);
  const auto uid = static_cast<uint32_t>(setfsuid(entry.pw_uid));
  const auto gid = static_cast<uint32_t>(setfsgid(entry.pw_gid));
  return static_cast<jlong>(uint64_t{uid} << 32 | gid);
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_restore(JNIEnv*, jclass, jlong ids) {
  setfsuid(static_cast<uid_t>(static_cast<uint64_t>(ids) >> 32));
  setfsgid(static_cast<gid_t>(ids));
}
