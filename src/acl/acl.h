// POSIX access control lists: one list of one type, its entries, and what may be done to them.
//
// libacl is called through ACLUtil only. Unless it is bound, every constructor ends in the
// IOException of ACLUtil::require. Every failing call of libacl ends in an IOException with its
// errno, logged at error before; it is thrown but where a Failure is answered.
#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "acl/acl_util.h"
#include "base/errno_text.h"
#include "base/io_exception.h"

namespace zolt {

/// Owns what libacl has allocated (acl_free(3)).
struct AclFree {
  void operator()(void* object) const noexcept;
};

class ACL {
 public:
  class Entry;
  using iterator = Entry;

  /// An empty list of a type: ACL_TYPE_ACCESS (32768) or ACL_TYPE_DEFAULT (16384). Any other type
  /// is IOException 22 "Unknown type: " + type, here and below.
  explicit ACL(unsigned aclType);
  /// The list of that type that a path has.
  ACL(const std::string& path, unsigned aclType);
  /// The list that from_text reads.
  explicit ACL(const char* buffer);
  /// A list that is still to be loaded.
  struct Unloaded {};
  ACL(unsigned aclType, Unloaded) noexcept;
  ~ACL() = default;
  ACL(const ACL&) = delete;

  /// Exchanges what the two lists hold, and neither type nor path: a result built aside takes the
  /// place of the list, and leaves with the old one.
  ACL& operator=(ACL& other);  // NOLINT(misc-unconventional-assign-operator)

  unsigned get_type() const { return type; }
  const std::string& get_path() const { return file; }

  /// Replaces the list by the one that the path has, or by an empty one for an empty path.
  /// IOException with the path and errno; the list then holds nothing (see acl_get_file(3): a
  /// default list is found only on a directory).
  void get_file(const std::string& path) { load(path).orThrow(); }
  Failure load(const std::string& path);
  /// Checks the list, with `fix` after completing it, and stores it as the path's list of its type.
  /// An empty default list removes the path's, also where there is none. IOException with the path
  /// and errno.
  void set_file(const std::string& path, bool fix) { store(path, fix).orThrow(); }
  Failure store(const std::string& path, bool fix);

  /// One walk at a time, and none over a change of the list: libacl keeps the position in the list
  /// (acl_get_entry(3)).
  Entry begin() const;
  Entry end() const;
  int size() const;

  /// Merges (+) the entries of another list into this one, or removes (-) them from it, by key (see
  /// Entry::cmp). A mask among them is the caller's own, and make_valid will not compute another.
  ACL& operator+(ACL& other);
  ACL& operator-(ACL& other);

  /// Removes what a mode cannot express: named users and groups and the mask, and from a default
  /// list `other` too. Then completes the list and stores it where it came from.
  Failure clear();

  /// IOException unless the list may be stored (acl_check(3)): 22 with the path and the list's
  /// text, the lines joined by commas. It says "access ACL" for a default list too.
  void valid();
  /// Completes the list for storing: base entries that are missing are those of the path's access
  /// list, and a mask that the entries need is computed unless the caller gave one. IOException 0
  /// when base entries are missing and the path is empty.
  void make_valid(const std::string& path);

  /// The text form: the type as a native int32, then the lines of acl_to_text(3). `len`, when not
  /// null, becomes its length.
  std::string to_text(long* len) const;
  /// The list of a text form that ends with a NUL; it has no path.
  void from_text(const char* buffer);

  /// The list for a log: "default:" for a default one, then its entries joined by commas.
  std::string dump() const;

 private:
  using Handle = std::unique_ptr<std::remove_pointer_t<acl_t>, AclFree>;

  // `function` is whom the log line of a failure speaks for.
  acl_entry_t entryAt(int position, const char* function) const;
  acl_entry_t createEntry();
  int changeEntries(ACL& other, int mode);
  void changeEntry(const Entry& change, int mode);
  void addBaseEntries(const std::string& path, int presentTags);
  void calcMask(const std::string& path);
  std::string libaclText(const char* function) const;
  template <class Call>
  int relocating(const Call& call);

  Handle acl;
  unsigned type;
  std::string file;
  bool maskGiven = false;
};

/// Whether entries of a tag are for one user or group, whose id they have.
inline bool isNamed(int tag) {
  return tag == ACL_USER || tag == ACL_GROUP;
}

/// One entry of a list, and a position in it; the null entry is the end. It does not own: it lasts
/// as long as the list holds the entry.
class ACL::Entry {
 public:
  /// A new entry of the list, with no tag, no qualifier and no permission.
  explicit Entry(ACL& owner);
  Entry(const ACL& owner, acl_entry_t existing) : list(&owner), entry(existing) {}

  /// Takes over tag, qualifier and permissions.
  void copy(const Entry& src);
  /// Removes the entry from its list and thereby ends this object's use.
  void remove();

  int get_tag() const;
  void set_tag(int tag);
  /// The uid or gid of a named user or group.
  id_t get_qualifier() const;
  /// `id` points to the uid or gid.
  void set_qualifier(const void* id);
  /// 4 read, 2 write, 1 execute.
  int get_perm() const;
  /// Adds the bits; takes none away.
  void set_perm(int bits);
  void clear_perm();

  /// Whether both have the same key: the tag and, for named users and groups, the uid or gid.
  bool cmp(const Entry& other) const;

  /// "user:1000:rw-", "mask::r--".
  std::string dump() const;

  /// The same position of the same list.
  bool operator==(const Entry& other) const;
  Entry& operator++();
  Entry& operator*() { return *this; }

 private:
  acl_permset_t permset(const char* function) const;

  const ACL* list;
  acl_entry_t entry;
};

namespace acl_errors {

/// How every failing call of libacl ends: logged at error, for the function that made the call, and
/// answered with the text and the errno.
[[gnu::cold]] Failure callFailed(const char* call, const std::string& text, int error,
                                 const char* function = __builtin_FUNCTION());

/// The same, thrown.
[[noreturn, gnu::cold]] void raise(const char* call, const std::string& text, int error,
                                   const char* function = __builtin_FUNCTION());

/// Raises what errno says, with the call's name for a text, when the call answered -1.
inline void check(int answer, const char* call, const char* function = __builtin_FUNCTION()) {
  if (answer == -1) [[unlikely]]
    raise(call, call, errnoOfFailure(), function);
}

}  // namespace acl_errors
}  // namespace zolt
