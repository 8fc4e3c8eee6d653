// The text form of an ACL: read, or refused with an errno; what is read has one written form, which
// reads as the same list.
#include "acl/acl.h"
#include "acl_rules.h"
#include "base/io_exception.h"
#include "fuzz.h"

using namespace zolt;
using namespace zolt::fuzz;

namespace {

void checkWrittenForm(const ACL& acl) {
  long length = 0;
  const std::string text = acl.to_text(&length);
  REQUIRE(static_cast<size_t>(length) == text.size());
  REQUIRE(text.find('\0', 4) == std::string::npos);

  const ACL copy(text.c_str());
  REQUIRE(copy.get_type() == acl.get_type());
  REQUIRE(copy.get_path().empty());
  REQUIRE(entriesOf(copy) == entriesOf(acl));
  REQUIRE(copy.to_text(nullptr) == text);
  REQUIRE(copy.dump() == acl.dump());
}

// Made complete and checked, a list is valid or refused; it is never anything else.
void checkCompletion(ACL& acl) {
  const AclEntries before = entriesOf(acl);
  try {
    acl.make_valid("");
    const AclEntries after = entriesOf(acl);
    for (const AclEntry& entry : before) {
      REQUIRE(std::find(after.begin(), after.end(), entry) != after.end());
    }
    REQUIRE(after.size() <= before.size() + 1);
    acl.valid();
  } catch (const IOException& error) {
    REQUIRE(error.code() == 0 || error.code() == EINVAL);
    REQUIRE(std::strlen(error.what()) != 0);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  REQUIRE(ACLUtil::init());
  Input input(data, size);
  drawThreshold(input);
  const uint8_t scope = input.byte();
  uint32_t type = scope % 8 == 7 ? input.take<uint32_t>() : scope % 2 == 0 ? 32768 : 16384;

  // Exactly as long as it is, so that a step past its NUL shows.
  const std::string text = input.rest();
  const size_t length = text.find('\0') == std::string::npos ? text.size() : text.find('\0');
  std::vector<char> buffer(sizeof type + length + 1);
  std::memcpy(buffer.data(), &type, sizeof type);
  std::memcpy(buffer.data() + sizeof type, text.data(), length);
  try {
    ACL acl(buffer.data());
    REQUIRE(type == 32768 || type == 16384);
    checkWrittenForm(acl);
    checkCompletion(acl);
  } catch (const IOException& error) {
    REQUIRE(error.code() > 0);
  }
  return 0;
}
