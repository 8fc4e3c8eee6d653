#include "map_keeper.h"

#include <pthread.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "log.h"
#include "settings.h"

namespace zolt_cephfs {

using Wanted = std::map<int64_t, std::set<uint32_t>>;  // groups, by pool

struct MapKeeper::State {
  State(Connect how, Clock::duration freshFor, Clock::duration waitFor)
      : connect(std::move(how)), fresh(freshFor), timeout(waitFor) {}

  const Connect connect;
  const Clock::duration fresh;
  const Clock::duration timeout;

  std::mutex mutex;  // of everything below
  std::condition_variable toDo;
  std::condition_variable done;
  std::shared_ptr<const OsdMap> map;  // another one is put there by the keeper alone
  Wanted wanted;
  bool isEpochWanted = false;  // however young the map is
  uint64_t asked = 0;          // calls that wanted something
  uint64_t answered = 0;       // how many of these the keeper has dealt with
  int failure = 0;             // why the monitors are away; 0 while they are not
  bool isToEnd = false;
  bool hasEnded = false;

  bool knows(int64_t pool, std::span<const uint32_t> groups) const {
    if (!map) return false;
    const Pool* known = map->pool(pool);
    return known == nullptr || std::ranges::all_of(groups, [&](uint32_t group) {
             return group >= known->facts().groups || known->epochOf(group) >= map->epoch;
           });
  }
  bool isPresent() const { return map && Clock::now() - map->asked < fresh; }

