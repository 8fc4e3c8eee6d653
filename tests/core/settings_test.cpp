#include "base/settings.h"

#include <gtest/gtest.h>

#include "log_capture.h"

namespace zolt {
namespace {

using test::LogCapture;

// What the settings are before anything runs.
const int levelAtStart = logger2::currentLevel;
const uint64_t blockSizeAtStart = defaultBlockSize;
const int replicationAtStart = defaultReplication;
const bool alwaysSuperAtStart = alwaysSuper;

TEST(SettingsAtStart, AreThoseOfTheLibrary) {
  EXPECT_EQ(levelAtStart, 2);
  EXPECT_EQ(blockSizeAtStart, 0U);
  EXPECT_EQ(replicationAtStart, 1);
  EXPECT_FALSE(alwaysSuperAtStart);
}

struct SettingsTest : ::testing::Test {
  SettingsTest() { reset(); }
  ~SettingsTest() override { reset(); }
  static void reset() {
    defaultBlockSize = 0;
    defaultReplication = 1;
  }
  LogCapture log;
};

TEST_F(SettingsTest, PositiveValuesAreTakenSilently) {
  setDefaultBlockSizeReplication(1, 2);
  EXPECT_EQ(defaultBlockSize, 1U);
  EXPECT_EQ(defaultReplication, 2);
  setDefaultBlockSizeReplication(INT64_MAX, INT32_MAX);
  EXPECT_EQ(defaultBlockSize, static_cast<uint64_t>(INT64_MAX));
  EXPECT_EQ(defaultReplication, INT32_MAX);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SettingsTest, ABadBlockSizeIsWarnedAboutAndTheReplicationStillTaken) {
  setDefaultBlockSizeReplication(77, 1);
  setDefaultBlockSizeReplication(0, 3);
  EXPECT_EQ(defaultBlockSize, 77U);
  EXPECT_EQ(defaultReplication, 3);
  setDefaultBlockSizeReplication(-5, 4);
  EXPECT_EQ(defaultBlockSize, 77U);
  EXPECT_EQ(log.bodies(LOG_WARN), (std::vector<std::string>{"Invalid default blocksize 0",
                                                            "Invalid default blocksize -5"}));
}

TEST_F(SettingsTest, ABadReplicationIsWarnedAboutAndTheBlockSizeStillTaken) {
  setDefaultBlockSizeReplication(10, 0);
  setDefaultBlockSizeReplication(20, -1);
  EXPECT_EQ(defaultBlockSize, 20U);
  EXPECT_EQ(defaultReplication, 1);
  EXPECT_EQ(log.bodies(LOG_WARN), (std::vector<std::string>{"Invalid default replication 0",
                                                            "Invalid default replication -1"}));
}

TEST_F(SettingsTest, TwoBadValuesAreTwoWarnings) {
  setDefaultBlockSizeReplication(0, 0);
  EXPECT_EQ(log.lines().size(), 2U);
}

}  // namespace
}  // namespace zolt
