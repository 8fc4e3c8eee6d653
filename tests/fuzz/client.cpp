#include "client.h"

#include <cerrno>
#include <utility>

#include "fuzz.h"
#include "zolt.h"

namespace zolt::fuzz {

namespace {

const Client::Answer* current = nullptr;

int unsupported() {
  errno = ENOTSUP;
  return -1;
}

}  // namespace

Client::Client(Answer answer) : answer_(std::move(answer)) {
  current = &answer_;
}

Client::~Client() {
  current = nullptr;
}

}  // namespace zolt::fuzz

using zolt::fuzz::unsupported;

int zolt_fcntl(int fd, void* request) {
  if (zolt::fuzz::current == nullptr) return unsupported();
  REQUIRE(fd >= 0);
  return (*zolt::fuzz::current)(request);
}

int zolt_restripe_file(int /*fd*/, void* /*request*/) {
  return unsupported();
}

int zolt_stat_x(const char* /*path*/, unsigned int* /*mask*/, zolt_iattr64* /*buffer*/,
                size_t /*length*/) {
  return unsupported();
}

int zolt_fstat_x(int /*fd*/, unsigned int* /*mask*/, zolt_iattr64* /*buffer*/, size_t /*length*/) {
  return unsupported();
}
