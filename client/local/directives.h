// Requests about an open file, as zolt_fcntl and zolt_restripe_file take them.
#pragma once

namespace zolt_local {

/// Carries out a request of any number of records, in their order. A request is looked through
/// first: one whose version, lengths, types, names, flags or values are not those of zolt.h is
/// EINVAL and changes nothing. 0, or -1 with errno.
int carryOut(int fd, void* request);

/// The same for a request of restripe records, of which one does all there is to do.
int carryOutRestripe(int fd, void* request);

}  // namespace zolt_local
