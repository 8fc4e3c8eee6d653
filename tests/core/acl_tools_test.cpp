// The operations on access control lists beside those of the system's own getfacl and setfacl: the
// same changes to two directories must leave the same lists.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <sstream>
#include <vector>

#include "acl/acl_util.h"
#include "acl/file_acl.h"
#include "acl_helpers.h"
#include "base/io_exception.h"
#include "faults.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using namespace test;

struct Row {
  int tag;
  int id;
  int perm;
};

bool isNamed(int tag) {
  return tag == ACL_USER || tag == ACL_GROUP;
}

std::string letters(int perm) {
  return std::string((perm & 4) != 0 ? "r" : "-") + ((perm & 2) != 0 ? "w" : "-") +
         ((perm & 1) != 0 ? "x" : "-");
}

std::string tagText(int tag) {
  return tag == ACL_USER_OBJ || tag == ACL_USER     ? "user"
         : tag == ACL_GROUP_OBJ || tag == ACL_GROUP ? "group"
         : tag == ACL_MASK                          ? "mask"
                                                    : "other";
}

std::string text(const Row& row) {
  return tagText(row.tag) + ":" + (isNamed(row.tag) ? std::to_string(row.id) : "") + ":" +
         letters(row.perm);
}

// As setfacl takes them, with or without permissions.
std::string arguments(const std::vector<Row>& rows, bool withPermissions) {
  std::string all;
  for (const Row& row : rows) {
    std::string one = text(row);
    if (!withPermissions) one.resize(one.rfind(':'));
    all += (all.empty() ? "" : ",") + one;
  }
  return all;
}

// The entries of one scope.
struct Scoped {
  int scope;
  std::vector<Row> rows;
};

// A specification of one scope or more, the first entry of each first and the rest in turn.
std::string stream(const std::vector<Scoped>& lists) {
  std::string bytes;
  int count = 0;
  size_t longest = 0;
  for (const Scoped& list : lists)
    longest = std::max(longest, list.rows.size());
  for (size_t i = 0; i < longest; ++i) {
    for (const auto& [scope, rows] : lists) {
      if (i >= rows.size()) continue;
      const Row& row = rows[i];
      append(bytes, scope);
      append(bytes, row.tag);
      if (isNamed(row.tag)) append(bytes, row.id);
      append(bytes, row.perm);
      ++count;
    }
  }
  return test::ints({count}) + bytes;
}

std::string status(const std::string& path) {
  std::string bytes;
  aclStatus(path, true, bytes).orThrow();
  return bytes;
}

// What our status says, in getfacl's words.
std::string statusText(const std::string& path) {
  const std::string bytes = status(path);
  size_t at = 0;
  const auto next = [&] {
    int32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    at += sizeof value;
    return value;
  };
  std::string lines;
  while (at < bytes.size()) {
    if (next() == DEFAULT) lines += "default:";
    Row row{next(), 0, 0};
    if (isNamed(row.tag)) row.id = next();
    row.perm = next();
    lines += text(row) + "\n";
  }
  EXPECT_EQ(at, bytes.size());
  return lines + "\n";
}

class AclToolsTest : public ::testing::Test {
 protected:
  AclToolsTest() {
    ACLUtil::init();
    zolt_fault_clear();
    for (const std::string& path : {ours, theirs})
      mkdir(path.c_str(), 0755);
  }

