// Two builds of the library in one virtual machine. It has this for its library; each native jumps
// to that of the build whose turn it is. So the same compiled Java code calls both, on the same
// files. The environment names the builds' files, RIVAL_0 and RIVAL_1.
#include <dlfcn.h>
#include <jni.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "zolt_bench_Rivals.h"

namespace {

constexpr size_t BUILDS = 2;
constexpr const char* NAMES[] = {
#define NATIVE(index, name) #name,
#include "natives.inc"
#undef NATIVE
};
constexpr size_t NATIVES = sizeof NAMES / sizeof NAMES[0];
void* builds[BUILDS][NATIVES];

}  // namespace

// Where the natives jump to.
extern "C" [[gnu::visibility("hidden")]] void* zolt_turn[NATIVES];
void* zolt_turn[NATIVES];

#define NATIVE(index, name)                             \
  asm(".text\n.globl " #name "\n.type " #name           \
      ", @function\n"                                   \
      ".balign 16\n" #name ": jmp *zolt_turn+8*" #index \
      "(%rip)\n"                                        \
      ".size " #name ", .-" #name "\n");
#include "natives.inc"
#undef NATIVE

JNIEXPORT void JNICALL Java_zolt_bench_Rivals_turn(JNIEnv* /*env*/, jclass /*type*/, jint build) {
  for (size_t native = 0; native < NATIVES; ++native)
    zolt_turn[native] = builds[build][native];
}

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* machine, void* reserved) {
  const char* const files[BUILDS] = {getenv("RIVAL_0"), getenv("RIVAL_1")};
  for (size_t build = 0; build < BUILDS; ++build) {
    void* library = files[build] == nullptr ? nullptr : dlopen(files[build], RTLD_NOW);
    if (library == nullptr) {
      fprintf(stderr, "%s\n",
              files[build] == nullptr ? "RIVAL_0 and RIVAL_1 name two libraries" : dlerror());
      return JNI_ERR;
    }
    using OnLoad = jint (*)(JavaVM*, void*);
    auto onLoad = reinterpret_cast<OnLoad>(dlsym(library, "JNI_OnLoad"));
    if (onLoad == nullptr || onLoad(machine, reserved) == JNI_ERR) return JNI_ERR;
    for (size_t native = 0; native < NATIVES; ++native)
      builds[build][native] = dlsym(library, NAMES[native]);
  }
  Java_zolt_bench_Rivals_turn(nullptr, nullptr, 0);
  return JNI_VERSION_1_8;
}
