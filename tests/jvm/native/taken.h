// What native code takes from the virtual machine, counted on one thread.
#pragma once

#include <jni.h>

#include <algorithm>
#include <cstring>

#include "hooked_env.h"

namespace zolt::test {

/// Since the count began; the order is that of Failing.Taken.
struct Taken {
  jint references;
  jint most;  // references held at a time
  jint referencesLeft;
  jint strings;
  jint stringsLeft;
  jint arrays;
  jint arraysLeft;
  jint arraysWrittenBack;
};
inline thread_local Taken taken{};

template <class Reference>
Reference counted(Reference reference) {
  if (reference != nullptr) {
    ++taken.references;
    taken.most = std::max(taken.most, ++taken.referencesLeft);
  }
  return reference;
}

/// Local references that a hooked environment makes and deletes.
void countReferences(HookedEnv& hook);

/// Characters and elements that it lends and takes back.
void countLoans(HookedEnv& hook);

/// Log lines are strings made for Java too; they are not what most tests are after.
inline bool isLogLine(const char* text) {
  return *text == '@' || std::strstr(text, "(dump group ids):") != nullptr;
}

}  // namespace zolt::test
