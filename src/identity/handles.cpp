#include "identity/handles.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "base/logger2.h"
#include "identity/fs_account.h"

namespace zolt {

namespace {

// A thread that ends takes its identity along: what it has not ended is only freed, since nothing
// may be logged any more.
using Account = std::unique_ptr<FSAccount, FSAccount::FreeOnly>;
thread_local std::vector<Account> begun;

}  // namespace

int64_t beginSwitch(const std::string& user) {
  begun.reserve(begun.size() + 1);
  Account account(new FSAccount(user));
  begun.push_back(std::move(account));
  return reinterpret_cast<int64_t>(begun.back().get());
}

Failure endSwitch(int64_t handle) {
  // The last one first: switches nest.
  const auto found = std::find_if(begun.rbegin(), begun.rend(), [handle](const Account& each) {
    return reinterpret_cast<int64_t>(each.get()) == handle;
  });
  if (found == begun.rend()) {
    const std::string message = "Unknown handle " + std::to_string(handle);
    ZOLT_WARN(message);
    return IOException(message, EINVAL);
  }
  FSAccount* account = found->release();
  begun.erase(std::next(found).base());
  FSAccount::end(account);
  return {};
}

}  // namespace zolt
