#include "directives.h"

#include <algorithm>
#include <cerrno>
#include <span>

namespace zolt_client {

namespace {

bool isAnyGood(const char* /*memory*/) {
  return true;
}

bool isGoodReplication(const char* memory) {
  zolt_set_replication_record record;
  load(record, memory);
  return record.dataReplicas >= 1 && record.dataReplicas <= 255;
}

bool isGoodRestripe(const char* memory) {
  zolt_restripe_record record;
  load(record, memory);
  return record.option == ZOLT_RESTRIPE_OPTION;
}

// The block group factor is the one attribute there is.
bool isGoodAttribute(const char* memory) {
  constexpr char BGF[] = {'z', 'o', 'l', 't', '.', 'B', 'G', 'F'};
  zolt_attribute_record record;
  load(record, memory);
  return record.nameLength == sizeof BGF && memcmp(record.name, BGF, sizeof BGF) == 0 &&
         record.flags == ZOLT_ATTRIBUTE_FLAGS && record.valueLength >= 1 &&
         record.valueLength <= sizeof record.value;
}

bool isGoodLocation(const char* memory) {
  zolt_location_record record;
  load(record, memory);
  return record.flags == 0;
}

// One kind of record.
struct Kind {
  uint32_t type;
  size_t length;
  bool (*isGood)(const char* memory);  // whether the fields are such as zolt.h allows
  Act Acts::*act;
};
using Kinds = std::span<const Kind>;

constexpr Kind FCNTL[] = {
    {ZOLT_SET_REPLICATION, sizeof(zolt_set_replication_record), isGoodReplication,
     &Acts::setReplication},
    {ZOLT_READ_REPLICATION, sizeof(zolt_replication_record), isAnyGood, &Acts::readReplication},
    {ZOLT_READ_LOCATIONS, sizeof(zolt_location_record), isGoodLocation, &Acts::readLocations},
    {ZOLT_READ_ATTRIBUTE, sizeof(zolt_attribute_record), isGoodAttribute, &Acts::readAttribute},
    {ZOLT_WRITE_ATTRIBUTE, sizeof(zolt_attribute_record), isGoodAttribute, &Acts::writeAttribute},
};
constexpr Kind RESTRIPE[] = {
    {ZOLT_RESTRIPE, sizeof(zolt_restripe_record), isGoodRestripe, &Acts::restripe},
};

// The records behind a request's header, which may lie at any address.
class Records {
 public:
  Records(char* request, uint32_t length, Kinds kinds)
      : kinds_(kinds), next_(request + sizeof(zolt_request_header)), end_(request + length) {}

  bool atEnd() const { return next_ == end_; }

  // Moves past the next record if it is whole and of a known kind, and remembers it.
  bool step() {
    struct {
      uint32_t length;
      uint32_t type;
    } head;
    const auto room = static_cast<size_t>(end_ - next_);
    if (room < sizeof head) return false;
    memcpy(&head, next_, sizeof head);
    kind_ = std::ranges::find(kinds_, head.type, &Kind::type);
    if (kind_ == kinds_.end() || head.length != kind_->length || room < head.length) return false;
    record_ = next_;
    next_ += head.length;
    return true;
  }

  bool isGood() const { return kind_->isGood(record_); }
  int carryOut(int fd, const Acts& acts) const { return (acts.*kind_->act)(fd, record_); }

 private:
  Kinds kinds_;
  char* next_;
  char* end_;
  char* record_ = nullptr;
  Kinds::iterator kind_;
};

int refuse() {
  errno = EINVAL;
  return -1;
}

bool isWellFormed(Records records) {
  if (records.atEnd()) return false;
  while (!records.atEnd()) {
    if (!records.step() || !records.isGood()) return false;
  }
  return true;
}

int carryOut(int fd, void* request, const Acts& acts, Kinds kinds) {
  if (request == nullptr) return refuse();
  zolt_request_header header;
  memcpy(&header, request, sizeof header);
  if (header.version != ZOLT_REQUEST_VERSION || header.length < sizeof header) return refuse();
  Records records(static_cast<char*>(request), header.length, kinds);
  if (!isWellFormed(records)) return refuse();
  while (!records.atEnd() && records.step()) {
    if (records.carryOut(fd, acts) != 0) return -1;
  }
  return 0;
}

}  // namespace

int carryOut(int fd, void* request, const Acts& acts) {
  return carryOut(fd, request, acts, FCNTL);
}

int carryOutRestripe(int fd, void* request, const Acts& acts) {
  return carryOut(fd, request, acts, RESTRIPE);
}

}  // namespace zolt_client
