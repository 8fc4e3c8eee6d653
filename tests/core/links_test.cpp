#include "status/links.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "faults.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace zolt {
namespace {

using test::LogCapture;
using test::TempDir;

class LinksTest : public testing::Test {
 protected:
  void SetUp() override { zolt_fault_clear(); }
  void TearDown() override { zolt_fault_clear(); }

  std::string link(const std::string& target) const {
    std::string path = dir_ / "link";
    unlink(path.c_str());
    EXPECT_EQ(0, symlink(target.c_str(), path.c_str()));
    return path;
  }

  // What reading answers: the bytes, or "errno N".
  static std::string read(const std::string& path, int length) {
    LinkTarget target;
    target.bytes.fill('#');
    const Errno error = readTarget(path.c_str(), length, target);
    if (error) return "errno " + std::to_string(error.value());
    return {target.bytes.data(), static_cast<size_t>(target.length)};
  }

  TempDir dir_;
};

TEST_F(LinksTest, ReadsTheTargetAndCutsAtTheLength) {
  const std::string path = link("target");
  const LogCapture log;
  EXPECT_EQ("target", read(path, 6));
  EXPECT_EQ("target", read(path, 7));
  EXPECT_EQ("target", read(path, 0x7fffffff));
  EXPECT_EQ("targe", read(path, 5));
  EXPECT_EQ("t", read(path, 1));
  EXPECT_EQ("", read(path, 0));
  EXPECT_TRUE(log.lines().empty()) << log.all();
}

TEST_F(LinksTest, TargetsAreBytes) {
  EXPECT_EQ("\xff\xc3 \n", read(link("\xff\xc3 \n"), 4));
  const std::string longest(4095, 'x');
  EXPECT_EQ(longest, read(link(longest), 4095));
  EXPECT_EQ(longest, read(link(longest), 100000));
}

TEST_F(LinksTest, WhatIsNoLinkIsInvalidAtEveryLength) {
  const std::string file = dir_.file("file");
  for (const int length : {100, 1, 0, -1, static_cast<int>(0x80000000)}) {
    const LogCapture log;
    EXPECT_EQ("errno 22", read(file, length));
    EXPECT_EQ(std::vector{"Invalid link target for " + file}, log.bodies(LOG_WARN));
  }
  EXPECT_EQ("errno 2", read(dir_ / "none", 0));
  EXPECT_EQ("errno 20", read(file + "/below", 10));
}

TEST_F(LinksTest, ANegativeLengthReadsNothing) {
  const std::string path = link("target");
  zolt_fault_arm("readlink", 0, 0, 0);
  const LogCapture log;
  EXPECT_EQ("errno 22", read(path, -1));
  EXPECT_EQ("", getLinkTarget(path.c_str(), -1));
  EXPECT_EQ(0, zolt_fault_calls("readlink"));
  EXPECT_EQ(std::vector{"Invalid link target for " + path}, log.bodies(LOG_WARN));
  EXPECT_EQ(std::vector{"Invalid link target for " + path}, log.bodies(LOG_ERROR));
}

TEST_F(LinksTest, TheErrorsAreTheKernels) {
  for (const int error : {EACCES, EIO, ELOOP}) {
    zolt_fault_arm("readlink", 1, 1, error);
    EXPECT_EQ("errno " + std::to_string(error), read("/", 5));
  }
}

TEST_F(LinksTest, ATargetIsTakenOnlyAtItsExactLength) {
  const std::string path = link("target");
  const LogCapture log;
  EXPECT_EQ("target", getLinkTarget(path.c_str(), 6));
  EXPECT_TRUE(log.lines().empty()) << log.all();
  for (const int length : {0, 1, 5, 7, 8, 4096, 0x7fffffff})
    EXPECT_EQ("", getLinkTarget(path.c_str(), length)) << length;
  const auto errors = log.bodies(LOG_ERROR);
  EXPECT_EQ(std::vector(7, "Invalid link target for " + path), errors);
}

TEST_F(LinksTest, TheLongestTargetIsTaken) {
  const std::string longest(4095, 'x');
  const std::string path = link(longest);
  EXPECT_EQ(longest, getLinkTarget(path.c_str(), 4095));
  EXPECT_EQ("", getLinkTarget(path.c_str(), 4094));
  EXPECT_EQ("", getLinkTarget(path.c_str(), 4096));
}

TEST_F(LinksTest, NoTargetWhereThereIsNoLink) {
  const LogCapture log;
  EXPECT_EQ("", getLinkTarget((dir_ / "none").c_str(), 3));
  EXPECT_EQ("", getLinkTarget(dir_.file("file").c_str(), 0));
  EXPECT_EQ("", getLinkTarget(nullptr, 3));
  EXPECT_EQ((std::vector<std::string>{"Invalid link target for " + (dir_ / "none"),
                                      "Invalid link target for " + (dir_ / "file"),
                                      "Invalid link target for null"}),
            log.bodies(LOG_ERROR));
}

}  // namespace
}  // namespace zolt
