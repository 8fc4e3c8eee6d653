#include "osd_map.h"

#include <algorithm>
#include <charconv>

#include "object_hash.h"

namespace zolt_cephfs {

Pool::Pool(Facts facts)
    : facts_(std::move(facts)),
      mask_(maskFor(facts_.groups)),
      epochs_(facts_.groups, 0),
      nodes_(size_t{facts_.groups} * facts_.size, NO_NODE) {}

uint8_t Pool::copies() const {
  return facts_.isErasure ? uint8_t{1} : static_cast<uint8_t>(std::min(facts_.size, 255U));
}

uint32_t Pool::groupOfObject(std::string_view objectName) const {
  return groupOf(rjenkins(objectName), facts_.groups, mask_);
}

std::span<const int32_t> Pool::nodesOf(uint32_t group) const {
  return std::span(nodes_).subspan(size_t{group} * facts_.size, facts_.size);
}

void Pool::learn(const Group& group) {
  if (group.number >= facts_.groups) return;
  const auto nodes = std::span(nodes_).subspan(size_t{group.number} * facts_.size, facts_.size);
  std::ranges::fill(nodes, NO_NODE);
  std::copy_n(group.nodes.begin(), std::min(nodes.size(), group.nodes.size()), nodes.begin());
  epochs_[group.number] = group.epoch;
}

const Pool* OsdMap::pool(std::string_view nameOrId) const {
  for (const auto& each : pools) {
    if (each->facts().name == nameOrId) return each.get();
  }
  int64_t id = 0;
  const char* end = nameOrId.data() + nameOrId.size();
  const auto [last, error] = std::from_chars(nameOrId.data(), end, id);
  return error == std::errc{} && last == end ? pool(id) : nullptr;
}

const Pool* OsdMap::pool(int64_t id) const {
  const auto found =
      std::ranges::find(pools, id, [](const auto& each) { return each->facts().id; });
  return found != pools.end() ? found->get() : nullptr;
}

std::shared_ptr<OsdMap> mapOf(uint64_t epoch, Clock::time_point asked,
                              std::vector<Pool::Facts> pools, const OsdMap* before) {
  auto map = std::make_shared<OsdMap>(OsdMap{epoch, asked, {}});
  for (Pool::Facts& facts : pools) {
    std::shared_ptr<const Pool> pool;
    for (const auto& old : before != nullptr ? before->pools : decltype(map->pools){}) {
      if (old->facts() == facts) pool = old;
    }
    map->pools.push_back(pool ? pool : std::make_shared<const Pool>(std::move(facts)));
  }
  return map;
}

std::shared_ptr<OsdMap> mapWith(const OsdMap& before, int64_t pool, std::span<const Group> groups) {
  auto map = std::make_shared<OsdMap>(before);
  for (auto& each : map->pools) {
    if (each->facts().id != pool) continue;
    auto wiser = std::make_shared<Pool>(*each);
    for (const Group& group : groups)
      wiser->learn(group);
    each = wiser;
  }
  return map;
}

}  // namespace zolt_cephfs
