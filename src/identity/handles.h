// The switches that Java holds a handle of.
//
// A handle is the address of its FSAccount, which Java may get wrong: use twice, pass to another
// thread, or make up. Each thread knows those that it was given, so that no other is ever followed.
// A switch belongs to its thread in any case; no lock is needed.
#pragma once

#include <cstdint>
#include <string>

#include "base/io_exception.h"

namespace zolt {

/// Switches the calling thread to the user (FSAccount) and answers the handle. Throws IOException.
int64_t beginSwitch(const std::string& user);

/// Ends a switch that this thread has begun and not ended, and frees it. Failure "Unknown handle "
/// with the number for any other, and nothing done. Throws what FSAccount::end does.
Failure endSwitch(int64_t handle);

}  // namespace zolt
