#include "acl/acl_util.h"

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <vector>

#include "acl/acl.h"
#include "acl/file_acl.h"
#include "acl_helpers.h"
#include "base/io_exception.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace {

// What the library under test asks dlopen for, and what it is given instead.
struct {
  std::string instead;  // empty: what was asked for
  std::string file;
  int flags = 0;
  int calls = 0;
} opened;

}  // namespace

// Stands before the C library's for what is linked into this program.
extern "C" void* dlopen(const char* file, int flags) noexcept {
  static auto* const real = reinterpret_cast<decltype(&::dlopen)>(dlsym(RTLD_NEXT, "dlopen"));
  opened.file = file;
  opened.flags = flags;
  ++opened.calls;
  return real(opened.instead.empty() ? file : opened.instead.c_str(), flags);
}

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

using Lines = std::vector<std::string>;

struct Slot {
  const char* name;
  void** value;
};

// All slots, in the order in which they must be resolved.
const Slot slots[] = {
#define SLOT(name) \
  { #name, reinterpret_cast < void**>(&ACLUtil::name) }
    SLOT(acl_init),          SLOT(acl_dup),           SLOT(acl_copy_int),
    SLOT(acl_free),          SLOT(acl_create_entry),  SLOT(acl_copy_entry),
    SLOT(acl_delete_entry),  SLOT(acl_get_entry),     SLOT(acl_valid),
    SLOT(acl_add_perm),      SLOT(acl_clear_perms),   SLOT(acl_delete_perm),
    SLOT(acl_get_permset),   SLOT(acl_set_permset),   SLOT(acl_calc_mask),
    SLOT(acl_get_qualifier), SLOT(acl_set_qualifier), SLOT(acl_get_tag_type),
    SLOT(acl_set_tag_type),  SLOT(acl_get_file),      SLOT(acl_set_file),
    SLOT(acl_get_fd),        SLOT(acl_set_fd),        SLOT(acl_from_text),
    SLOT(acl_to_text),       SLOT(acl_size),          SLOT(acl_copy_ext),
    SLOT(acl_entries),       SLOT(acl_cmp),           SLOT(acl_check),
    SLOT(acl_equiv_mode),    SLOT(acl_get_perm),      SLOT(acl_from_mode),
    SLOT(acl_to_any_text),   SLOT(acl_error),
#undef SLOT
};
static_assert(std::size(slots) == 35);

// The tests' libacl with one dynamic symbol changed.
class Patched {
 public:
  explicit Patched(const std::string& symbol) : name_(symbol) {
    std::ifstream in(LIBACL, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(in), {});
    const auto header = at<Elf64_Ehdr>(0);
    for (unsigned i = 0; i < header.e_shnum; ++i) {
      const auto section = sectionOf(header, i);
      if (section.sh_type == SHT_DYNSYM) find(symbol, section, sectionOf(header, section.sh_link));
    }
  }

  // As if the symbol did not exist.
  std::string without(const TempDir& dir) { return write(dir, SHN_UNDEF); }
  // The symbol is there, and its value is null.
  std::string null(const TempDir& dir) { return write(dir, SHN_ABS); }

 private:
  template <class Record>
  Record at(size_t offset) const {
    Record record;
    std::memcpy(&record, bytes_.data() + offset, sizeof record);
    return record;
  }

  Elf64_Shdr sectionOf(const Elf64_Ehdr& header, unsigned index) const {
    return at<Elf64_Shdr>(header.e_shoff + index * sizeof(Elf64_Shdr));
  }

  void find(const std::string& symbol, const Elf64_Shdr& symbols, const Elf64_Shdr& names) {
    for (size_t at = 0; at < symbols.sh_size; at += sizeof(Elf64_Sym)) {
      const size_t offset = symbols.sh_offset + at;
      if (bytes_.data() + names.sh_offset + this->at<Elf64_Sym>(offset).st_name == symbol) {
        offset_ = offset;
      }
    }
  }

  std::string write(const TempDir& dir, Elf64_Section section) {
    auto symbol = at<Elf64_Sym>(offset_);
    symbol.st_shndx = section;
    symbol.st_value = 0;
    std::memcpy(bytes_.data() + offset_, &symbol, sizeof symbol);
    return dir.file(name_ + ".so",
                    bytes_);  // a file of its own: an earlier one may be loaded still
  }

  std::string name_;
  std::string bytes_;
  size_t offset_ = 0;
};

struct AclUtilTest : ::testing::Test {
  AclUtilTest() {
    ACLUtil::uninit();
    opened = {};
    // A copy, since what it stands for stays loaded once it is in use.
    copy = dir / "libacl.so";
    std::filesystem::copy_file(LIBACL, copy);
    opened.instead = copy;
  }
  ~AclUtilTest() override {
    ACLUtil::uninit();
    opened = {};
    EXPECT_TRUE(ACLUtil::init());
  }

  static bool isLoaded(const std::string& file) {
    void* handle = ::dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  }

  TempDir dir;
  std::string copy;
};

void expectNotAvailable(const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (const IOException& error) {
    EXPECT_EQ(error.code(), 95);
    EXPECT_STREQ(error.what(), "libacl.so.1 is not available");
  }
}

// Every way into an access control list.
void expectEverythingNotAvailable() {
  expectNotAvailable([] { ACL(ACL_TYPE_ACCESS); });
  expectNotAvailable([] { ACL("/", ACL_TYPE_ACCESS); });
  expectNotAvailable([] { ACL((test::ints({test::ACCESS}) + "u::rwx,g::r,o::r").c_str()); });
  expectNotAvailable([] {
    std::string bytes;
    aclStatus("/", true, bytes).orThrow();
  });
  for (const auto change : {AclChange::SET, AclChange::MODIFY, AclChange::REMOVE}) {
    std::istringstream empty(std::string(4, '\0'));
    expectNotAvailable([&] { changeAcl("/", empty, change).orThrow(); });
  }
  for (const bool isDirectory : {true, false}) {
    expectNotAvailable([&] { removeDefaultAcl("/", isDirectory).orThrow(); });
    expectNotAvailable([&] { removeAcl("/", isDirectory).orThrow(); });
  }
}

TEST_F(AclUtilTest, BindsEverySlotToItsOwnFunction) {
  const LogCapture log;
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_EQ(opened.file, "libacl.so.1");
  EXPECT_EQ(opened.flags, 1);
  EXPECT_TRUE(ACLUtil::bound());
  for (const Slot& slot : slots) {
    EXPECT_NE(*slot.value, nullptr) << slot.name;
    EXPECT_EQ(*slot.value, dlsym(ACLUtil::libacl_handle, slot.name)) << slot.name;
  }
  EXPECT_EQ(log.bodies(LOG_DEBUG), Lines{"libacl.so loaded"});
  EXPECT_EQ(log.lines().size(), 1U);
  ACLUtil::require();
}

TEST_F(AclUtilTest, ASecondCallDoesNothing) {
  ASSERT_TRUE(ACLUtil::init());
  void* const handle = ACLUtil::libacl_handle;
  const LogCapture log;
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_EQ(opened.calls, 1);
  EXPECT_EQ(ACLUtil::libacl_handle, handle);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(AclUtilTest, AMissingLibraryIsNoBindingAndNoWord) {
  opened.instead = dir / "none.so";
  const LogCapture log;
  EXPECT_FALSE(ACLUtil::init());
  EXPECT_FALSE(ACLUtil::bound());
  EXPECT_TRUE(log.lines().empty()) << log.all();
  expectEverythingNotAvailable();
}

// The slots before the missing one are written, the ones after it are not: this is the order.
TEST_F(AclUtilTest, EverySymbolIsRequiredInItsTurn) {
  char sentinel = 0;
  for (size_t missing = 0; missing < std::size(slots); ++missing) {
    for (const Slot& slot : slots)
      *slot.value = &sentinel;
    const std::string name = slots[missing].name;
    const std::string file = Patched(name).without(dir);
    opened.instead = file;
    const LogCapture log;
    EXPECT_FALSE(ACLUtil::init()) << name;
    EXPECT_FALSE(ACLUtil::bound()) << name;
    EXPECT_EQ(log.bodies(LOG_DEBUG),
              Lines{"failed to resolve: " + name + ": " + file + ": undefined symbol: " + name});
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_FALSE(isLoaded(file)) << name;
    for (size_t i = 0; i < std::size(slots); ++i) {
      EXPECT_EQ(*slots[i].value == &sentinel, i > missing) << slots[i].name << " without " << name;
    }
  }
  expectEverythingNotAvailable();
}

TEST_F(AclUtilTest, ASymbolThatIsNullCountsAsResolvedAndOnlyWhatCallsItRefuses) {
  const std::string file = dir.file("listed");
  opened.instead = Patched("acl_check").null(dir);
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_TRUE(ACLUtil::bound());
  {
    ACL list(file, ACL_TYPE_ACCESS);
    EXPECT_EQ(list.size(), 3);
    expectNotAvailable([&] { list.set_file(file, false); });
    EXPECT_EQ(list.size(), 3) << "the list is still there";
  }
  ACLUtil::uninit();
  opened.instead = Patched("acl_create_entry").null(dir);
  EXPECT_TRUE(ACLUtil::init());
  ACL list(file, ACL_TYPE_ACCESS);
  expectNotAvailable([&] { ACL::Entry entry(list); });
  EXPECT_EQ(list.size(), 3) << "what the call would have moved is where it was";
}

TEST_F(AclUtilTest, ASymbolThatIsNullAndThatNothingCallsChangesNothing) {
  const std::string file = dir.file("listed");
  for (const char* name : {"acl_dup", "acl_valid", "acl_size", "acl_to_any_text"}) {
    opened.instead = Patched(name).null(dir);
    EXPECT_TRUE(ACLUtil::init()) << name;
    ACL(file, ACL_TYPE_ACCESS).set_file(file, true);
    ACLUtil::uninit();
  }
}

// Nothing could be given back to it.
TEST_F(AclUtilTest, WithoutAclFreeNothingIsAvailable) {
  opened.instead = Patched("acl_free").null(dir);
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_TRUE(ACLUtil::bound());
  expectEverythingNotAvailable();
}

TEST_F(AclUtilTest, UninitClosesAndASecondOneDoesNothing) {
  ASSERT_TRUE(ACLUtil::init());
  const auto* const slot = *slots[0].value;
  {
    const LogCapture log;
    ACLUtil::uninit();
    EXPECT_EQ(log.bodies(LOG_DEBUG), Lines{"libacl.so unloaded"});
  }
  EXPECT_FALSE(ACLUtil::bound());
  EXPECT_FALSE(isLoaded(copy));
  EXPECT_EQ(*slots[0].value, slot);
  expectEverythingNotAvailable();

  const LogCapture log;
  ACLUtil::uninit();
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(ACLUtil::init());
  EXPECT_EQ(opened.calls, 3);  // isLoaded was the second
}

TEST_F(AclUtilTest, AListThatOutlivesTheBindingIsNotFreedThroughIt) {
#ifdef __SANITIZE_ADDRESS__
  const __lsan::ScopedDisabler lostOnPurpose;
#endif
  ASSERT_TRUE(ACLUtil::init());
  auto acl = std::make_unique<ACL>(ACL_TYPE_ACCESS);
  ACLUtil::uninit();
  acl.reset();
}

TEST_F(AclUtilTest, LoadSymNeedsAnOpenLibrary) {
  void* slot = &dir;
  std::string error = "untouched";
  EXPECT_FALSE(ACLUtil::loadSym("acl_init", &slot, error));
  EXPECT_EQ(slot, &dir);
  EXPECT_EQ(error, "untouched");
}

TEST_F(AclUtilTest, LoadSymIsNotMisledByAnEarlierError) {
  ASSERT_TRUE(ACLUtil::init());
  void* slot = nullptr;
  std::string error = "untouched";
  EXPECT_EQ(dlsym(ACLUtil::libacl_handle, "no_such_symbol"), nullptr);
  EXPECT_TRUE(ACLUtil::loadSym("acl_init", &slot, error));
  EXPECT_EQ(slot, *slots[0].value);
  EXPECT_EQ(error, "untouched");
}

TEST_F(AclUtilTest, LoadSymNamesWhatIsMissing) {
  ASSERT_TRUE(ACLUtil::init());
  void* slot = &dir;
  std::string error;
  EXPECT_FALSE(ACLUtil::loadSym("acl_nothing", &slot, error));
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(error, "acl_nothing: " + copy + ": undefined symbol: acl_nothing");
  EXPECT_FALSE(ACLUtil::loadSym(nullptr, &slot, error));
  EXPECT_TRUE(error.starts_with("null: ")) << error;
}

}  // namespace
}  // namespace zolt
