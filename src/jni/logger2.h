// The log: levels, the threshold, and the one-compare log site.
//
// The core includes this header and knows nothing of Java; logger2_java.cpp carries a finished
// message to the service's own logger, and without one every message falls silent.
#pragma once

#include <string>

#include "jni/errno_text.h"
#include "jni/fmt.h"

namespace zolt {

enum LOG_LEVEL : int { LOG_TRACE = 0, LOG_DEBUG = 1, LOG_INFO = 2, LOG_WARN = 3, LOG_ERROR = 4 };

/// The threshold at which no site speaks.
inline constexpr int LOG_OFF = 5;

namespace logger2 {

/// The threshold: a site of level L speaks when currentLevel <= L. Written once, at load.
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
// the first << of a stream) is not evaluated.
#define ZOLT_LOG(level, body)                                                         \
  do {                                                                                \
    if (::zolt::logger2::currentLevel <= (level)) [[unlikely]] {                      \
      ::zolt::logger2::emit((level), static_cast<const char*>(__func__), __LINE__,    \
                            [&](std::ostream& zoltLogLine) { zoltLogLine << body; }); \
    }                                                                                 \
  } while (false)

#define ZOLT_TRACE(body) ZOLT_LOG(::zolt::LOG_TRACE, body)
#define ZOLT_DEBUG(body) ZOLT_LOG(::zolt::LOG_DEBUG, body)
#define ZOLT_INFO(body) ZOLT_LOG(::zolt::LOG_INFO, body)
#define ZOLT_WARN(body) ZOLT_LOG(::zolt::LOG_WARN, body)
#define ZOLT_ERROR(body) ZOLT_LOG(::zolt::LOG_ERROR, body)
