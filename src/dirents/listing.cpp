#include "dirents/listing.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>

#include "jni/io_exception.h"

namespace zolt {

namespace {

struct CloseDir {
  void operator()(DIR* stream) const noexcept {
    const ErrnoKeeper keeper;
    closedir(stream);
  }
};
using DirStream = std::unique_ptr<DIR, CloseDir>;

// A directory as it is at one time: any change of its entries changes one of its times.
struct Version {
  dev_t device = 0;
  ino_t inode = 0;
  timespec mtime{};
  timespec ctime{};

  Version() = default;
  explicit Version(const struct stat& st)
      : device(st.st_dev), inode(st.st_ino), mtime(st.st_mtim), ctime(st.st_ctim) {}

  bool operator==(const Version& other) const {
    const auto same = [](const timespec& a, const timespec& b) {
      return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    };
    return device == other.device && inode == other.inode && same(mtime, other.mtime) &&
           same(ctime, other.ctime);
  }

  // Whether any change after that time shows: times are kept in units of up to a second, so one
  // that is just past may be given to another change.
  bool isSettledAt(time_t now) const { return mtime.tv_sec + 2 < now && ctime.tv_sec + 2 < now; }
};

// The thread's listing between two calls. At thread exit the VM is already gone for this thread, so
// its destructor closes the stream and does nothing else.
struct ListingUnderWay {
  DirStream stream;
  // The entry that did not fit, in the stream's own buffer, as long as the directory is of this
  // version; null where the stream already stands before that entry.
  const dirent* unread = nullptr;
  off_t position = 0;  // of that entry
  Version version;
};
thread_local ListingUnderWay listingUnderWay;

constexpr off_t LARGE_DIRECTORY = 104857600;  // bytes of the directory itself

// Nothing for a path that cannot be asked.
std::optional<struct stat> statOf(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return std::nullopt;
  return st;
}

void warnOfLargeDirectory(const std::string& path, const std::optional<struct stat>& st) {
  if (st && S_ISDIR(st->st_mode) && st->st_size > LARGE_DIRECTORY) {
    ZOLT_WARN("Dir " << path << " is too large: " << st->st_size);
  }
}

bool isDotOrDotDot(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// The next entry but "." and "..". Null at the end, with errno 0, and on an error, with errno set.
const dirent* nextEntry(DIR* stream) {
  const dirent* entry = nullptr;
  do {
    errno = 0;
    entry = readdir(stream);
  } while (entry != nullptr && isDotOrDotDot(entry->d_name));
  return entry;
}

bool tryAppend(const dirent& entry, Buffer<char>& out) {
  const size_t nameLength = strlen(entry.d_name);
  char* record = out.tryTake(sizeof(DirentHeader) + nameLength);
  if (record == nullptr) return false;
  const DirentHeader header{entry.d_ino, entry.d_type, static_cast<int32_t>(nameLength)};
  std::memcpy(record, &header, sizeof header);
  std::memcpy(record + sizeof header, entry.d_name, nameLength);
  return true;
}

// One call's share of a listing. It holds the stream while it works, so that every way out but a
// full buffer closes it.
class Listing {
 public:
  Listing(const std::string& path, const std::optional<struct stat>& st, Buffer<char>& out)
      : path_(path),
        out_(out),
        began_(time(nullptr)),
        listing_(std::exchange(listingUnderWay, {})) {
    if (st) version_.emplace(*st);
  }

  int fill(bool dirOnly) {
    if (stream() == nullptr) open();
    out_.seek(sizeof count_);
    const dirent* unwritten = readToEnd(dirOnly);
    if (unwritten != nullptr) {
      pause(*unwritten, dirOnly);
    } else {
      ZOLT_TRACE("close " << state());
      listing_ = {};
    }
    out_.seek(0).store(count_);
    ZOLT_DEBUG("yield " << state());
    listingUnderWay = std::move(listing_);
    return unwritten != nullptr ? 1 : 0;
  }

 private:
  DIR* stream() const { return listing_.stream.get(); }

  void open() {
    listing_.stream.reset(opendir(path_.c_str()));
    if (const int error = errno; stream() == nullptr) {
      throw IOException("failed to open directory", error);
    }
    ZOLT_DEBUG("open " << state());
  }

  // The first entry of this call: the one that the last call has read and not written, unless the
  // directory has changed since. Then what the stream has read of it is of no more use.
  const dirent* firstEntry() {
    const dirent* unread = std::exchange(listing_.unread, nullptr);
    if (unread != nullptr) {
      if (version_ == listing_.version) return unread;
      seekdir(stream(), listing_.position);
    }
    return nextEntry(stream());
  }

  // The entry that no longer fits; null at the end of the directory.
  const dirent* readToEnd(bool dirOnly) {
    for (const dirent* entry = firstEntry(); entry != nullptr; entry = nextEntry(stream())) {
      if (dirOnly && entry->d_type != DT_DIR) continue;
      if (!tryAppend(*entry, out_)) return entry;
      ++count_;
      lastOff_ = entry->d_off;
    }
    if (const int error = errno; error != 0) {
      ZOLT_DEBUG("readdir error " << state() << ", errno=" << error);
      throw IOException("failed to readdir", error);
    }
    return nullptr;
  }

  // So that the next call begins with the entry that did not fit, or with what is there by then.
  //
  // To read it again costs the stream all that it has read ahead: 32 KiB of entries, and the
  // buffer may be smaller than that. While the directory stays as it is, what was read ahead is
  // what reading it again would give, so the stream is only put back when the directory may change
  // unseen, or when entries before this one were passed over.
  void pause(const dirent& unwritten, bool dirOnly) {
    if (lastOff_ < 1) {
      rewinddir(stream());
    } else if (dirOnly || !showsChanges()) {
      seekdir(stream(), lastOff_);
    } else {
      listing_.unread = &unwritten;
      listing_.position = lastOff_;
    }
  }

  // Whether the path names the stream's directory, unchanged since this call began and such that a
  // change from then on will show. Known already of a directory whose version was the last call's.
  bool showsChanges() {
    if (!version_ || !version_->isSettledAt(began_)) return false;
    if (version_ == listing_.version) return true;
    struct stat st;
    if (fstat(dirfd(stream()), &st) != 0) return false;
    listing_.version = Version(st);
    return version_ == listing_.version;
  }

  std::string state() const {
    return joined("", "dir ", path_, " dirp=", static_cast<const void*>(stream()),
                  ", ent count=", count_, ", buffer report=", out_.report());
  }

  const std::string& path_;
  Buffer<char>& out_;
  time_t began_;
  std::optional<Version> version_;  // of what the path names, as this call began
  ListingUnderWay listing_;
  int32_t count_ = 0;
  off_t lastOff_ = 0;  // where the entry after the last one written begins
};

}  // namespace

int getDirents(const std::string& path, Buffer<char>& out, bool dirOnly) {
  const std::optional<struct stat> st = statOf(path);
  warnOfLargeDirectory(path, st);
  return Listing(path, st, out).fill(dirOnly);
}

void closeDirents(const std::string& path) {
  if (listingUnderWay.stream == nullptr) return;
  ZOLT_DEBUG("close dir" << path);
  listingUnderWay = {};
}

DirentCount getDirentCount(const std::string& path) {
  warnOfLargeDirectory(path, statOf(path));
  const DirStream stream(opendir(path.c_str()));
  if (const int error = errno; stream == nullptr) {
    if (error == ENOENT || error == EACCES) return {};
    throw IOException("failed to open directory " + path, error);
  }
  DirentCount found;
  while (nextEntry(stream.get()) != nullptr)
    ++found.count;
  found.error = errno;
  if (found.error != 0) ZOLT_DEBUG("readdir error, errno=" << found.error);
  return found;
}

}  // namespace zolt
