// What an operator should know, a line each, on standard error or in the file of ZOLT_CEPHFS_LOG.
//
// The library that calls the client passes an errno on to its caller and knows no more; the reason
// stands here. Ceph's own words are switched off, since they would go to whatever is descriptor 2.
#pragma once

#include <string_view>

namespace zolt_cephfs {

/// Writes "time libzolt: text" in one piece. A line that cannot be written is lost. Keeps errno.
void log(std::string_view text) noexcept;

}  // namespace zolt_cephfs
