// An access control list as text: its own form, and what is said of a malformed one.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "acl_fixture.h"
#include "acl_helpers.h"
#include "faults.h"
#include "log_capture.h"

namespace zolt {
namespace {

using namespace test;

using AclTextTest = test::AclFixture;

struct Malformed {
  std::vector<Row> rows;
  std::string text;  // as libacl writes it, the lines joined
  std::string reason;
};

TEST_F(AclTextTest, AMalformedListIsShownInOneLine) {
  const Malformed lists[] = {
      {{}, "", "Missing or wrong entry"},
      {{{1, 0, 6}, {4, 0, 4}}, "user::rw-,group::r--,", "Missing or wrong entry"},
      {{{1, 0, 6}, {1, 0, 6}, {4, 0, 4}, {32, 0, 0}},
       "user::rw-,user::rw-,group::r--,other::---,",
       "Multiple entries of same type"},
      {{{1, 0, 6}, {2, 4321, 6}, {2, 4321, 4}, {4, 0, 4}, {16, 0, 7}, {32, 0, 0}},
       "user::rw-,user:4321:rw-,user:4321:r--,group::r--,mask::rwx,other::---,",
       "Duplicate entries"},
      {{{1, 0, 6}, {2, 4321, 6}, {4, 0, 4}, {32, 0, 0}},
       "user::rw-,user:4321:rw-,group::r--,other::---,",
       "Missing or wrong entry"},
      // Ids that have a name are shown by it.
      {{{1, 0, 6}, {2, 0, 6}, {4, 0, 4}, {8, 0, 1}, {32, 0, 0}},
       "user::rw-,user:root:rw-,group::r--,group:root:--x,other::---,",
       "Missing or wrong entry"},
  };
  for (const Malformed& list : lists) {
    ACL acl(ACCESS);
    fill(acl, list.rows);
    const LogCapture log;
    const auto failure = failureOf([&] { acl.valid(); });
    const std::string text = ": Malformed access ACL \"" + list.text + "\": " + list.reason;
    EXPECT_EQ(failure.text, text);
    EXPECT_EQ(failure.code, EINVAL);
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{text});
    EXPECT_EQ(log.bodies(LOG_TRACE), std::vector<std::string>{"valid failed dump " + acl.dump()});
  }
}

TEST_F(AclTextTest, AMalformedListThatCannotBeShownIsTheFailureToShowIt) {
  {
    ACL acl(ACCESS);
    zolt_fault_arm("acl_to_text", 1, 1, EDEADLK);
    const LogCapture log(LOG_ERROR);
    const auto failure = failureOf([&] { acl.valid(); });
    EXPECT_EQ(failure.text, "acl_to_text");
    EXPECT_EQ(failure.code, EDEADLK);
    EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"acl_to_text error 35: acl_to_text"});
  }
  EXPECT_EQ(objectsAlive(), 1);  // the text that there was none of
}

TEST_F(AclTextTest, TheTextFormIsTheTypeAndTheLongText) {
  for (const int type : {ACCESS, DEFAULT}) {
    ACL acl(static_cast<unsigned>(type));
    fill(acl, {{1, 0, 7}, {2, 4321, 6}, {4, 0, 4}, {16, 0, 5}, {32, 0, 0}});
    long length = 0;
    const std::string text = acl.to_text(&length);
    EXPECT_EQ(text,
              test::ints({type}) +
                  "user::rwx\nuser:4321:rw-\t#effective:r--\ngroup::r--\nmask::r-x\nother::---\n");
    EXPECT_EQ(length, static_cast<long>(text.size()));
    EXPECT_EQ(acl.to_text(nullptr), text);

    ACL read(text.c_str());
    EXPECT_EQ(read.get_type(), static_cast<unsigned>(type));
    EXPECT_EQ(read.dump(), acl.dump());
    EXPECT_EQ(read.get_path(), "");
    EXPECT_EQ(read.to_text(nullptr), text);
  }
}

TEST_F(AclTextTest, ReadingATextReplacesListTypeAndPath) {
  ACL acl(file(), ACCESS);
  acl.from_text((test::ints({DEFAULT}) + "u::rwx,g::r,o::x").c_str());
  EXPECT_EQ(acl.dump(), "default:user_obj::rwx,group_obj::r--,other::--x");
  EXPECT_EQ(acl.get_path(), "");
}

TEST_F(AclTextTest, ATextThatIsNoneIsAnError) {
  ACL acl(ACCESS);
  const LogCapture log(LOG_ERROR);
  const auto failure =
      failureOf([&] { acl.from_text((test::ints({ACCESS}) + "u::nonsense").c_str()); });
  EXPECT_EQ(failure.text, "u::nonsense");
  EXPECT_EQ(failure.code, EINVAL);
  EXPECT_EQ(log.bodies(LOG_ERROR), std::vector<std::string>{"acl_from_text error 22: u::nonsense"});
  EXPECT_EQ(acl.dump(), "nil");
}

// --- threads

// While one thread is in a translation, others get this long to come in as well.
constexpr auto PATIENCE = std::chrono::milliseconds(50);

std::atomic<int> inside = 0;
std::atomic<int> together = 0;

void enter() {
  if (++inside > 1) ++together;
  std::this_thread::sleep_for(PATIENCE);
  --inside;
}

// The functions of libacl that look names up, slowed down; the lists come from the real ones.
struct Slow {
  Slow() {
    together = 0;
    toText = ACLUtil::acl_to_text;
    fromText = ACLUtil::acl_from_text;
    ACLUtil::acl_to_text = [](acl_t acl, ssize_t* length) noexcept {
      enter();
      return toText(acl, length);
    };
    ACLUtil::acl_from_text = [](const char* text) noexcept {
      enter();
      return fromText(text);
    };
  }
  ~Slow() {
    ACLUtil::acl_to_text = toText;
    ACLUtil::acl_from_text = fromText;
  }
  Slow(const Slow&) = delete;
  Slow& operator=(const Slow&) = delete;

  static inline decltype(ACLUtil::acl_to_text) toText = nullptr;
  static inline decltype(ACLUtil::acl_from_text) fromText = nullptr;
};

// libacl looks names up in static storage.
TEST_F(AclTextTest, OneThreadAtATimeTranslatesNames) {
  const std::string text = test::ints({ACCESS}) + "u::rwx,g::r,o::x";
  const std::function<void()> calls[] = {
      [] { EXPECT_EQ(failureOf([] { ACL(ACCESS).valid(); }).code, EINVAL); },
      [] { ACL(ACCESS).to_text(nullptr); }, [&] { ACL read(text.c_str()); }};
  const Slow slow;
  for (const auto& one : calls) {
    for (const auto& other : calls) {
      std::thread beside(other);
      one();
      beside.join();
    }
  }
  EXPECT_EQ(together, 0);
}

}  // namespace
}  // namespace zolt
