// Floor of the ACL status, through libacl as it is linked.
#include <acl/libacl.h>
#include <sys/acl.h>

#include <cerrno>
#include <cstring>

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
  if (access == nullptr) return -errno;
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
  if (length >= 0) return bytes(env, stream, static_cast<jsize>(length));
  raise(env, static_cast<int>(-length), {path.get()});
  return nullptr;
}