  std::shared_ptr<const OsdMap> get(int64_t pool, std::span<const uint32_t> groups);
  std::shared_ptr<const OsdMap> await(std::unique_lock<std::mutex>& lock);
  void publish(std::shared_ptr<const OsdMap> next);
  void work(const Source& source, bool isEpochDue, const Wanted& groups);
  void learn(const Source& source, int64_t pool, const std::set<uint32_t>& groups);
  void goAway(int error, const std::string& why);
  void comeBack();
  void serve();
};

// What a call gets

std::shared_ptr<const OsdMap> MapKeeper::State::get(int64_t pool,
                                                    std::span<const uint32_t> groups) {
  std::unique_lock lock(mutex);
  if (isPresent() && knows(pool, groups)) return map;
  wanted[pool].insert(groups.begin(), groups.end());
  return await(lock);
}

std::shared_ptr<const OsdMap> MapKeeper::State::await(std::unique_lock<std::mutex>& lock) {
  const uint64_t ticket = ++asked;
  toDo.notify_one();
  const auto isOver = [&] { return answered >= ticket || failure != 0 || isToEnd; };
  if (!done.wait_for(lock, timeout, isOver)) goAway(ETIMEDOUT, "no answer in time");
  if (failure != 0 || isToEnd) errno = failure == ETIMEDOUT ? ETIMEDOUT : EIO;
  return map;
}

// What the keeper's thread does

void MapKeeper::State::publish(std::shared_ptr<const OsdMap> next) {
  const std::lock_guard lock(mutex);
  map.swap(next);
}

// Asks for the epoch where it is due, for the pools where it has moved, and for the groups.
void MapKeeper::State::work(const Source& source, bool isEpochDue, const Wanted& groups) {
  const std::shared_ptr<const OsdMap> before = map;
  const auto now = Clock::now();
  if (isEpochDue || !before || now - before->asked >= fresh) {
    bool hasMoved = true;
    if (before && !before->pools.empty()) try {
        hasMoved = source.group(before->pools.front()->facts().id, 0).epoch != before->epoch;
      } catch (const NoAnswer& e) {
        if (e.error() != ENOENT) throw;  // else that pool is gone
      }
    if (hasMoved) {
      Pools pools = source.pools();
      publish(mapOf(pools.epoch, now, std::move(pools.facts), before.get()));
    } else {
      auto same = std::make_shared<OsdMap>(*before);
      same->asked = now;
      publish(same);
    }
  }
  for (const auto& [pool, numbers] : groups)
    learn(source, pool, numbers);
}

// Groups come in lots, so that a call which cannot wait for all finds more of them the next time.
void MapKeeper::State::learn(const Source& source, int64_t pool, const std::set<uint32_t>& groups) {
  constexpr size_t LOT = 256;
  const std::shared_ptr<const OsdMap> present = map;
  const Pool* known = present->pool(pool);
  if (known == nullptr) return;
  std::vector<Group> learned;
  const auto keep = [&] {
    if (!learned.empty()) publish(zolt_cephfs::mapWith(*map, pool, learned));
    learned.clear();
  };
  try {
    for (const uint32_t group : groups) {
      if (group >= known->facts().groups || known->epochOf(group) >= present->epoch) continue;
      learned.push_back(source.group(pool, group));
      if (learned.size() == LOT) keep();
    }
  } catch (const NoAnswer& e) {
    keep();
    if (e.error() != ENOENT) throw;  // else the pool has lost the group since
  }
  keep();
}

void MapKeeper::State::goAway(int error, const std::string& why) {
  if (failure == 0) {
    log("the monitors are away, " + why +
        (map ? "; until they answer, what was known in epoch " + std::to_string(map->epoch) +
                   " counts"
             : "; nothing is known yet of pools and locations"));
  }
  failure = error;
  done.notify_all();
}

void MapKeeper::State::comeBack() {
  if (failure == 0) return;
  log("the monitors answer again: epoch " + std::to_string(map->epoch));
  failure = 0;
}

void MapKeeper::State::serve() {
  std::optional<Source> source;
  std::unique_lock lock(mutex);
  for (;;) {
    const auto hasWork = [&] { return isToEnd || asked != answered; };
    if (failure != 0) {
      toDo.wait_for(lock, fresh, [&] { return isToEnd; });
    } else {
      toDo.wait(lock, hasWork);
    }
    if (isToEnd) return;
    const uint64_t upTo = asked;
    const bool isEpochDue = std::exchange(isEpochWanted, false);
    const Wanted groups = std::exchange(wanted, {});
    lock.unlock();
    std::optional<NoAnswer> refusal;
    try {
      if (!source) source = connect();
      work(*source, isEpochDue, groups);
    } catch (const NoAnswer& e) {
      refusal = e;
      source.reset();
    } catch (const std::exception& e) {
      refusal.emplace(ENOMEM, e.what());
    }
    lock.lock();
    if (refusal) {
      goAway(refusal->error(), refusal->what());
    } else {
      comeBack();
    }
    answered = upTo;
    done.notify_all();
  }
}

void MapKeeper::run(const std::shared_ptr<State>& state) {
  // A thread begins with the identity of the one that made it, which may be a user's.
  setfsuid(geteuid());
  setfsgid(getegid());
  state->serve();
  const std::lock_guard lock(state->mutex);
  state->hasEnded = true;
  state->done.notify_all();
}

MapKeeper::MapKeeper(Connect connect, Clock::duration fresh, Clock::duration timeout)
    : state_(std::make_shared<State>(std::move(connect), fresh, timeout)) {
  // The signals of the process are for its own threads; those of librados inherit this mask.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    thread_ = std::thread([state = state_] { run(state); });
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

MapKeeper::~MapKeeper() {
  end(state_->timeout);
}

void MapKeeper::end(Clock::duration time) {
  if (!thread_.joinable()) return;
  std::unique_lock lock(state_->mutex);
  state_->isToEnd = true;
  state_->toDo.notify_one();
  state_->done.notify_all();
  const bool hasEnded = state_->done.wait_for(lock, time, [&] { return state_->hasEnded; });
  lock.unlock();
  if (hasEnded) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

std::shared_ptr<const OsdMap> MapKeeper::map() {
  return state_->get(0, {});
}

std::shared_ptr<const OsdMap> MapKeeper::newest() {
  std::unique_lock lock(state_->mutex);
  state_->isEpochWanted = true;
  return state_->await(lock);
}

std::shared_ptr<const OsdMap> MapKeeper::mapWith(int64_t pool, std::span<const uint32_t> groups) {
  return state_->get(pool, groups);
}

namespace {

std::atomic<MapKeeper*> begun;

void endTheKeeper() {
  if (MapKeeper* keeper = begun.exchange(nullptr)) keeper->end(std::chrono::seconds(1));
}

// librados does not survive the end of the process under a thread of its own. exit(3) calls what
// was registered last first, so this comes before the end of each static object that librados has
// made.
void endBeforeWhatIsThere() {
  std::atexit(endTheKeeper);
}

Source monitorsOfSettings() {
  const auto monitors = std::make_shared<Monitors>();
  static std::once_flag once;
  std::call_once(once, endBeforeWhatIsThere);
  return {[monitors] { return monitors->pools(); },
          [monitors](int64_t pool, uint32_t group) { return monitors->group(pool, group); }};
}

}  // namespace

// Never destroyed: a thread may ask while the process ends.
MapKeeper& theKeeper() {
  static MapKeeper& keeper = []() -> MapKeeper& {
    auto& made = *new MapKeeper(monitorsOfSettings, settings().fresh, settings().timeout);
    begun.store(&made);
    endBeforeWhatIsThere();
    return made;
  }();
  return keeper;
}

}  // namespace zolt_cephfs
