#include "directives.h"

#include <cerrno>
namespace zolt_client {

namespace {

// The records behind a request's header, which may lie at any address.
class Records {
 public:
  Records(char* request, uint32_t length)
      : next_(request + sizeof(zolt_request_header)), end_(request + length) {}

  bool atEnd() const { return next_ == end_; }

  // Moves past the next record if it is whole and of a known kind, and remembers it.
  bool step(Lookup lookup) {
    struct {
      uint32_t length;
      uint32_t type;
    } head;
    const auto room = static_cast<size_t>(end_ - next_);
    if (room < sizeof head) return false;
    memcpy(&head, next_, sizeof head);
    directive_ = lookup(head.type);
    if (directive_ == nullptr || head.length != directive_->length || room < head.length)
      return false;
    record_ = next_;
    next_ += head.length;
    return true;
  }

  bool isGood() const { return directive_->isGood(record_); }
  int carryOut(int fd) const { return directive_->carryOut(fd, record_); }

 private:
  char* next_;
  char* end_;
  char* record_ = nullptr;
  const Directive* directive_ = nullptr;
};

int refuse() {
  errno = EINVAL;
  return -1;
}

bool isWellFormed(Records records, Lookup lookup) {
  if (records.atEnd()) return false;
  while (!records.atEnd()) {
    if (!records.step(lookup) || !records.isGood()) return false;
  }
  return true;
}

}  // namespace

int carryOut(int fd, void* request, Lookup lookup) {
  if (request == nullptr) return refuse();
  zolt_request_header header;
  memcpy(&header, request, sizeof header);
  if (header.version != ZOLT_REQUEST_VERSION || header.length < sizeof header) return refuse();
  Records records(static_cast<char*>(request), header.length);
  if (!isWellFormed(records, lookup)) return refuse();
  while (!records.atEnd() && records.step(lookup)) {
    if (records.carryOut(fd) != 0) return -1;
  }
  return 0;
}

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

}  // namespace zolt_client
