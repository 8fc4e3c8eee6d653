// The extended attributes that a file system could answer with, in place of the system's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zolt::fuzz {

/// How a value is answered: its length, to the question for that alone, then the value itself,
/// which may have changed in between. Each error, here and below, is an errno value; 0: none.
struct Value {
  int probeError;
  size_t probed;
  int readError;
  std::string bytes;
};

/// For its lifetime, every path has these attributes: calls of the getxattr, listxattr, setxattr
/// and removexattr families, the l forms included.
class Attributes {
 public:
  Value names;                // the list; each name should end with a NUL, and need not
  std::vector<Value> values;  // one of them for each name, see of()
  int setError = 0;
  int removeError = 0;
  std::vector<std::string> removed;

  Attributes();
  ~Attributes();
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  const Value& of(const std::string& name) const;
};

/// What reading a value (or the list) comes to by the plain rules: asked for its length, then read
/// into as much room. Nothing: it fails.
std::optional<std::string> readTwice(const Value& value);

}  // namespace zolt::fuzz
