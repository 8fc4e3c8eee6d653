#include "stage.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <system_error>
#include <vector>

namespace zolt::test {

namespace {

void must(long result, const std::string& what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
}

class Stage {
 public:
  // With a name, only that entry of the directory is made.
  Stage(std::string dir, std::string only) : dir_(std::move(dir)), only_(std::move(only)) {}

  bool wants(const std::string& name) const {
    return only_.empty() || name == only_ || name.starts_with(only_ + "/");
  }
  std::string at(const std::string& name) const { return dir_ + "/" + name; }

  void file(const std::string& name, off_t size, mode_t mode = 0640) const {
    if (!wants(name)) return;
    const int fd = openat(AT_FDCWD, at(name).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    must(fd, name);
    must(ftruncate(fd, size), name);
    must(fchmod(fd, mode), name);
    close(fd);
  }
  void directory(const std::string& name, mode_t mode = 0755) const {
    if (!wants(name)) return;
    must(mkdir(at(name).c_str(), 0700), name);
    must(fchmodat(AT_FDCWD, at(name).c_str(), mode, 0), name);
  }
  void link(const std::string& name, const std::string& target) const {
    if (wants(name)) must(symlink(target.c_str(), at(name).c_str()), name);
  }
  void node(const std::string& name, mode_t type, dev_t device = 0) const {
    if (wants(name)) must(mknod(at(name).c_str(), type | 0600, device), name);
  }
  void attribute(const std::string& name, const char* key, const std::string& value) const {
    if (wants(name))
      must(syscall(SYS_setxattr, at(name).c_str(), key, value.data(), value.size(), 0), key);
  }

 private:
  std::string dir_;
  std::string only_;
};

std::string number(uint64_t value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

// A POSIX ACL as the kernel keeps it: version 2, then tag, permission and id of every entry.
std::string aclValue() {
  struct Entry {
    uint16_t tag;
    uint16_t permission;
    uint32_t id;
  };
  constexpr uint32_t NONE = 0xffffffff;
  const Entry entries[] = {{1, 6, NONE}, {2, 5, 7}, {4, 4, NONE}, {16, 5, NONE}, {32, 0, NONE}};
  std::string value("\2\0\0\0", 4);
  return value.append(reinterpret_cast<const char*>(entries), sizeof entries);
}

void fixTimes(const std::string& path) {
  const timespec fixed[] = {{1500000000, 5}, {1400000000, 7}};
  must(syscall(SYS_utimensat, AT_FDCWD, path.c_str(), fixed, AT_SYMLINK_NOFOLLOW), path);
}

std::string escaped(const std::string& bytes) {
  std::string out;
  for (const char c : bytes) {
    if (c > ' ' && c < 127) {
      out += c;
    } else {
      std::array<char, 5> hex{};
      snprintf(hex.data(), hex.size(), "\\x%02x", static_cast<unsigned char>(c));
      out += hex.data();
    }
  }
  return out;
}

void addTime(std::ostream& out, const timespec& time) {
  out << " " << time.tv_sec << "." << time.tv_nsec;
}

void addAttributes(std::ostream& out, const char* path) {
  std::array<char, 4096> names{};
  const long length = syscall(SYS_llistxattr, path, names.data(), names.size());
  std::vector<std::string> lines;
  for (const char* name = names.data(); name < names.data() + length; name += strlen(name) + 1) {
    static std::array<char, 1U << 16> value;
    const long size = syscall(SYS_lgetxattr, path, name, value.data(), value.size());
    const bool stamp = strcmp(name, "user.lease.update") == 0 && size == 8;
    lines.push_back(
        std::string(" ") + escaped(name) + "=" +
        (stamp ? "stamp" : escaped({value.data(), static_cast<size_t>(std::max(size, 0L))})));
  }
  std::ranges::sort(lines);
  for (const std::string& line : lines)
    out << line;
}

void addEntry(std::ostream& out, const std::string& path, int with) {
  struct stat st;
  must(fstatat(AT_FDCWD, path.c_str(), &st, AT_SYMLINK_NOFOLLOW), path);
  out << escaped(path) << " " << std::oct << st.st_mode << std::dec << " " << st.st_uid << " "
      << st.st_gid << " " << (S_ISDIR(st.st_mode) ? 0 : st.st_size) << " " << st.st_nlink;
  addTime(out, st.st_mtim);
  // Walks and listings change that of directories and links.
  if ((with & WITH_ACCESS) != 0 && !S_ISDIR(st.st_mode) && !S_ISLNK(st.st_mode)) {
    addTime(out, st.st_atim);
  }
  if ((with & WITH_CHANGES) != 0) {
    out << " ino " << st.st_ino;
    addTime(out, st.st_ctim);
  }
  if (S_ISLNK(st.st_mode)) {
    std::array<char, 4097> target{};
    must(readlinkat(AT_FDCWD, path.c_str(), target.data(), target.size() - 1), path);
    out << " -> " << target.data();
  }
  addAttributes(out, path.c_str());
  out << "\n";
}

std::vector<std::string> below(const std::string& dir) {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir))
    paths.push_back(entry.path().native());
  std::ranges::sort(paths);
  return paths;
}

}  // namespace

void buildStage(const std::string& dir, const std::string& only) {
  const Stage stage(dir, only);
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (stage.wants(entry.path().filename())) std::filesystem::remove_all(entry.path());
  }
  stage.file("file", 5);
  stage.attribute("file", "user.one", "1");
  stage.attribute("file", "user.empty", "");
  stage.attribute("file", "user.caf\xc3\xa9", std::string("\0\xff\n", 3));
  stage.file("big", (1 << 20) + 3);
  stage.attribute("big", "trusted.zolt.BGF", std::string("\0\0\0\4", 4));
  stage.attribute("big", "trusted.zolt.replication", "\2\2");
  stage.file("empty", 0);
  stage.file("acl", 9);
  stage.attribute("acl", "system.posix_acl_access", aclValue());
  stage.file("leased", 1);
  stage.attribute("leased", "user.lease.holder", "holder of the lease");
  stage.attribute("leased", "user.lease.update", number(INT64_MAX / 2));
  stage.file("overdue", 1);
  stage.attribute("overdue", "user.lease.holder", "h");
  stage.attribute("overdue", "user.lease.update", number(0));
  stage.file("overlong", 1);
  stage.attribute("overlong", "user.lease.holder", "h");
  stage.attribute("overlong", "user.lease.update", "more than eight");
  stage.directory("sub");
  for (const char* name : {"sub/a", "sub/bb", "sub/ccc", "sub/sticky"})
    stage.file(name, 1);
  stage.file("sub/" + std::string(255, 'n'), 1);
  stage.directory("sub/inner");
  stage.directory("sub/listed");
  stage.attribute("sub/listed", "system.posix_acl_default", aclValue());
  stage.directory("none");
  stage.directory("locked", 0);
  stage.file("locked/inside", 1, 0);
  stage.node("fifo", S_IFIFO);
  stage.node("socket", S_IFSOCK);
  stage.node("null", S_IFCHR, makedev(1, 3));
  stage.node("zero", S_IFCHR, makedev(1, 5));
  stage.node("full", S_IFCHR, makedev(1, 7));
  stage.link("link", "file");
  stage.link("dirlink", "sub");
  stage.link("dangling", "nowhere");
  stage.link("self", "self");
  stage.link("loopa", "loopb");
  stage.link("loopb", "loopa");
  stage.link("fifolink", "fifo");
  stage.link("longlink", std::string(4000, 't'));
  stage.directory("odd");
  for (const char* name : {"new\nline", "\xff\xfe", "caf\xc3\xa9", "\xf0\x9f\x98\x80",
                           "\xed\xa0\xbd\xed\xb8\x80", "\xed\xa0\xbd", "\xc0\x80", " ", "%s%n"})
    stage.file(std::string("odd/") + name, 1);
  for (const std::string& path : below(dir)) {
    if (stage.wants(path.substr(dir.size() + 1))) fixTimes(path);
  }
  fixTimes(dir);
}

