// The file system's client of the fuzz targets.
#pragma once

#include <functional>

namespace zolt::fuzz {

/// For its lifetime, takes the calls of zolt_fcntl. Without one they fail with ENOTSUP, as every
/// other call of the client does.
class Client {
 public:
  using Answer = std::function<int(void* request)>;

  explicit Client(Answer answer);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

 private:
  Answer answer_;
};

}  // namespace zolt::fuzz
