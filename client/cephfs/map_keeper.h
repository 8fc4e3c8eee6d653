// The map of the cluster that all calls of the process share, and the thread that keeps it.
//
// That thread alone talks to the monitors. It acts as the service itself: the threads that call the
// client have the file-system identity of their users, with which the keyring cannot be read. And a
// call that waits for it can give up waiting, which no call of librados can.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <thread>

#include "monitors.h"
#include "osd_map.h"

namespace zolt_cephfs {

/// What the keeper asks; Monitors, or a test's.
struct Source {
  std::function<Pools()> pools;
  std::function<Group(int64_t pool, uint32_t group)> group;
};

/// For any number of threads.
///
/// A map counts as present for `fresh` after its epoch was asked for. A call that needs more than
/// there is waits for it, for `timeout` at most. While the monitors give no answer no other call
/// waits: it gets what is known, and the keeper goes on asking, once in `fresh`, until one answers.
class MapKeeper {
 public:
  using Connect = std::function<Source()>;
  MapKeeper(Connect connect, Clock::duration fresh, Clock::duration timeout);
  ~MapKeeper();
  MapKeeper(const MapKeeper&) = delete;
  MapKeeper& operator=(const MapKeeper&) = delete;

  /// The present map; an older one while the monitors are away; null when there is none yet, and
  /// then errno says why: ETIMEDOUT, or EIO for a refusal.
  std::shared_ptr<const OsdMap> map();

  /// The same, with an epoch that is asked for now.
  std::shared_ptr<const OsdMap> newest();

  /// The same as map(), with these groups of the pool. Some may be as they were in an earlier
  /// epoch, or unknown; in that case too errno says why.
  std::shared_ptr<const OsdMap> mapWith(int64_t pool, std::span<const uint32_t> groups);

  /// Ends the thread when it comes to rest within the time; else it is left alone with what it has.
  void end(Clock::duration time);

 private:
  struct State;
  static void run(const std::shared_ptr<State>& state);

  std::shared_ptr<State> state_;
  std::thread thread_;
};

/// That of the process, begun at its first use.
MapKeeper& theKeeper();

}  // namespace zolt_cephfs
