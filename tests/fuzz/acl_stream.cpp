// The byte stream of ACL entries, as Java could send it: read as the plain rules say, and written
// back.
#include "acl/acl_stream.h"

#include <map>
#include <sstream>
#include <tuple>

#include "acl_rules.h"
#include "base/io_exception.h"
#include "fuzz.h"

using namespace zolt;
using namespace zolt::fuzz;

namespace {

std::string written(std::vector<ACL*>& acls) {
  std::ostringstream out;
  convert(acls, out);
  return out.str();
}

int32_t entriesIn(const std::vector<ACL*>& acls) {
  int32_t count = 0;
  for (const ACL* acl : acls)
    count += acl->size();
  return count;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  REQUIRE(ACLUtil::init());
  Input input(data, size);
  drawThreshold(input);
  const std::string stream = input.rest();
  const Reading expected = readByTheRules(stream);

  AclVector lists;
  std::istringstream in(stream);
  std::string failure = "none";
  try {
    convert(in, lists.acls);
  } catch (const IOException& error) {
    REQUIRE(error.code() == 0);
    failure = error.what();
  }
  REQUIRE(failure == expected.failure);
  REQUIRE(lists.acls.size() == expected.scopes.size());
  for (size_t i = 0; i < lists.acls.size(); ++i) {
    REQUIRE(lists.acls[i]->get_type() == static_cast<unsigned>(expected.scopes[i].scope));
    REQUIRE(entriesOf(*lists.acls[i]) == expected.scopes[i].entries);
  }

  // What is written is as long as the entries need, and read again gives the same lists.
  const std::string out = written(lists.acls);
  const int32_t count = entriesIn(lists.acls);
  std::istringstream again(std::string(reinterpret_cast<const char*>(&count), sizeof count) + out);
  AclVector copies;
  convert(again, copies.acls);
  REQUIRE(written(copies.acls) == out);
  return 0;
}
