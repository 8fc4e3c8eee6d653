// The process-wide settings.
#pragma once

#include <atomic>
#include <cstdint>

namespace zolt {

/// True: no identity is switched anywhere. Java may set it at any time; nothing else is ordered by
/// it.
extern std::atomic<bool> alwaysSuper;

// Plain: Java sets them at start, before the natives that read them run on other threads.
extern uint64_t defaultBlockSize;  // bytes; for files without a block group factor
extern int defaultReplication;     // at least 1

/// Each value is taken when positive; otherwise the old one stays and a warning says so.
void setDefaultBlockSizeReplication(int64_t blockSize, int replication);

}  // namespace zolt
