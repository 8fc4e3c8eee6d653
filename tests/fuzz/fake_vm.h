// As much of a Java virtual machine as the attribute natives call: strings, byte arrays, maps, one
// pending exception. It is strict where a real one may end the process: a function called with an
// exception pending, a string that is not modified UTF-8, a region outside its array.
#pragma once

#include <jni.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace zolt::fuzz {

class FakeVm {
 public:
  /// One at a time.
  FakeVm();
  ~FakeVm();
  FakeVm(const FakeVm&) = delete;
  FakeVm& operator=(const FakeVm&) = delete;

  JNIEnv* env() { return &env_; }

  jstring string(const std::string& bytes);
  jobjectArray strings(const std::vector<std::string>& elements);

  /// What a byte array or a string holds.
  std::string bytesOf(jobject object) const;
  /// What a HashMap holds: arrays by strings.
  std::map<std::string, std::string> mapOf(jobject object) const;

  /// The text of the pending exception, "" when there is none; none is pending afterwards.
  std::string takeException();

  /// Gives a local reference back.
  void drop(jobject object);
  /// Local references that were not given back.
  size_t references() const { return alive_.size(); }

  // The natives' side.
  struct Object {
    std::string bytes;                         // string, byte[]
    std::vector<std::string> elements;         // String[]
    std::map<std::string, std::string> pairs;  // HashMap
  };
  jobject make(Object object);
  Object& at(jobject reference) const;
  void raise(const std::string& text);
  bool pending() const { return pending_; }
  void clear() { pending_ = false; }

 private:
  JNINativeInterface_ functions_{};
  JNIInvokeInterface_ invocation_{};
  JNIEnv_ env_{};
  JavaVM_ vm_{};
  std::set<Object*> alive_;
  bool pending_ = false;
  std::string exception_;
};

}  // namespace zolt::fuzz
