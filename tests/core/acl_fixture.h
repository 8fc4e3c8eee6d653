// A directory with lists of its own, and lists built by hand.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "acl/acl.h"
#include "acl_helpers.h"
#include "base/io_exception.h"
#include "faults.h"
#include "temp_dir.h"

namespace zolt::test {

struct Row {
  int tag;
  int id;  // of tags 2 and 8
  int perm;
};

inline ACL::Entry add(ACL& acl, int tag, int id, int perm) {
  ACL::Entry entry(acl);
  entry.set_tag(tag);
  if (tag == ACL_USER || tag == ACL_GROUP) entry.set_qualifier(&id);
  entry.set_perm(perm);
  return entry;
}

inline void fill(ACL& acl, const std::vector<Row>& rows) {
  for (const Row& row : rows)
    add(acl, row.tag, row.id, row.perm);
}

inline const std::vector<Row> BASE{{ACL_USER_OBJ, 0, 6}, {ACL_GROUP_OBJ, 0, 4}, {ACL_OTHER, 0, 0}};

struct Thrown {
  std::string text = "no exception";
  int code = -1;
};

inline Thrown failureOf(const std::function<void()>& call) {
  try {
    call();
    return {};
  } catch (const IOException& error) {
    return {error.what(), error.code()};
  }
}

struct AclFixture : ::testing::Test {
  explicit AclFixture(const std::string& base = std::filesystem::temp_directory_path())
      : dir(base) {
    ACLUtil::init();
    zolt_fault_clear();
  }
  ~AclFixture() override { zolt_fault_clear(); }

  std::string file(const std::string& acl = "") {
    std::string path = dir.file("file");
    chmod(path.c_str(), 0640);
    if (!acl.empty()) setfacl("--set " + acl, path);
    return path;
  }

  std::string directory(const std::string& access = "", const std::string& byDefault = "") {
    std::string path = dir / "directory";
    mkdir(path.c_str(), 0755);
    chmod(path.c_str(), 0750);
    if (!access.empty()) setfacl("--set " + access, path);
    if (!byDefault.empty()) setfacl("-d --set " + byDefault, path);
    return path;
  }

  static void setfacl(const std::string& arguments, const std::string& path) {
    const auto result = run("setfacl " + arguments + " '" + path + "'");
    EXPECT_EQ(result.status, 0) << result.output;
  }

  TempDir dir;
};

}  // namespace zolt::test
