// A directory of a test's own, gone with its contents at the end of the scope.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace zolt::test {

class TempDir {
 public:
  explicit TempDir(const std::string& base = std::filesystem::temp_directory_path()) {
    path_ = base + "/zolt-test-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), path_);
    }
    // Other users get in, as tests act with their rights.
    std::filesystem::permissions(path_, std::filesystem::perms(0755));
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  /// Makes a file with that content and answers its path.
  std::string file(const std::string& name, const std::string& content = "") const {
    std::ofstream(*this / name, std::ios::binary) << content;
    return *this / name;
  }

 private:
  std::string path_;
};

/// How many descriptors the process has open.
inline long openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries)) - 1;  // not the one of this very listing
}

}  // namespace zolt::test
