// A place for the marks of one file, without a lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "marks.h"

namespace zolt_local {

/// What a file's marks belong to.
struct Version {
  uint64_t device;
  uint64_t inode;
  int64_t seconds;
  int64_t nanoseconds;

  bool operator==(const Version&) const = default;
};

/// One remembered file, for any number of threads at a time.
///
/// `turn_` is odd while a thread writes; a reader that saw two different ones has read a mixture.
/// The members are written and read in their order (release, acquire), which puts them between the
/// two looks at `turn_`.
class Slot {
 public:
  /// False, and nothing written, when it is another file that is remembered, or none.
  bool find(const Version& wanted, Marks& marks) const {
    const uint32_t before = turn_.load(std::memory_order_acquire);
    if (before % 2 != 0) return false;
    const Version found{
        device_.load(std::memory_order_acquire), inode_.load(std::memory_order_acquire),
        seconds_.load(std::memory_order_acquire), nanoseconds_.load(std::memory_order_acquire)};
    const Marks foundMarks = marks_.load(std::memory_order_acquire);
    if (turn_.load(std::memory_order_relaxed) != before || found != wanted) return false;
    marks = foundMarks;
    return true;
  }

  /// A slot that another thread is writing is left to it.
  void keep(const Version& version, Marks marks) {
    uint32_t before = turn_.load(std::memory_order_relaxed);
    if (before % 2 != 0 || !turn_.compare_exchange_strong(before, before + 1)) return;
    device_.store(version.device, std::memory_order_release);
    inode_.store(version.inode, std::memory_order_release);
    seconds_.store(version.seconds, std::memory_order_release);
    nanoseconds_.store(version.nanoseconds, std::memory_order_release);
    marks_.store(marks, std::memory_order_release);
    turn_.store(before + 2, std::memory_order_release);
  }

 private:
  std::atomic<uint32_t> turn_{0};
  std::atomic<Marks> marks_{0};
  std::atomic<uint64_t> device_{0};
  std::atomic<uint64_t> inode_{0};  // 0, which no file has, where nothing is remembered
  std::atomic<int64_t> seconds_{0};
  std::atomic<int64_t> nanoseconds_{0};
};

}  // namespace zolt_local
