// What the tests of access control lists share: streams by entries, files with known lists, and the
// system's own tools.
#pragma once

#include <sys/acl.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "faults.h"

namespace zolt::test {

inline constexpr int ACCESS = 32768;
inline constexpr int DEFAULT = 16384;

inline void append(std::string& stream, int32_t value) {
  stream.append(reinterpret_cast<const char*>(&value), sizeof value);
}

inline std::string ints(std::initializer_list<int> values) {
  std::string stream;
  for (const int value : values)
    append(stream, value);
  return stream;
}

struct CommandResult {
  int status;
  std::string output;  // of both streams
};

/// Runs a shell command against the system's own libraries.
inline CommandResult run(const std::string& command) {
  FILE* pipe = popen(("unset LD_LIBRARY_PATH LD_PRELOAD; exec 2>&1; " + command).c_str(), "r");
  if (pipe == nullptr) return {-1, "popen failed"};
  CommandResult result{0, ""};
  std::array<char, 4096> chunk;
  for (size_t got = 0; (got = fread(chunk.data(), 1, chunk.size(), pipe)) > 0;)
    result.output.append(chunk.data(), got);
  result.status = pclose(pipe);
  return result;
}

/// The lists of a path as the system's own tool shows them, one entry a line.
inline std::string getfacl(const std::string& path) {
  return run("getfacl --absolute-names --omit-header --numeric --no-effective '" + path + "'")
      .output;
}

// What libacl hands out and must get back.
inline constexpr std::array<const char*, 5> MAKERS = {"acl_init", "acl_get_file", "acl_from_text",
                                                      "acl_to_text", "acl_get_qualifier"};

inline bool makesObjects(const std::string& function) {
  return std::ranges::find(MAKERS, function) != MAKERS.end();
}

/// How much of it has not come back since the last zolt_fault_clear; a call that was failed counts.
inline int objectsAlive() {
  int handedOut = 0;
  for (const char* maker : MAKERS)
    handedOut += zolt_fault_calls(maker);
  return handedOut - zolt_fault_calls("acl_free");
}

}  // namespace zolt::test
