// What the tests of identity share: users of the fault library's, so that they are the same
// everywhere, and the daemon's identity put back.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "base/io_exception.h"
#include "base/settings.h"
#include "faults.h"
#include "identity/fs_account.h"
#include "thread_identity.h"

namespace zolt::test {

class IdentityFixture : public testing::Test {
 protected:
  void SetUp() override {
    zolt_fault_clear();
    daemonUid_ = FSAccount::daemonUid;
    daemonGid_ = FSAccount::daemonGid;
  }
  void TearDown() override {
    zolt_fault_clear();
    alwaysSuper = false;
    FSAccount::daemonUid = daemonUid_;
    FSAccount::daemonGid = daemonGid_;
  }

  // On a thread that has accounts of its own: alice of a group of hers, service of the daemon's.
  static void withAccounts(const std::function<void()>& body) {
    onThread([&] {
      zolt_fault_user("alice", 70001, 70002, 0);
      zolt_fault_user("service", 70003, FSAccount::daemonGid, 0);
      body();
    });
  }

  template <class Body>
  static void expectIOException(const std::string& message, int code, const Body& body) {
    try {
      body();
      ADD_FAILURE() << "no exception for " << message;
    } catch (const IOException& error) {
      EXPECT_EQ(message, error.what());
      EXPECT_EQ(code, error.code());
    }
  }

 private:
  uint32_t daemonUid_ = 0;
  uint32_t daemonGid_ = 0;
};

}  // namespace zolt::test
