// The portable library carries its unwinder. Before GLIBC 2.35 that asks the loader, for each frame
// of an exception, for all libraries of the process until one has the frame, and in a NameNode
// there are dozens. Exceptions of this library end in it: here the unwinder is shown this library
// first.
#include <dlfcn.h>
#include <link.h>

#include <cstddef>

// Where the linker has put the library's head.
extern "C" [[gnu::visibility("hidden")]] const ElfW(Ehdr) __ehdr_start;

extern "C" int dl_iterate_phdr(int (*callback)(dl_phdr_info*, size_t, void*), void* data) {
  const char* const head = reinterpret_cast<const char*>(&__ehdr_start);
  dl_phdr_info own{};
  own.dlpi_addr = reinterpret_cast<ElfW(Addr)>(head);
  own.dlpi_name = "";
  own.dlpi_phdr = reinterpret_cast<const ElfW(Phdr)*>(head + __ehdr_start.e_phoff);
  own.dlpi_phnum = __ehdr_start.e_phnum;
  const int found = callback(&own, sizeof own, data);
  if (found != 0) return found;
  const auto all =
      reinterpret_cast<decltype(&dl_iterate_phdr)>(dlsym(RTLD_DEFAULT, "dl_iterate_phdr"));
  return all == nullptr ? 0 : all(callback, data);
}
