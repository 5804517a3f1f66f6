// What the boundary tests share: one started library for the process, its log, and polling until something has happened.
#pragma once
#include "runtime/larchlib.h"
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <unistd.h>

namespace testHost {

constexpr std::chrono::seconds patience{60}; // until a condition counts as missed

inline std::string temporaryPath(const std::string& name) {
  const char* folder = std::getenv("TMPDIR");
  return std::string(folder ? folder : "/tmp") + "/larch-" + std::to_string(getpid()) + "-" + name;
}
inline const std::string& logPath() {
  static const auto* path = new std::string(temporaryPath("log.txt")); // exit handlers read it
  return *path;
}
inline std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
inline std::string logged() { return contents(logPath()); }
inline size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) n++;
  return n;
}

// init, once a process; the log is removed at its end.
inline void start(int32_t logMode = 0) {
  static const bool started = [logMode] {
    std::atexit([] {
      unlink(logPath().c_str());
      unlink((logPath() + ".dump.txt").c_str());
    });
    init(logPath().c_str(), logMode);
    return true;
  }();
  static_cast<void>(started);
}

// Polls until `reached` holds; false when it never does.
template <class Condition> bool pollUntil(Condition reached) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    getUpdates();
    if (reached()) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

inline std::map<int32_t, int>& echoes() { // how often each value came
  static std::map<int32_t, int> seen;
  return seen;
}

template <class X> asyncObject* base(X* h) { return reinterpret_cast<asyncObject*>(h); }

// Returns when all that was asked of the object before has happened and has been told. Binds Echo.
inline bool settle(asyncObject* h) {
  static int32_t next = 1'000'000;
  const int32_t value = ++next;
  asyncObject_bindEcho(h, [](int32_t v) { echoes()[v]++; });
  asyncObject_Ping(h, value);
  return pollUntil([value] { return echoes().count(value) != 0; });
}
template <class X> bool settle(X* h) { return settle(base(h)); }

inline int& deletions() {
  static int n = 0;
  return n;
}
// An object whose end is counted.
template <class X> X* watched(X* h) {
  asyncObject_bindDeleted(base(h), [](int32_t) { deletions()++; });
  return h;
}
// Gives the handle back and waits for its object's end.
template <class X> bool releaseAndWait(X* h) {
  const int before = deletions();
  watched(h);
  asyncObject_release(base(h));
  return pollUntil([before] { return deletions() > before; });
}

} // namespace testHost
