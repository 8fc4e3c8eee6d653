#include "log_names.h"

#include <gtest/gtest.h>

#include "acl/acl.h"
#include "file_status_fixture.h"
#include "log_capture.h"
#include "status/links.h"
#include "status/setters.h"
#include "temp_dir.h"
#include "xattr/lease.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;
using StatusLogNamesTest = test::FileStatusFixture;

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
  EXPECT_EQ(setPermission(file.c_str(), 0640), 0);
  EXPECT_EQ(setTimes(file.c_str(), 1500, 2500), 0);
  EXPECT_EQ(renewLease(file.c_str(), true, 7).error, 0);
  EXPECT_EQ(removeLease(file.c_str(), true).error, ENODATA);
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

// Both forms of a status, and both readers of a link, have messages in common.
TEST_F(StatusLogNamesTest, TheFormsOfAStatusSpeakForThemselves) {
  FSAccount::daemonGid = 12345;
  zolt_fault_arm("getpwuid_r", 1, 1, EIO);
  const LogCapture log;
  full(file_);
  fast(file_);
  memory_ = test::Memory(1);
  getFileStatus(file_.c_str(), true, true, test::NEVER, test::NEVER, memory_);
  getFileStatusFast(file_.c_str(), true, test::NEVER, memory_);
  LinkTarget target;
  EXPECT_EQ(readTarget(file_.c_str(), 1, target), EINVAL);
  getLinkTarget(file_.c_str(), 1);
  std::vector<std::string> lines;
  for (const LogCapture::Line& line : log.lines()) {
    const std::string body = line.body();
    const std::string begin = body.substr(0, body.find(' '));
    const bool isShared = begin == "path:" || begin == "Direct" || begin == "Invalid" ||
                          body.starts_with("Unable to map uid: 0");
    if (isShared) lines.push_back(line.function() + " " + begin);
  }
  EXPECT_EQ((std::vector<std::string>{
                NATIVE(getFileStatusNative) " Unable", NATIVE(getFileStatusNative) " path:",
                NATIVE(getFileStatusFastNative) " path:", NATIVE(getFileStatusNative) " Direct",
                NATIVE(getFileStatusFastNative) " Direct", NATIVE(getLinkTargetNative) " Invalid",
                "getLinkTarget Invalid"}),
            lines);
}

}  // namespace
}  // namespace zolt
