// The records of a request, one kind each: whether one is well formed, and what it does.
//
// A request may lie at any address: `memory` is where the record lies, and its fields are copied
// out and in, never used in place. The type and the length are already known to be right.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zolt_local {

struct Directive {
  uint32_t type;
  size_t length;
  bool (*isGood)(const char* memory);
  int (*carryOut)(int fd, char* memory);  // 0, or -1 with errno
};

/// What zolt_fcntl takes; null for any other type.
const Directive* fcntlDirective(uint32_t type);

/// The one that zolt_restripe_file takes.
extern const Directive RESTRIPE_DIRECTIVE;

}  // namespace zolt_local
