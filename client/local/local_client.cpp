// The embedded libzolt.so: the client interface over any local file system.
#include <cerrno>

#include "attribute_record.h"
#include "attributes.h"
#include "directives.h"
#include "records.h"
#include "zolt.h"

namespace {

using zolt_client::isGoodStat;

int refuse(int error) {
  errno = error;
  return -1;
}

// The system call is made here and no deeper: the processor mispredicts each return after it.
int readAttributes(const zolt_local::File& file, zolt_iattr64* buffer) {
  struct stat st;
  if (file.stat(st) != 0) return -1;
  zolt_local::storeAttributes(file, st, buffer);
  return 0;
}

}  // namespace

int zolt_stat_x(const char* path, unsigned int* liteMask, zolt_iattr64* buffer,
                size_t bufferLength) {
  if (path == nullptr || !isGoodStat(liteMask, buffer, bufferLength)) return refuse(EINVAL);
  return readAttributes(zolt_local::File(path), buffer);
}

int zolt_fstat_x(int fd, unsigned int* liteMask, zolt_iattr64* buffer, size_t bufferLength) {
  if (!isGoodStat(liteMask, buffer, bufferLength)) return refuse(EINVAL);
  return readAttributes(zolt_local::File(fd), buffer);
}

int zolt_fcntl(int fd, void* request) {
  return zolt_client::carryOut(fd, request, zolt_local::ACTS);
}

int zolt_restripe_file(int fd, void* request) {
  return zolt_client::carryOutRestripe(fd, request, zolt_local::ACTS);
}
