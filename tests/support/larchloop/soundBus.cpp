#include "soundBus.h"
#include <map>
#include <mutex>
#include <time.h>

namespace larchloop {

int64_t monotonic_ns() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec * 1000000000LL + t.tv_nsec;
}

int64_t busFrameAt(int64_t time_ns) {
  const int64_t seconds = time_ns / 1000000000, rest = time_ns % 1000000000;
  return seconds * 48000 + rest * 48000 / 1000000000;
}

soundBus& soundBus::named(const std::string& name) {
  static auto* guard = new std::mutex;
  static auto* buses = new std::map<std::string, std::unique_ptr<soundBus>>;
  std::lock_guard hold(*guard);
  auto& bus = (*buses)[name];
  if (!bus) bus = std::make_unique<soundBus>();
  return *bus;
}

void soundBus::put(int64_t time, float left, float right) {
  frame& f = frames_[static_cast<size_t>(time & (length - 1))];
  f.time = -1;
  f.left = left;
  f.right = right;
  f.time = time;
}

float soundBus::sample(int64_t time, int channel) const {
  const frame& f = frames_[static_cast<size_t>(time & (length - 1))];
  if (f.time != time) return 0.f;
  const float l = f.left, r = f.right;
  return channel == 0 ? l : channel == 1 ? r : 0.5f * (l + r);
}

} // namespace larchloop
