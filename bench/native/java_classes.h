// Java's classes and methods, looked up when the benchmark's library is loaded.
#pragma once

#include <jni.h>

namespace floors {

extern jclass noSuchFile;
extern jclass ioException;
extern jclass runtimeException;
extern jclass hashMap;
extern jmethodID newHashMap;
extern jmethodID put;

}  // namespace floors
