#include "log_names.h"

#include <gtest/gtest.h>

#include "acl/acl.h"
#include "log_capture.h"
#include "status/setters.h"
#include "temp_dir.h"
#include "xattr/lease.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

#define NATIVE(method) "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_" #method

// Every line that any test logs is held against the table of names (log_capture.cpp); so at the end
// every message of the table must have been among them.
class EveryMessageIsSeen : public testing::Environment {
  void TearDown() override {
    if (testing::GTEST_FLAG(filter) != "*" || testing::UnitTest::GetInstance()->Failed()) return;
    for (const std::string& message : test::unseenMessages())
      ADD_FAILURE() << "no test logs: " << message;
  }
};
const testing::Environment* const everyMessage =
    testing::AddGlobalTestEnvironment(new EveryMessageIsSeen);

// The trace lines that begin with a path, as no table can tell them apart.
TEST(LogNames, WhatBeginsWithAPathSpeaksForItsNativeToo) {
  const TempDir dir;
  const std::string file = dir.file("file");
  const LogCapture log;
  setPermission(file.c_str(), 0640);
  setTimes(file.c_str(), 1500, 2500);
  renewLease(file.c_str(), true, 7);
  removeLease(file.c_str(), true);
  std::vector<std::string> lines;
  for (const LogCapture::Line& line : log.lines()) {
    if (line.level == LOG_TRACE) lines.push_back(line.function() + " " + line.body());
  }
  EXPECT_EQ((std::vector<std::string>{NATIVE(setPermission) " " + file + ", 416",
                                      NATIVE(setTimes) " " + file + ", 1500, 2500",
                                      NATIVE(renewFileLeaseNative) " " + file + " 7",
                                      NATIVE(removeFileLeaseNative) " " + file}),
            lines);
}

}  // namespace
}  // namespace zolt
