// What the kernel lets users do with files of random trees: the truth that "zolt why" is compared
// with.
//
//   oracle make SEED COUNT DIR...    makes COUNT trees in turn in these directories, and prints
//   their paths oracle ask UID PURPOSE < PATHS   prints "true" or "false" for each: what a process
//   of the user could do oracle limit DEVICE ID BLOCKS    limits the blocks of 1 KiB of a project
//   (quotactl(2)) oracle free < PATHS              takes the flags away, so that the trees can be
//   removed
//
// Each question is a real attempt of a process of the user, and what the attempt has changed is put
// back.
#include <fcntl.h>
#include <grp.h>
#include <linux/fs.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::array<uid_t, 5> OWNERS{0, 1, 2, 3, 65534};

class Maker {
 public:
  explicit Maker(unsigned seed) : random_(seed) {}

  void tree(const std::string& top) {
    directory(top, 2);
    // Links in both directions, across trees and into nothing.
    for (int link = pick(3); link > 0; --link) {
      const std::string path = top + "/l" + std::to_string(link);
      const std::string target = pick(6) == 0 ? "nowhere" : made_[one(made_.size())];
      if (symlink(target.c_str(), path.c_str()) != 0) continue;
      if (lchown(path.c_str(), owner(), owner()) != 0) fail(path);
      made_.push_back(path);
      if (pick(2) == 0) made_.push_back(path + "/f0");
    }
    // Flags come last: they would refuse the maker, too.
    for (const auto& [path, flag] : flags_)
      set(path, flag);
    flags_.clear();
  }

  const std::vector<std::string>& made() const { return made_; }

  [[noreturn]] static void fail(const std::string& what) {
    perror(what.c_str());
    exit(2);
  }

  static bool set(const std::string& path, int flag) {
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return false;
    const bool done = ioctl(fd, FS_IOC_SETFLAGS, &flag) == 0;
    close(fd);
    return done;
  }

 private:
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  size_t one(size_t below) { return random_() % below; }
  uid_t owner() { return OWNERS[one(OWNERS.size())]; }

  void directory(const std::string& path, int depth) {
    if (mkdir(path.c_str(), 0700) != 0) fail(path);
    for (int each = pick(2); each >= 0; --each)
      file(path + "/f" + std::to_string(each));
    if (depth > 0 && pick(3) > 0) directory(path + "/d", depth - 1);
    dress(path, true);
  }

  void file(const std::string& path) {
    const int kind = pick(12);
    const mode_t type = kind == 0 ? S_IFIFO : kind == 1 ? S_IFCHR : S_IFREG;
    if (mknod(path.c_str(), type | 0600, kind == 1 ? makedev(1, 3) : 0) != 0) fail(path);
    dress(path, false);
  }

  static dev_t makedev(unsigned major, unsigned minor) { return major << 8 | minor; }

  void dress(const std::string& path, bool isDirectory) {
    if (lchown(path.c_str(), owner(), owner()) != 0) fail(path);
    // Most directories may be entered, or nothing deep would ever be reached; many are sticky.
    int mode = pick(01000);
    if (pick(3) > 0) mode |= isDirectory ? 0711 : 0600;
    if (isDirectory && pick(3) == 0) mode |= 01007;
    if (chmod(path.c_str(), static_cast<mode_t>(mode)) != 0) fail(path);
    if (pick(3) == 0) list(path);
    const int flag = pick(12);
    if (flag == 0) flags_.emplace_back(path, FS_IMMUTABLE_FL);
    if (flag == 1) flags_.emplace_back(path, FS_APPEND_FL);
    made_.push_back(path);
  }

  void add(std::string& list, uint16_t tag, uint32_t id = UINT32_MAX) {
    const auto permissions = static_cast<uint16_t>(pick(8));
    list.append(reinterpret_cast<const char*>(&tag), sizeof tag);
    list.append(reinterpret_cast<const char*>(&permissions), sizeof permissions);
    list.append(reinterpret_cast<const char*>(&id), sizeof id);
  }

