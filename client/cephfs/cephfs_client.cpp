// libzolt.so for CephFS: the client interface over a mount of ceph-fuse or of the kernel.
#include <cerrno>
#include <new>
#include <system_error>

#include "attribute_record.h"
#include "attributes.h"
#include "directives.h"
#include "log.h"
#include "records.h"
#include "zolt.h"

namespace {

int refuse(int error) {
  errno = error;
  return -1;
}

// No exception reaches a caller that may be C.
template <class Body>
int guarded(const Body& body) noexcept {
  try {
    return body();
  } catch (const std::system_error& e) {  // no thread could be made
    zolt_cephfs::log(e.what());
    return refuse(EAGAIN);
  } catch (const std::bad_alloc&) {
    return refuse(ENOMEM);
  } catch (const std::exception& e) {
    zolt_cephfs::log(e.what());
    return refuse(EIO);
  }
}

}  // namespace

int zolt_stat_x(const char* path, unsigned int* liteMask, zolt_iattr64* buffer,
                size_t bufferLength) {
  if (path == nullptr || !zolt_client::isGoodStat(liteMask, buffer, bufferLength))
    return refuse(EINVAL);
  return guarded([&] { return readAttributes(zolt_cephfs::File(path), *buffer); });
}

int zolt_fstat_x(int fd, unsigned int* liteMask, zolt_iattr64* buffer, size_t bufferLength) {
  if (!zolt_client::isGoodStat(liteMask, buffer, bufferLength)) return refuse(EINVAL);
  return guarded([&] { return readAttributes(zolt_cephfs::File(fd), *buffer); });
}

int zolt_fcntl(int fd, void* request) {
  return guarded([&] { return zolt_client::carryOut(fd, request, zolt_cephfs::ACTS); });
}

int zolt_restripe_file(int fd, void* request) {
  return guarded([&] { return zolt_client::carryOutRestripe(fd, request, zolt_cephfs::ACTS); });
}
