// Directories of any names, types and positions, listed through buffers of any size: each call
// writes just the records that a plain account of the rules says, and nothing else.
#include "dirents/listing.h"

#include <cerrno>
#include <optional>

#include "base/io_exception.h"
#include "directory.h"
#include "fuzz.h"

using namespace zolt;
using namespace zolt::fuzz;

namespace {

constexpr int MOST_CALLS = 64;

std::vector<DirEntry> someEntries(Input& input) {
  std::vector<DirEntry> entries(input.pick(40));
  off_t position = 0;
  const bool counted = input.flag();
  for (DirEntry& entry : entries) {
    const uint8_t kind = input.byte();
    entry.type = kind % 4 == 0 ? 4 : kind;
    entry.inode = kind % 16 == 1 ? ~uint64_t{0} : kind;
    entry.name = input.bytes(1 + input.byte() % (kind < 200 ? 12U : 255U));
    entry.name = entry.name.substr(0, entry.name.find('\0'));
    if (entry.name.empty()) entry.name = kind % 2 == 0 ? "." : "..";
    entry.error = kind == 255 ? 1 + input.byte() % 133 : 0;
    entry.strayErrno = kind == 254 ? 1 + input.byte() % 133 : 0;
    // Positions mean nothing; they are only all different.
    position = counted ? position + 1
                       : static_cast<off_t>(input.take<uint32_t>()) * 64 + position % 64 + 1;
    entry.next = kind == 253 ? -position : position;
  }
  if (!entries.empty() && input.flag()) entries.back().next = INT64_MAX;
  return entries;
}

// Whether all positions differ, as they do in a directory.
bool canBe(const std::vector<DirEntry>& entries) {
  for (size_t i = 0; i < entries.size(); ++i) {
    for (size_t j = 0; j < i; ++j) {
      if (entries[i].next == entries[j].next) return false;
    }
  }
  return true;
}

std::string recordOf(const DirEntry& entry) {
  std::string record(14, '\0');
  const auto type = static_cast<uint16_t>(entry.type);
  const auto length = static_cast<int32_t>(entry.name.size());
  std::memcpy(record.data(), &entry.inode, 8);
  std::memcpy(record.data() + 8, &type, 2);
  std::memcpy(record.data() + 10, &length, 4);
  return record + entry.name;
}

bool isShown(const DirEntry& entry, bool dirOnly) {
  return entry.name != "." && entry.name != ".." && (!dirOnly || entry.type == 4);
}

struct Page {
  std::string content;  // of the whole buffer
  int result = 0;
  int error = 0;
  size_t next = 0;  // the entry that the next page begins with
};

Page expectedPage(const std::vector<DirEntry>& entries, size_t at, bool dirOnly, size_t size) {
  Page page;
  std::string records;
  int32_t count = 0;
  for (; at < entries.size() && page.result == 0; ++at) {
    if (entries[at].error != 0) {
      page.error = entries[at].error;
      break;
    }
    if (!isShown(entries[at], dirOnly)) continue;
    const std::string record = recordOf(entries[at]);
    if (record.size() > size - 4 - records.size()) {
      page.result = 1;
    } else {
      records += record;
      ++count;
      page.next = entries[at].next >= 1 ? at + 1 : 0;
    }
  }
  std::string head(4, Guarded::UNTOUCHED);
  if (page.error == 0) std::memcpy(head.data(), &count, 4);
  page.content = head + records;
  page.content.resize(size, Guarded::UNTOUCHED);
  return page;
}

bool isFailure(const Failure& failure, int error, const char* text) {
  if (!failure) return error == 0;
  return failure->code() == error && failure->what() == std::string(text);
}

void checkCount(const std::vector<DirEntry>& entries, int openError) {
  int count = 0;
  int error = 0;
  for (const DirEntry& entry : entries) {
    if ((error = entry.error) != 0) break;
    if (isShown(entry, false)) ++count;
  }
  int found = -1;
  const Failure failure = getDirentCount("path", found);
  const bool silent = openError == ENOENT || openError == EACCES;
  const bool refused = openError != 0 && !silent;
  REQUIRE(found == (openError != 0 ? 0 : count));
  REQUIRE(isFailure(failure,
                    openError == 0 ? error
                    : refused      ? openError
                                   : 0,
                    refused ? "failed to open directory path" : "failed to readdir"));
}

void checkListing(const std::vector<DirEntry>& entries, int openError, Input& input,
                  const Directory& directory) {
  const bool dirOnly = input.flag();
  size_t at = 0;
  for (int call = 0; call < MOST_CALLS; ++call) {
    const size_t size = 5 + input.byte() * (input.flag() ? 1U : 12U);
    Guarded memory(size, input.pick(8));
    Buffer<char> out;
    out.setBuffer(memory.data(), memory.size());
    bool more = false;
    const Failure failure = getDirents("path", out, dirOnly, more);
    if (openError != 0) {
      REQUIRE(isFailure(failure, openError, "failed to open directory"));
      REQUIRE(memory.content() == std::string(size, Guarded::UNTOUCHED));
      return;
    }
    const Page page = expectedPage(entries, at, dirOnly, size);
    REQUIRE(memory.content() == page.content);
    REQUIRE(isFailure(failure, page.error, "failed to readdir"));
    if (page.error == 0) REQUIRE(more == (page.result == 1));
    REQUIRE(directory.open() == page.result);
    if (page.result == 0) return;
    at = page.next;
  }
  closeDirents("path");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  drawThreshold(input);
  const uint8_t opening = input.byte();
  const int openError = opening < 8 ? 1 + input.byte() % 133 : 0;
  const std::vector<DirEntry> entries = someEntries(input);
  if (!canBe(entries)) return 0;
  const Directory directory(entries, openError);
  checkCount(entries, openError);
  checkListing(entries, openError, input, directory);
  return 0;
}