  // As the kernel keeps it: a version, then entries in the order of tags and ids (acl(5)).
  void list(const std::string& path) {
    std::string list("\2\0\0\0", 4);
    add(list, 1);
    add(list, 2, OWNERS[1 + one(2)]);
    add(list, 2, OWNERS[3 + one(2)]);
    add(list, 4);
    add(list, 8, OWNERS[one(OWNERS.size())]);
    add(list, 16);
    add(list, 32);
    if (setxattr(path.c_str(), "system.posix_acl_access", list.data(), list.size(), 0) != 0)
      fail(path);
  }

  std::mt19937 random_;
  std::vector<std::string> made_;
  std::vector<std::pair<std::string, int>> flags_;
};

bool opened(const std::string& path, int flags) {
  const int fd = open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600);
  // A FIFO that no one reads was to be opened all the same.
  if (fd < 0) return errno == ENXIO;
  close(fd);
  return true;
}

// Whether a file can be made in a directory and removed again.
bool filled(const std::string& path) {
  const std::string inner = path + "/oracle";
  if (mknod(inner.c_str(), S_IFREG | 0600, 0) != 0) return false;
  const int fd = open(inner.c_str(), O_WRONLY | O_CLOEXEC);
  const bool held = fd >= 0 && write(fd, "x", 1) == 1;
  if (fd >= 0) close(fd);
  return unlink(inner.c_str()) == 0 && held;
}

// Whether a file takes data, not only whether it can be opened. What is added is taken away again.
bool written(const std::string& path) {
  struct stat before {};
  if (!opened(path, O_WRONLY) || !opened(path, O_WRONLY | O_CREAT)) return false;
  if (stat(path.c_str(), &before) != 0 || !S_ISREG(before.st_mode)) return true;
  const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  const std::string block(4096, 'x');
  const bool held = write(fd, block.data(), block.size()) > 0;
  if (ftruncate(fd, before.st_size) != 0) Maker::fail(path);
  close(fd);
  return held;
}

bool moved(const std::string& path) {
  const std::string away = path + ".away";
  return rename(path.c_str(), away.c_str()) == 0 && rename(away.c_str(), path.c_str()) == 0;
}

bool can(const std::string& purpose, const std::string& path) {
  struct stat status {};
  if (purpose == "d") return moved(path);
  if (stat(path.c_str(), &status) != 0) return false;
  const bool isDirectory = S_ISDIR(status.st_mode);
  if (purpose == "look") return true;
  if (purpose == "r") return opened(path, O_RDONLY);
  // execve(2) takes no other file than a regular one, of which access(2) says nothing.
  if (purpose == "x")
    return isDirectory ? access((path + "/.").c_str(), F_OK) == 0
                       : S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
  return isDirectory ? filled(path) : written(path);
}

void ask(uid_t uid, const std::string& purpose) {
  const passwd* user = getpwuid(uid);
  if (user == nullptr || initgroups(user->pw_name, user->pw_gid) != 0 ||
      setresgid(user->pw_gid, user->pw_gid, user->pw_gid) != 0 || setresuid(uid, uid, uid) != 0)
    Maker::fail("no such user");
  std::string path;
  while (std::getline(std::cin, path)) {
    std::cout << (can(purpose, path) ? "true\n" : "false\n");
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> argument(arguments, arguments + count);
  umask(0);
  if (argument.at(1) == "make") {
    Maker maker(static_cast<unsigned>(std::stoul(argument.at(2))));
    const size_t places = argument.size() - 4;
    for (size_t tree = 0; tree < std::stoul(argument.at(3)); ++tree)
      maker.tree(argument.at(4 + tree % places) + "/t" + std::to_string(tree));
    for (const std::string& path : maker.made())
      std::cout << path << '\n';
  } else if (argument.at(1) == "ask") {
    ask(static_cast<uid_t>(std::stoul(argument.at(2))), argument.at(3));
  } else {
    std::string path;
    while (std::getline(std::cin, path))
      Maker::set(path, 0);
  }
  return 0;
}
