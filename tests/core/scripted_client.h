// The file system's client of the core tests: what a test wants it to answer, and a record of what
// it was asked. Without a script the calls go to the embedded client, by way of the fault library.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "client_replies.h"
#include "zolt.h"

namespace zolt::test {

/// For its lifetime, on every thread, takes the calls of zolt_fcntl and zolt_restripe_file, and
/// looks on at the extended stats. One at a time, and calls one after the other.
class ScriptedClient {
 public:
  /// Fills in the replies of a request and says what the call returns.
  using Answer = std::function<int(void* request)>;

  ScriptedClient();
  ~ScriptedClient();
  ScriptedClient(const ScriptedClient&) = delete;
  ScriptedClient& operator=(const ScriptedClient&) = delete;

  /// What the next call without an answer of its own gets.
  void next(Answer answer) { answers_.push_back(std::move(answer)); }

  /// What every call gets for which there is no other. Before that: -1 with ENOTSUP.
  void otherwise(Answer answer) { otherwise_ = std::move(answer); }

  struct Call {
    bool restripe;
    int fd;
    std::string request;  // as many bytes as its header says, as they came
  };
  const std::vector<Call>& calls() const { return calls_; }

  /// The answers to come for which no call was made.
  size_t left() const { return answers_.size(); }

  /// What an extended stat was asked with.
  struct Stat {
    std::string path;  // empty for a descriptor's
    int fd;            // -1 for a path's
    unsigned int mask;
    size_t length;
    bool operator==(const Stat&) const = default;
  };
  /// Each was passed on, and its mask set to what nobody asks for when it came back.
  const std::vector<Stat>& stats() const { return stats_; }

  /// The client's side.
  void watch(Stat asked) { stats_.push_back(std::move(asked)); }
  int take(bool restripe, int fd, void* request);

 private:
  std::deque<Answer> answers_;
  Answer otherwise_;
  std::vector<Call> calls_;
  std::vector<Stat> stats_;
};

/// A call that returns `result` with that errno.
ScriptedClient::Answer failing(int result, int error);

/// See putPlacement and putLocations.
ScriptedClient::Answer placement(uint32_t replicas, int32_t status, uint32_t bgf = 0);
ScriptedClient::Answer locations(Locations reply);

/// A request that reads an attribute.
ScriptedClient::Answer attribute(int32_t status, const std::string& value);

}  // namespace zolt::test