  int pick(int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); }

  // Entries of different keys: each base entry and the mask with some odds, and up to four others.
  std::vector<Row> rows(int baseOdds, int maskOdds) {
    std::vector<Row> made;
    for (const int tag : {ACL_USER_OBJ, ACL_GROUP_OBJ, ACL_OTHER}) {
      if (pick(100) < baseOdds) made.push_back({tag, 0, pick(8)});
    }
    if (pick(100) < maskOdds) made.push_back({ACL_MASK, 0, pick(8)});
    for (int count = pick(5); count > 0; --count) {
      const Row row{pick(2) == 0 ? ACL_USER : ACL_GROUP, 2001 + pick(4), pick(8)};
      const auto sameKey = [&](const Row& other) {
        return other.tag == row.tag && other.id == row.id;
      };
      if (std::ranges::none_of(made, sameKey)) made.push_back(row);
    }
    std::ranges::shuffle(made, random);
    return made;
  }

  // The base entries of the access list of their directory.
  std::vector<Row> base() const {
    std::istringstream lines(
        run("getfacl -pcE --access " + theirs + " | grep -E '^(user|group|other)::'").output);
    std::vector<Row> found;
    for (std::string line; std::getline(lines, line);) {
      const int tag = line[0] == 'u' ? ACL_USER_OBJ : line[0] == 'g' ? ACL_GROUP_OBJ : ACL_OTHER;
      const std::string perm = line.substr(line.size() - 3);
      const int bits =
          (perm[0] == 'r' ? 4 : 0) + (perm[1] == 'w' ? 2 : 0) + (perm[2] == 'x' ? 1 : 0);
      found.push_back({tag, 0, bits});
    }
    return found;
  }

  // The rows with the base entries that they lack, from those of another list.
  static std::vector<Row> completed(std::vector<Row> made, const std::vector<Row>& from) {
    for (const Row& row : from) {
      const auto sameTag = [&](const Row& other) { return other.tag == row.tag; };
      if (!isNamed(row.tag) && row.tag != ACL_MASK && std::ranges::none_of(made, sameTag)) {
        made.push_back(row);
      }
    }
    return made;
  }

  // Both change their directory, and neither or both refuse to.
  void both(const std::string& what, const std::function<void()>& ourChange,
            const std::string& theirChange) {
    bool failed = false;
    try {
      ourChange();
    } catch (const IOException&) {
      failed = true;
    }
    const auto result =
        run(theirChange + " " + theirs + " >/dev/null && echo done; " + show(ours) + show(theirs));
    const std::string marker = "=\n";
    std::vector<std::string> parts;
    size_t from = 0;
    for (size_t at = 0; (at = result.output.find(marker, from)) != std::string::npos;
         from = at + marker.size()) {
      parts.push_back(result.output.substr(from, at - from));
    }
    ASSERT_EQ(parts.size(), 2U) << result.output;
    const bool theirsFailed = !parts[0].starts_with("done\n");
    EXPECT_EQ(failed, theirsFailed) << what << "\n" << result.output;
    failures += failed ? 1 : 0;
    ++changes;
    if (!theirsFailed) parts[0].erase(0, 5);
    const size_t ourStart = theirsFailed ? parts[0].find('#') : 0;
    EXPECT_EQ(parts[0].substr(ourStart), parts[1]) << what;
    const std::string mode = parts[1].substr(0, parts[1].find('\n') + 1);
    EXPECT_EQ(mode + statusText(ours), parts[1]) << what;
    feedBack(what);
  }

  // Every status is a specification that changes nothing, once its entries have been counted.
  void feedBack(const std::string& what) {
    const std::string before = status(ours);
    const std::string shown = statusText(ours);
    std::string count;
    append(count, static_cast<int>(std::ranges::count(shown, '\n') - 1));
    std::istringstream in(count + before);
    changeAcl(ours, in, AclChange::SET).orThrow();
    EXPECT_EQ(status(ours), before) << what;
  }

  static std::string show(const std::string& path) {
    return "stat -c '#%a' " + path + "; getfacl -pcnE " + path + "; echo =; ";
  }

  // One scope, or both in one specification; their tool takes them one by one.
  void change(AclChange how, int baseOdds, int maskOdds) {
    std::vector<Scoped> lists;
    const int first = pick(3) != 0 ? ACCESS : DEFAULT;
    for (const int scope : {first, ACCESS + DEFAULT - first}) {
      if (const auto made = rows(baseOdds, maskOdds); !made.empty()) lists.push_back({scope, made});
      if (pick(3) != 0) break;
    }
    if (lists.empty()) return;
    bothScopes += lists.size() == 2 ? 1 : 0;

    std::string command;
    std::vector<Row> accessBase = how == AclChange::SET ? base() : std::vector<Row>();
    for (const auto& [scope, made] : lists) {
      if (!command.empty()) command += " " + theirs + " && ";
      command += scope == ACCESS ? "setfacl " : "setfacl -d ";
      if (how == AclChange::SET) {
        const auto whole = completed(made, accessBase);
        command += "--set " + arguments(whole, true);
        if (scope == ACCESS) accessBase = whole;
      } else if (how == AclChange::MODIFY) {
        command += "-m " + arguments(made, true);
      } else {
        command += "-n -x " + arguments(made, false);
      }
    }
    const auto ourChange = [&] {
      std::istringstream in(stream(lists));
      changeAcl(ours, in, how).orThrow();
    };
    both(command, ourChange, command);
  }

  void oneStep() {
    switch (pick(8)) {
      case 0:
      case 1:
        change(AclChange::SET, 40, 30);
        break;
      case 2:
      case 3:
      case 4:
        change(AclChange::MODIFY, 20, 25);
        break;
      case 5:
      case 6:
        change(AclChange::REMOVE, 0, 15);
        break;
      default:
        if (pick(2) == 0) {
          both(
              "-k", [&] { removeDefaultAcl(ours, true).orThrow(); }, "setfacl -k");
        } else {
          // Not -b: that one cuts the group's entry down to the mask before it goes.
          const std::string toBase = "setfacl --set " + arguments(base(), true);
          both(
              toBase, [&] { removeAcl(ours, true).orThrow(); }, toBase + " -k");
        }
    }
  }

  TempDir dir;
  const std::string ours = dir / "ours";
  const std::string theirs = dir / "theirs";
  std::mt19937 random;
  int changes = 0;
  int failures = 0;
  int bothScopes = 0;
};

TEST_F(AclToolsTest, HundredsOfChangesAgree) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    random.seed(seed);
    run("setfacl -b " + ours + " " + theirs + "; chmod 0750 " + ours + " " + theirs);
    for (int step = 0; step < 12 && !HasFailure(); ++step)
      oneStep();
  }
  EXPECT_GT(changes, 400);
  EXPECT_GT(failures, 5);
  EXPECT_GT(bothScopes, 50);
}

}  // namespace
}  // namespace zolt
