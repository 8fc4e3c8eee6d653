// The client's settings, from the environment of the process.
#pragma once

#include <chrono>
#include <string>

namespace zolt_cephfs {

struct Settings {
  std::string id;                   // of the cephx user, without "client."; empty: librados' own
  std::chrono::seconds timeout;     // how long a call waits for the monitors
  std::chrono::milliseconds fresh;  // for how long the map counts as the cluster's present one
  std::string logFile;              // empty: standard error
};

/// From ZOLT_CEPHFS_ID, ZOLT_CEPHFS_TIMEOUT (seconds, 1 to 600), ZOLT_CEPHFS_FRESH (milliseconds, 1
/// to 60000) and ZOLT_CEPHFS_LOG, as they were when the client was first used.
const Settings& settings();

}  // namespace zolt_cephfs
