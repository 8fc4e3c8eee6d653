// A connection to the cluster's monitors, by librados. What it asks takes the rights to "osd dump"
// and "pg map" and no others.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "osd_map.h"

namespace zolt_cephfs {

/// The monitors did not answer, or refused. The text is for the log.
class NoAnswer : public std::runtime_error {
 public:
  NoAnswer(int error, const std::string& what) : std::runtime_error(what), error_(error) {}
  /// An errno, as librados gave it.
  int error() const { return error_; }

 private:
  int error_;
};

struct Pools {
  uint64_t epoch;
  std::vector<Pool::Facts> facts;
};

/// For one thread, which the calls may hold up for as long as the monitors are given; each ends in
/// NoAnswer when it gets none.
class Monitors {
 public:
  /// With the configuration file of CEPH_CONF, else Ceph's own places; then CEPH_ARGS.
  Monitors();
  ~Monitors();
  Monitors(const Monitors&) = delete;
  Monitors& operator=(const Monitors&) = delete;

  Pools pools();
  Group group(int64_t pool, uint32_t number);

 private:
  std::string ask(const std::string& command);

  struct Closer {
    void operator()(void* cluster) const;
  };
  std::unique_ptr<void, Closer> cluster_;  // rados_t
};

}  // namespace zolt_cephfs
