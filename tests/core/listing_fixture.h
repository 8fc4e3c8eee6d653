// What the tests of listings share: a directory, calls on it, and what a buffer holds.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/io_exception.h"
#include "dirents/listing.h"
#include "faults.h"
#include "temp_dir.h"

namespace zolt::test {

struct Entry {
  uint64_t inode;
  int type;
  bool operator==(const Entry&) const = default;
};
using Entries = std::map<std::string, Entry>;

/// The records of a buffer, in their order.
inline std::vector<std::pair<std::string, Entry>> parse(const std::vector<char>& memory) {
  std::vector<std::pair<std::string, Entry>> entries;
  int32_t count = 0;
  std::memcpy(&count, memory.data(), sizeof count);
  size_t pos = sizeof count;
  for (int32_t i = 0; i < count; ++i) {
    DirentHeader header{};
    std::memcpy(&header, memory.data() + pos, sizeof header);
    pos += sizeof header;
    const uint64_t inode = header.inode;
    entries.emplace_back(std::string(memory.data() + pos, static_cast<size_t>(header.nameLength)),
                         Entry{inode, header.type});
    pos += static_cast<size_t>(header.nameLength);
  }
  return entries;
}

/// The records of one more buffer, none of which came before.
inline void add(const std::vector<char>& memory, Entries& all) {
  for (const auto& [name, entry] : parse(memory))
    EXPECT_TRUE(all.emplace(name, entry).second) << name << " came twice";
}

/// What a directory holds, by its own account.
inline Entries expected(const std::string& path, bool dirOnly = false) {
  Entries found;
  DIR* stream = opendir(path.c_str());
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || (dirOnly && entry->d_type != DT_DIR)) continue;
    found[name] = {entry->d_ino, entry->d_type};
  }
  closedir(stream);
  return found;
}

struct ListingFixture : ::testing::Test {
  ~ListingFixture() override {
    zolt_fault_clear();
    closeDirents("");
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
  }

  /// One call.
  int list(std::vector<char>& memory, bool dirOnly = false) {
    Buffer<char> out;
    out.setBuffer(memory.data(), memory.size());
    return list(dir.path(), out, dirOnly);
  }
  static int list(const std::string& path, Buffer<char>& out, bool dirOnly = false) {
    bool more = false;
    getDirents(path, out, dirOnly, more).orThrow();
    return more ? 1 : 0;
  }

  /// What counting finds, before it fails or to the end.
  struct DirentCount {
    int count = -1;
    Failure failure;
  };
  static DirentCount getDirentCount(const std::string& path) {
    DirentCount found;
    found.failure = zolt::getDirentCount(path, found.count);
    return found;
  }

  /// A whole listing through buffers of that size; how many it took goes to `calls`.
  Entries listAll(size_t size, bool dirOnly = false) {
    Entries all;
    int result = 1;
    for (calls = 0; result == 1; ++calls) {
      std::vector<char> memory(size, 'x');
      result = list(memory, dirOnly);
      add(memory, all);
    }
    return all;
  }

  /// The code of the IOException that a call ends in, or 0; its text goes to `text`.
  int errorOf(std::vector<char>& memory, std::string* text) {
    try {
      list(memory);
    } catch (const IOException& error) {
      *text = error.what();
      return error.code();
    }
    return 0;
  }

  long descriptorsBefore = openDescriptors();
  TempDir dir;
  int calls = 0;
};

}  // namespace zolt::test
