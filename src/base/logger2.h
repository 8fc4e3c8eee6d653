// The log: levels, the threshold, and the one-compare log site.
//
// The core includes this header and knows nothing of Java; logger2_java.cpp carries a finished
// message to the service's own logger, and without one every message falls silent.
#pragma once

#include <string>

#include "base/errno_text.h"
#include "base/fmt.h"

namespace zolt {

enum LOG_LEVEL : int { LOG_TRACE = 0, LOG_DEBUG = 1, LOG_INFO = 2, LOG_WARN = 3, LOG_ERROR = 4 };

/// The threshold at which no site speaks.
inline constexpr int LOG_OFF = 5;

namespace logger2 {

/// The threshold: a site of level L speaks when currentLevel <= L. Written once, at load, before
/// there is a second thread; an atomic number would cost each site an instruction.
extern int currentLevel;

/// Delivers one finished message to the logger. A level outside 0..4 reaches no logger method.
/// Leaves errno and a pending Java exception as they were; with none pending, an exception that the
/// logger itself raises stays pending.
void log(const std::string& text, LOG_LEVEL level);

/// What a log site does once its level is on: builds "@function:line text" and delivers it. A line
/// that cannot be built is lost; it never changes the result of the operation it reports on.
template <class Body>
[[gnu::cold, gnu::noinline]] void emit(LOG_LEVEL level, const char* function, int line,
                                       const Body& body) noexcept {
  const ErrnoKeeper keeper;
  try {
    Fmt text(nullptr);
    text << "@" << function << ":" << line << " ";
    body(text);
    log(text.str(), level);
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace logger2
}  // namespace zolt

// A log site: one comparison while the level is off, and `body` (what would stand to the right of
// the first << of a stream) is not evaluated, nor is `function`.
#define ZOLT_LOG(level, function, body)                                               \
  do {                                                                                \
    if (::zolt::logger2::currentLevel <= (level)) [[unlikely]] {                      \
      ::zolt::logger2::emit((level), (function), __LINE__,                            \
                            [&](std::ostream& zoltLogLine) { zoltLogLine << body; }); \
    }                                                                                 \
  } while (false)

// A site that speaks for the function that it stands in.
#define ZOLT_TRACE(body) ZOLT_TRACE_AS(static_cast<const char*>(__func__), body)
#define ZOLT_DEBUG(body) ZOLT_DEBUG_AS(static_cast<const char*>(__func__), body)
#define ZOLT_INFO(body) ZOLT_LOG(::zolt::LOG_INFO, static_cast<const char*>(__func__), body)
#define ZOLT_WARN(body) ZOLT_WARN_AS(static_cast<const char*>(__func__), body)
#define ZOLT_ERROR(body) ZOLT_ERROR_AS(static_cast<const char*>(__func__), body)

// A site in a helper, whose line bears the name under which administrators know the work: that of
// the function, or of the native, that the helper serves.
#define ZOLT_TRACE_AS(function, body) ZOLT_LOG(::zolt::LOG_TRACE, function, body)
#define ZOLT_DEBUG_AS(function, body) ZOLT_LOG(::zolt::LOG_DEBUG, function, body)
#define ZOLT_WARN_AS(function, body) ZOLT_LOG(::zolt::LOG_WARN, function, body)
#define ZOLT_ERROR_AS(function, body) ZOLT_LOG(::zolt::LOG_ERROR, function, body)

/// A native as log lines name it: by its exported symbol.
#define ZOLT_NATIVE(method) "Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_" #method
