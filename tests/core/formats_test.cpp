// The tables of docs/formats.md beside the structures that they describe.
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "blocks/block_locations.h"
#include "dirents/listing.h"
#include "status/status_record.h"
#include "xattr/xattr.h"
#include "zolt.h"

namespace zolt {
namespace {

struct Row {
  std::string field;
  size_t offset;
  size_t size;

  bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << "| " << row.offset << " | " << row.size << " | " << row.field << " |";
}

// The lines of a section, from its heading to the next one.
std::vector<std::string> section(const std::string& heading) {
  std::ifstream file(FORMATS);
  std::vector<std::string> lines;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) inside = line == "## " + heading;
    if (inside) lines.push_back(line);
  }
  return lines;
}

std::vector<Row> rows(const std::string& heading) {
  static const std::regex pattern(R"(\| (\d+) \| (\d+) \| `(\w+)` \|.*)");
  std::vector<Row> found;
  std::smatch match;
  for (const std::string& line : section(heading)) {
    if (std::regex_match(line, match, pattern))
      found.push_back({match[3], std::stoul(match[1]), std::stoul(match[2])});
  }
  return found;
}

std::string text(const std::string& heading) {
  std::string all;
  for (const std::string& line : section(heading))
    all += line + "\n";
  return all;
}

#define FIELD(type, field)                             \
  Row {                                                \
#field, offsetof(type, field), sizeof(type::field) \
  }

TEST(Formats, TheStatusRecord) {
  const std::vector<Row> expected{
      FIELD(StatusRecord, inode),       FIELD(StatusRecord, size),
      FIELD(StatusRecord, uid),         FIELD(StatusRecord, gid),
      FIELD(StatusRecord, mode),        FIELD(StatusRecord, blockSize),
      FIELD(StatusRecord, atime),       FIELD(StatusRecord, mtime),
      FIELD(StatusRecord, ctime),       FIELD(StatusRecord, acl),
      FIELD(StatusRecord, replication), FIELD(StatusRecord, leaseLength),
      FIELD(StatusRecord, unused)};
  EXPECT_EQ(expected, rows("The status record"));
}

TEST(Formats, TheBlockHeader) {
  const std::vector<Row> expected{
      {"blocksize", BLOCK_HEADER_AT, sizeof(location::blocksize)},
      {"nreplica", BLOCK_HEADER_AT + sizeof(location::blocksize), sizeof(location::nreplica)}};
  EXPECT_EQ(expected, rows("The block header"));
}

TEST(Formats, TheListing) {
  const std::vector<Row> expected{FIELD(DirentHeader, inode), FIELD(DirentHeader, type),
                                  FIELD(DirentHeader, nameLength)};
  EXPECT_EQ(expected, rows("The listing"));
}

TEST(Formats, TheAttributeRecord) {
  const std::vector<Row> expected{
      FIELD(zolt_iattr64, ia_version), FIELD(zolt_iattr64, ia_reclen),
      FIELD(zolt_iattr64, ia_mode),    FIELD(zolt_iattr64, ia_uid),
      FIELD(zolt_iattr64, ia_gid),     FIELD(zolt_iattr64, ia_inode),
      FIELD(zolt_iattr64, ia_size),    FIELD(zolt_iattr64, ia_atime),
      FIELD(zolt_iattr64, ia_mtime),   FIELD(zolt_iattr64, ia_replication),
      FIELD(zolt_iattr64, ia_ctime),   FIELD(zolt_iattr64, ia_blocksize),
      FIELD(zolt_iattr64, ia_flags)};
  EXPECT_EQ(expected, rows("The attribute record of the client"));
}

#undef FIELD

TEST(Formats, TheLeaseAttributes) {
  const std::string leases = text("Leases");
  for (const std::string name : {USER_LEASE_HOLDER, USER_LEASE_UPDATE})
    EXPECT_NE(std::string::npos, leases.find("| `" + name + "` |")) << name;
}

}  // namespace
}  // namespace zolt
