#include "layout.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>

#include "log.h"

namespace zolt_cephfs {

namespace {

// Takes "key=" and the number behind it, and the blank behind that.
bool takeNumber(std::string_view& text, std::string_view key, uint64_t& number) {
  if (!text.starts_with(key)) return false;
  text.remove_prefix(key.size());
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || last == end || *last != ' ' || number == 0) return false;
  text.remove_prefix(static_cast<size_t>(last - text.data()) + 1);
  return true;
}

int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

uint64_t FileLayout::objectAt(uint64_t offset) const {
  const uint64_t unit = offset / stripeUnit;
  const uint64_t stripe = unit / stripeCount;
  const uint64_t unitsOfObject = objectSize / stripeUnit;
  return stripe / unitsOfObject * stripeCount + unit % stripeCount;
}

std::optional<FileLayout> layoutFrom(std::string_view text) {
  FileLayout layout;
  if (!takeNumber(text, "stripe_unit=", layout.stripeUnit) ||
      !takeNumber(text, "stripe_count=", layout.stripeCount) ||
      !takeNumber(text, "object_size=", layout.objectSize) ||
      layout.objectSize % layout.stripeUnit != 0 || !text.starts_with("pool="))
    return std::nullopt;
  text.remove_prefix(std::string_view("pool=").size());
  constexpr std::string_view NAMESPACE = " pool_namespace=";
  const size_t at = text.find(NAMESPACE);
  layout.pool = text.substr(0, at);
  if (at != std::string_view::npos) layout.nameSpace = text.substr(at + NAMESPACE.size());
  if (layout.pool.empty()) return std::nullopt;
  return layout;
}

int readLayout(const File& file, FileLayout& layout) {
  std::array<char, 1024> text{};
  const ssize_t length = file.getAttribute("ceph.file.layout", text.data(), text.size());
  if (length < 0) return errno == ENODATA ? fail(EOPNOTSUPP) : -1;
  auto found = layoutFrom({text.data(), static_cast<size_t>(length)});
  if (!found) {
    log("a file's layout is not one: \"" + std::string(text.data(), static_cast<size_t>(length)) +
        "\"");
    return fail(EIO);
  }
  layout = *std::move(found);
  return 0;
}

ObjectNames::ObjectNames(uint64_t inode, std::string_view nameSpace) {
  std::array<char, 20> number{};
  std::snprintf(number.data(), number.size(), "%" PRIx64 ".", inode);
  if (!nameSpace.empty()) name_.append(nameSpace).append(1, '\037');
  name_.append(number.data());
  prefix_ = name_.size();
}

std::string_view ObjectNames::of(uint64_t object) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  int digits = 8;
  while (digits < 16 && object >> (4 * digits) != 0)
    ++digits;
  name_.resize(prefix_);
  while (digits > 0)
    name_.push_back(DIGITS[object >> (4 * --digits) & 15]);
  return name_;
}

}  // namespace zolt_cephfs
