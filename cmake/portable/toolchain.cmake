# One library for every Linux with GLIBC 2.17 or later: ZOLT_ARCH is x86_64 or aarch64, ZOLT_ZIG the compiler
# that scripts/zig.sh has fetched. The library carries its C++ runtime, so only libc has to be there.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZOLT_ARCH ZOLT_ZIG)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${ZOLT_ARCH})
set(CMAKE_CXX_COMPILER ${ZOLT_ZIG} c++)
set(CMAKE_CXX_COMPILER_TARGET ${ZOLT_ARCH}-linux-gnu.2.17)

# This compiler would keep a register for the frame.
set(CMAKE_CXX_FLAGS_INIT -fomit-frame-pointer)

# CMake's first looks at it link nothing, the very first since the target is named above: the compiler would build its
# runtime once more, without optimization.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# What is not used of the runtime stays away, and what only a debugger reads.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,--gc-sections -Wl,--strip-debug -Wl,--build-id=sha1")

# Of this machine's headers only these are needed: of libacl, which is bound at run time, and of the tool that counts
# instructions.
foreach(header acl/libacl.h sys/acl.h valgrind/callgrind.h valgrind/valgrind.h)
  if(EXISTS /usr/include/${header})
    configure_file(/usr/include/${header} ${CMAKE_BINARY_DIR}/headers/${header} COPYONLY)
  endif()
endforeach()
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${CMAKE_BINARY_DIR}/headers)
