// The process-wide settings. Plain globals: Java sets them at start, before the natives that read
// them run concurrently.
#pragma once

#include <cstdint>

namespace zolt {

extern uint64_t defaultBlockSize;  // bytes; for files without a block group factor
extern int defaultReplication;     // at least 1
extern bool alwaysSuper;           // true: no identity switching takes place anywhere

/// Each value is taken when positive; otherwise the old one stays and a warning says so.
void setDefaultBlockSizeReplication(int64_t blockSize, int replication);

}  // namespace zolt
