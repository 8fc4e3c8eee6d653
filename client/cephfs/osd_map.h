// What the client knows of the cluster at a moment: its pools, and on which OSDs the groups of
// objects lie. A map is never changed: who learns more makes another one of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zolt_cephfs {

using Clock = std::chrono::steady_clock;

/// The node of a copy that is nowhere.
inline constexpr int32_t NO_NODE = -1;

/// The OSDs of a placement group, as a monitor answered in an epoch.
struct Group {
  uint32_t number;
  uint64_t epoch;
  std::vector<int32_t> nodes;
};

/// A pool, with what is known of its groups.
class Pool {
 public:
  struct Facts {
    int64_t id = 0;
    std::string name;
    std::string fileSystem;  // whose data it holds; empty: none's
    uint32_t size = 0;       // OSDs of a group
    uint32_t groups = 0;
    bool isErasure = false;

    bool operator==(const Facts&) const = default;
  };

  explicit Pool(Facts facts);

  const Facts& facts() const { return facts_; }
  /// Copies of the data: in an erasure-coded pool each byte is there once.
  uint8_t copies() const;
  uint32_t groupOfObject(std::string_view objectName) const;

  /// The epoch in which the group was learned; 0 when it never was.
  uint64_t epochOf(uint32_t group) const { return epochs_[group]; }
  /// facts().size nodes, NO_NODE where a copy is missing.
  std::span<const int32_t> nodesOf(uint32_t group) const;

  /// Takes a group as it is now. One that this pool cannot have is left out.
  void learn(const Group& group);

 private:
  Facts facts_;
  uint32_t mask_;
  std::vector<uint64_t> epochs_;  // by group
  std::vector<int32_t> nodes_;    // by group, facts_.size each
};

/// `epoch` was the cluster's present one at `asked`. A group is known for the epoch if it was
/// learned in that one or a later one.
struct OsdMap {
  uint64_t epoch = 0;
  Clock::time_point asked;
  std::vector<std::shared_ptr<const Pool>> pools;

  /// By its name, or its number in decimal (a mount that does not know the name says that); null
  /// when there is none.
  const Pool* pool(std::string_view nameOrId) const;
  const Pool* pool(int64_t id) const;
};

/// The map of another epoch: its pools with what `before` (may be null) knew of them, as long as
/// they have the same groups.
std::shared_ptr<OsdMap> mapOf(uint64_t epoch, Clock::time_point asked,
                              std::vector<Pool::Facts> pools, const OsdMap* before);

/// The map with groups of a pool as they are now.
std::shared_ptr<OsdMap> mapWith(const OsdMap& before, int64_t pool, std::span<const Group> groups);

}  // namespace zolt_cephfs