std::string treeOf(const std::string& dir, int with) {
  std::ostringstream out;
  for (const std::string& path : below(dir))
    addEntry(out, path, with);
  return out.str();
}

std::string threadIdentity() {
  std::array<uid_t, 3> uids{};
  std::array<gid_t, 3> gids{};
  getresuid(&uids[0], &uids[1], &uids[2]);
  getresgid(&gids[0], &gids[1], &gids[2]);
  std::ostringstream out;
  out << "uid";
  for (const uid_t id : uids)
    out << " " << id;
  // Asked with an id that is none, these change nothing and answer the present one.
  out << " " << syscall(SYS_setfsuid, -1) << " gid";
  for (const gid_t id : gids)
    out << " " << id;
  out << " " << syscall(SYS_setfsgid, -1) << " groups";
  std::array<gid_t, 1024> groups{};
  const long count = syscall(SYS_getgroups, groups.size(), groups.data());
  for (long i = 0; i < count; ++i)
    out << " " << groups.at(static_cast<size_t>(i));
  return out.str();
}

std::string descriptors() {
  const std::string fds = "/proc/self/fd";
  const int own = openat(AT_FDCWD, fds.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, int (*)(DIR*)> dir(fdopendir(own), closedir);
  std::ostringstream out;
  while (const dirent* entry = ::readdir(dir.get())) {
    if (entry->d_name[0] == '.' || entry->d_name == std::to_string(own)) continue;
    std::array<char, 4097> target{};
    if (readlinkat(own, entry->d_name, target.data(), target.size() - 1) < 0) continue;
    out << entry->d_name << " " << target.data() << "\n";
  }
  return out.str();
}

}  // namespace zolt::test
