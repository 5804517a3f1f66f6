// A wire between test sound cards: what one plays on it another records from it, frame by frame of absolute time.
#pragma once
#include <atomic>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace larchloop {

constexpr double busRate = 48000; // Hz, whatever the cards on it run at

int64_t monotonic_ns();
int64_t busFrameAt(int64_t time_ns); // frames of 48000 Hz since the epoch of the monotonic clock

// Frames carry their absolute time, so that old sound is never heard again. Players on one bus overwrite each other, they
// don't mix. Any thread.
class soundBus {
 public:
  // The bus of that name; made at first use, never destroyed: streams may outlive static destructors.
  static soundBus& named(const std::string& name);

  void put(int64_t time, float left, float right);
  float left(int64_t time) const { return sample(time, 0); }
  float right(int64_t time) const { return sample(time, 1); }
  float mono(int64_t time) const { return sample(time, 2); } // mean of both

  std::atomic<double> ppm{NAN}; // clock error of all cards here; NaN: each card's own
  std::atomic<int64_t> stallUntil_ns{0};
  std::atomic<int> busy{0};
  std::atomic<int> openStreams{0};
  std::atomic<int> lastPeriod{0}; // frames

 private:
  struct frame {
    std::atomic<int64_t> time{-1};
    std::atomic<float> left{0}, right{0};
  };
  static constexpr int64_t length = 1 << 18; // 5.4 s
  float sample(int64_t time, int channel) const;
  std::vector<frame> frames_{static_cast<size_t>(length)};
};

} // namespace larchloop
