// Which component of a path refuses access: a report for the administrator's log, at trace level.
#pragma once

#include <sys/stat.h>

#include <string>

namespace zolt {

/// Logs, at debug, the deepest ancestor of the path that the calling thread can stat, and then
/// every component between the path and that ancestor as the superuser sees it. Does nothing unless
/// the threshold is trace. Never throws.
///
/// Unless alwaysSuper is set, the thread is left with the service's own identity, whatever it had
/// before; the scope of a switch that encloses the call restores that at its own end.
void getFailedPath(const char* path, bool followLink) noexcept;

/// One walk from the path upwards, ending at `stop`, at "/", or where there is no parent (a
/// relative path). Without `verbose` it ends at the first component that can be stat'ed and reports
/// that one; with it, it reports every component, one that cannot be stat'ed with what `st` held
/// before. Returns where it ended. The report is one message at debug.
std::string getFailedPathInt(const char* path, const char* stop, bool followLink, struct stat& st,
                             bool verbose);

}  // namespace zolt
