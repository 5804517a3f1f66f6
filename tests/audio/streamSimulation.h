// A radio and a sound card with clocks of their own, and an output stream between them, on simulated time.
#pragma once
#include "audio/audioOutputStream.h"
#include "tests/support/simulatedClock.h"
#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

namespace larch::test {

constexpr int32_t unknownDevice = 900; // no machine has it: the stream stays closed, the ring works

// Events in order of time: the radio's chunks of 512 samples and the card's callbacks.
class streamSimulation {
 public:
  audioOutputStream stream;
  double radioPpm = 0, cardPpm = 0;
  int callbackFrames = 256;
  double jitter_s = 0; // chunks come late by up to this much
  bool useResampler = true;
  bool writing = true;
  // what is sent: never near zero, so that a zero frame is a dropout
  std::function<double(int64_t)> sound = [](int64_t i) {
    return 2 + std::sin(2 * std::numbers::pi * 100 * static_cast<double>(i) / 48000);
  };
  std::function<void(double now, const std::vector<float>& stereo)> heard; // each callback's output
  std::function<void(double now)> written;                                 // after each chunk

  explicit streamSimulation(uint32_t seed = 1) : random_(seed) { stream.openOutput(unknownDevice); }

  double now() const { return now_; }
  void run(double seconds) {
    const double end = now_ + seconds;
    while (std::min(nextChunk_, nextCallback_) < end) {
      now_ = std::min(nextChunk_, nextCallback_);
      clock_.setTo_ns(static_cast<int64_t>((start_s + now_) * 1e9));
      if (nextChunk_ < nextCallback_)
        chunk();
      else
        callback();
    }
    now_ = end;
  }
  // The card stands still and plays nothing; its clock runs on.
  void missCallbacks(double seconds) { nextCallback_ += seconds; }

 private:
  static constexpr double start_s = 5000; // the machine has been up for a while
  void chunk() {
    buff<float> audio(512);
    for (uint64_t i = 0; i < 512; i++) audio.data[i] = static_cast<float>(sound(sent_++));
    if (writing) stream.write(audio, useResampler);
    if (written) written(now_);
    const double late = jitter_s * std::uniform_real_distribution<double>(0, 1)(random_);
    radioTime_ += 512 / (48000 * (1 + radioPpm * 1e-6));
    nextChunk_ = std::max(now_, radioTime_ + late);
  }
  void callback() {
    std::vector<float> stereo(2 * static_cast<size_t>(callbackFrames), 7.0f);
    stream.play(stereo.data(), static_cast<unsigned long>(callbackFrames), start_s + nextCallback_ + 0.02);
    if (heard) heard(now_, stereo);
    nextCallback_ += callbackFrames / (48000 * (1 + cardPpm * 1e-6));
  }

  simulatedClock clock_;
  std::mt19937 random_;
  double now_ = 0, nextChunk_ = 0.0013, nextCallback_ = 0.0007, radioTime_ = 0.0013;
  int64_t sent_ = 0;
};

} // namespace larch::test
