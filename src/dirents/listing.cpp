#include "dirents/listing.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "base/io_exception.h"

namespace zolt {

namespace {

struct CloseDir {
  void operator()(DIR* stream) const noexcept {
    const ErrnoKeeper keeper;
    closedir(stream);
  }
};
using DirStream = std::unique_ptr<DIR, CloseDir>;

// The thread's listing between two calls. At thread exit the VM is already gone for this thread, so
// its destructor closes the stream and does nothing else.
thread_local DirStream listingUnderWay;

constexpr const char* LIST = ZOLT_NATIVE(getDirentsNative);
constexpr const char* COUNT = ZOLT_NATIVE(getDirentCountNative);

constexpr off_t LARGE_DIRECTORY = 104857600;  // bytes of the directory itself

void warnOfLargeDirectory(const std::string& path, const char* native) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_size > LARGE_DIRECTORY) {
    ZOLT_WARN_AS(native, "Dir " << path << " is too large: " << st.st_size);
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
  Listing(const std::string& path, Buffer<char>& out)
      : path_(path), out_(out), stream_(std::move(listingUnderWay)) {}

  Failure fill(bool dirOnly, bool& more) {
    if (stream_ == nullptr) {
      if (const Errno error = open()) return IOException("failed to open directory", error.value());
    }
    out_.seek(sizeof count_);
    bool isFull = false;
    Errno error = readToEnd(dirOnly, isFull);
    if (!error && isFull) error = reposition();
    if (error) return IOException("failed to readdir", error.value());
    if (!isFull) {
      ZOLT_TRACE_AS(LIST, "close " << state());
      stream_.reset();
    }
    out_.seek(0).store(count_);
    ZOLT_DEBUG_AS(LIST, "yield " << state());
    listingUnderWay = std::move(stream_);
    more = isFull;
    return {};
  }

 private:
  Errno open() {
    stream_.reset(opendir(path_.c_str()));
    if (stream_ == nullptr) return Errno::ofFailure();
    ZOLT_DEBUG_AS(LIST, "open " << state());
    return {};
  }

  // Full at an entry that no longer fits.
  Errno readToEnd(bool dirOnly, bool& isFull) {
    while (const dirent* entry = nextEntry(stream_.get())) {
      if (dirOnly && entry->d_type != DT_DIR) continue;
      if (!tryAppend(*entry, out_)) {
        isFull = true;
        return {};
      }
      ++count_;
      lastOff_ = entry->d_off;
    }
    const Errno error(errno);
    if (error) ZOLT_DEBUG_AS(LIST, "readdir error " << state() << ", errno=" << error.value());
    return error;
  }

  // So that the next call begins with the entry that did not fit. What the stream has read ahead is
  // given up with it, always: no time of the directory proves that it is still true (another
  // machine's clock may give the times, or none), and where positions are counts it is the kernel
  // that keeps them right.
  Errno reposition() {
    errno = 0;
    if (lastOff_ >= 1) {
      seekdir(stream_.get(), lastOff_);
    } else {
      rewinddir(stream_.get());
    }
    // They answer nothing; but they have given up what was read ahead, whether or not they moved.
    return Errno(errno);
  }

  std::string state() const {
    return joined("", "dir ", path_, " dirp=", static_cast<const void*>(stream_.get()),
                  ", ent count=", count_, ", buffer report=", out_.report());
  }

  const std::string& path_;
  Buffer<char>& out_;
  DirStream stream_;
  int32_t count_ = 0;
  off_t lastOff_ = 0;  // where the entry after the last one written begins
};

}  // namespace

Failure getDirents(const std::string& path, Buffer<char>& out, bool dirOnly, bool& more) {
  warnOfLargeDirectory(path, LIST);
  return Listing(path, out).fill(dirOnly, more);
}

void closeDirents(const std::string& path) {
  if (listingUnderWay == nullptr) return;
  ZOLT_DEBUG_AS(LIST, "close dir" << path);
  listingUnderWay.reset();
}

Failure getDirentCount(const std::string& path, int& count) {
  count = 0;
  warnOfLargeDirectory(path, COUNT);
  const DirStream stream(opendir(path.c_str()));
  if (stream == nullptr) {
    const int error = errnoOfFailure();
    if (error == ENOENT || error == EACCES) return {};
    return IOException("failed to open directory " + path, error);
  }
  while (nextEntry(stream.get()) != nullptr)
    ++count;
  const int error = errno;
  if (error == 0) return {};
  ZOLT_DEBUG_AS(COUNT, "readdir error, errno=" << error);
  return IOException("failed to readdir", error);
}

}  // namespace zolt
