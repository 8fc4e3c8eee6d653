// An agent of the virtual machine that gives up what bin/zolt gives up before it acts for another
// user. It is loaded on the thread that starts all others, and they inherit what it has left. The
// bounding set stays, so the programs that the tests start as root may mount and set flags as ever.
#include <jvmti.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

constexpr uint64_t of(auto... capabilities) {
  return ((uint64_t{1} << capabilities) | ...);
}

constexpr uint64_t KEPT =
    of(CAP_SETUID, CAP_SETGID, CAP_CHOWN, CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER,
       CAP_FSETID, CAP_LINUX_IMMUTABLE, CAP_MKNOD, CAP_MAC_OVERRIDE);

}  // namespace

JNIEXPORT jint JNICALL Agent_OnLoad(JavaVM* /*vm*/, char* /*options*/, void* /*reserved*/) {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> halves{};
  if (syscall(SYS_capget, &header, halves.data()) != 0) return JNI_ERR;
  for (size_t half = 0; half < halves.size(); ++half) {
    const auto kept = static_cast<uint32_t>(KEPT >> (32 * half));
    halves[half].effective &= kept;
    halves[half].permitted &= kept;
    halves[half].inheritable &= kept;
  }
  return syscall(SYS_capset, &header, halves.data()) == 0 ? JNI_OK : JNI_ERR;
}
