// Floors of the changes of ACLs, through libacl as it is linked. A specification has one scope.
#include <acl/libacl.h>
#include <sys/acl.h>

#include <cerrno>
#include <cstring>

#include "floor.h"
#include "zolt_bench_Floor.h"

namespace {

using namespace floors;

bool isNamed(acl_tag_t tag) {
  return tag == ACL_USER || tag == ACL_GROUP;
}

acl_tag_t tagOf(acl_entry_t entry) {
  acl_tag_t tag = 0;
  acl_get_tag_type(entry, &tag);
  return tag;
}

id_t idOf(acl_entry_t entry) {
  void* qualifier = acl_get_qualifier(entry);
  const id_t id = *static_cast<id_t*>(qualifier);
  acl_free(qualifier);
  return id;
}

/// A list that is owned: read from a file, from Java's specification, or empty.
class List {
 public:
  explicit List(acl_t list) : list_(list) {}
  List(JNIEnv* env, jbyteArray javaSpec) : list_(acl_init(0)) {
    const Bytes spec(env, javaSpec);
    const char* at = spec.data();
    const auto next = [&at] {
      int word = 0;
      memcpy(&word, at, sizeof word);
      at += sizeof word;
      return word;
    };
    for (int count = next(); count > 0; --count) {
      type_ = static_cast<acl_type_t>(next());
      acl_entry_t entry = add();
      const int tag = next();
      acl_set_tag_type(entry, tag);
      if (isNamed(tag)) {
        const int id = next();
        acl_set_qualifier(entry, &id);
      }
      const int permissions = next();
      acl_permset_t set = nullptr;
      acl_get_permset(entry, &set);
      if ((permissions & 4) != 0) acl_add_perm(set, ACL_READ);
      if ((permissions & 2) != 0) acl_add_perm(set, ACL_WRITE);
      if ((permissions & 1) != 0) acl_add_perm(set, ACL_EXECUTE);
    }
  }
  ~List() { acl_free(list_); }
  List(const List&) = delete;
  List& operator=(const List&) = delete;

  acl_t get() const { return list_; }
  acl_type_t type() const { return type_; }

  acl_entry_t add() {
    acl_entry_t entry = nullptr;
    acl_create_entry(&list_, &entry);
    return entry;
  }

  void calcMask() { acl_calc_mask(&list_); }

  /// The entry that `visit` says true of; null when there is none.
  template <class Visit>
  acl_entry_t find(const Visit& visit) const {
    acl_entry_t entry = nullptr;
    for (int at = ACL_FIRST_ENTRY; acl_get_entry(list_, at, &entry) == 1; at = ACL_NEXT_ENTRY) {
      if (visit(entry)) return entry;
    }
    return nullptr;
  }

  acl_entry_t matching(acl_entry_t key) const {
    const acl_tag_t tag = tagOf(key);
    return find([&](acl_entry_t entry) {
      return tagOf(entry) == tag && (!isNamed(tag) || idOf(entry) == idOf(key));
    });
  }

 private:
  acl_t list_;
  acl_type_t type_ = ACL_TYPE_ACCESS;
};

void write(JNIEnv* env, const char* path, acl_type_t type, acl_t list) {
  if (acl_set_file(path, type, list) != 0) raise(env, errno, {path});
}

void store(JNIEnv* env, const char* path, acl_type_t type, acl_t list) {
  acl_check(list, nullptr);
  write(env, path, type, list);
}

/// What `change(current, entry)` makes of the file's list, for each entry that was given.
template <class Change>
void changeEach(JNIEnv* env, jstring javaPath, jbyteArray javaSpec, bool newMask,
                const Change& change) {
  const Chars path(env, javaPath);
  const List spec(env, javaSpec);
  List current(acl_get_file(path.get(), spec.type()));
  if (current.get() == nullptr) return raise(env, errno, {path.get()});
  spec.find([&](acl_entry_t entry) {
    change(current, entry);
    return false;
  });
  if (newMask) current.calcMask();
  store(env, path.get(), spec.type(), current.get());
}

void removeDefault(JNIEnv* env, const char* path) {
  // Some file systems tell that there was none.
  if (acl_set_file(path, ACL_TYPE_DEFAULT, List(acl_init(0)).get()) != 0 && errno != ENODATA)
    raise(env, errno, {path});
}

}  // namespace

// With all base entries and a mask, so that nothing has to be completed.
JNIEXPORT void JNICALL Java_zolt_bench_Floor_setAcl(JNIEnv* env, jclass, jstring javaPath,
                                                    jbyteArray javaSpec) {
  const Chars path(env, javaPath);
  const List spec(env, javaSpec);
  store(env, path.get(), spec.type(), spec.get());
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_modifyAcl(JNIEnv* env, jclass, jstring javaPath,
                                                       jbyteArray javaSpec) {
  changeEach(env, javaPath, javaSpec, true, [](List& current, acl_entry_t entry) {
    acl_entry_t found = current.matching(entry);
    acl_copy_entry(found != nullptr ? found : current.add(), entry);
  });
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_removeAclEntries(JNIEnv* env, jclass, jstring javaPath,
                                                              jbyteArray javaSpec) {
  changeEach(env, javaPath, javaSpec, false, [](List& current, acl_entry_t entry) {
    acl_entry_t found = current.matching(entry);
    if (found != nullptr) acl_delete_entry(current.get(), found);
  });
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_removeDefaultAcl(JNIEnv* env, jclass,
                                                              jstring javaPath) {
  removeDefault(env, Chars(env, javaPath).get());
}

JNIEXPORT void JNICALL Java_zolt_bench_Floor_removeAcl(JNIEnv* env, jclass, jstring javaPath,
                                                       jboolean isDirectory) {
  const Chars path(env, javaPath);
  const List access(acl_get_file(path.get(), ACL_TYPE_ACCESS));
  if (access.get() == nullptr) return raise(env, errno, {path.get()});
  const auto isDoomed = [](acl_entry_t entry) {
    const acl_tag_t tag = tagOf(entry);
    return isNamed(tag) || tag == ACL_MASK;
  };
  while (acl_entry_t entry = access.find(isDoomed))
    acl_delete_entry(access.get(), entry);
  store(env, path.get(), ACL_TYPE_ACCESS, access.get());
  if (isDirectory != JNI_FALSE) removeDefault(env, path.get());
}
