#include "audio/audioOutputStream.h"
#include "audio/deviceLists.h"
#include "runtime/log.h"
#include <algorithm>
#include <bit>
#include <cmath>

namespace larch {
namespace {

constexpr int32_t latestFill = 16384;   // frames; more, or less than none, is no fill but a lost reader
constexpr double mostTargetFill = 8192; // frames; a target below it still grows
constexpr int32_t patience = 4;         // underruns in a row before the resampler gives up and the writer jumps
constexpr double integratorLimit = 1e7;
constexpr double errorGain = 1e-6, ratioStep = 0.1, ratioMemory = 0.9, leastRatio = 0.997, mostRatio = 1.003;
constexpr double missedBuffers = 2.5;

// Both samples of a frame in one word: the callback takes it and leaves silence without tearing one. Relaxed: the other side
// needs no order among frames, only whole ones.
using frameWord [[gnu::may_alias]] = uint64_t;
struct stereoFrame {
  float left, right;
};
stereoFrame takeFrame(float* frame) {
  return std::bit_cast<stereoFrame>(uint64_t{__atomic_exchange_n(reinterpret_cast<frameWord*>(frame), 0, __ATOMIC_RELAXED)});
}

} // namespace

void audioOutputStream::openOutput(int32_t id) {
  outputDevices(); // made now if it doesn't exist yet
  stream_.close();
  skip_ = skippedChunks;
  started_ = false;
  ring_ = buff<float>(uint64_t{2} * ringFrames, 0.0f);
  writeFrame_ = static_cast<uint16_t>(ring_.count / 2); // required: half the count of floats, which is 0 in 16 bits
  deviceId_ = id;
  const bool lowLatency = id >= lowLatencyOffset;
  const int32_t device = lowLatency ? id - lowLatencyOffset : id;
  if (device < 0) return;

  soundStreamRequest request;
  request.device = device;
  request.user = this;
  request.callback = [](void* user, float* out, unsigned long frames, double dacTime_s) {
    static_cast<audioOutputStream*>(user)->play(out, frames, dacTime_s);
    return true;
  };
  if (lowLatency) {
    request.latency_s = 0;
    request.framesPerBuffer = lowLatencyFrames;
  }
  const soundStream::result result = stream_.open(request);
  if (result.open)
    logError("pa_openstream failed");
  else if (result.start)
    logError("pa_startstream failed");
}

void audioOutputStream::play(float* out, unsigned long frames, double dacTime_s) {
  if (out && ring_.count) {
    skipMissedCallbacks(dacTime_s, frames);
    for (unsigned long i = 0; i < frames; i++) {
      const stereoFrame f = takeFrame(ring_.data + 2 * size_t{readFrame_++});
      out[2 * i] = f.left;
      out[2 * i + 1] = f.right;
    }
    const bool key = keyA.load(std::memory_order_relaxed) || keyB.load(std::memory_order_relaxed);
    tone_.apply(out, frames, key, toneFrequency.load(std::memory_order_relaxed), toneVolume.load(std::memory_order_relaxed));
  }
  position_.store(ringPosition{sampleClockNow(), readFrame_}.word(), std::memory_order_release);
}

// A jump of the output time says how many frames the card has played without us.
void audioOutputStream::skipMissedCallbacks(double dacTime_s, unsigned long frames) {
  constexpr double mostFrames = 9e18; // fits 64 bits
  const double n = static_cast<double>(frames);
  const double buffers = (dacTime_s - lastDacTime_) * audioRate / n;
  const double missed = (buffers - 1) * n;
  // the first difference is the sound library's whole clock: through 64 bits before 16 are taken
  if (buffers > missedBuffers && missed < mostFrames) readFrame_ += static_cast<uint16_t>(static_cast<int64_t>(missed));
  lastDacTime_ = dacTime_s;
}

uint16_t audioOutputStream::estimatedReader() const {
  const ringPosition p = position();
  return static_cast<uint16_t>(p.index + (sampleClockNow() - p.clock));
}

int16_t audioOutputStream::fill() const { return static_cast<int16_t>(writeFrame_ - estimatedReader()); }

void audioOutputStream::write(const buff<float>& audio, bool useResampler) {
  if (deviceId_ < 0) return;
  if (skip_ >= 1) {
    skip_--;
    window_.push(targetFill_);
    return;
  }
  const uint16_t estimated = estimatedReader();
  int32_t fill = static_cast<int16_t>(writeFrame_ - estimated);
  const bool late = static_cast<uint16_t>(fill) > latestFill || !started_;
  if (late)
    jumpIfLost(fill, useResampler, estimated);
  else
    underruns_ = 0;
  if (useResampler) {
    if (skip_ == 0) {
      skip_ = -1;
      window_.push(firstFill_);
      return;
    }
    steer(fill);
  } else {
    ratio_ = 1.0;
  }
  writeFrame_ += static_cast<uint16_t>(interpolateToStereoRing(resampler_, audio, ring_, writeFrame_, ratio_));
  lastWrite_ns_ = monotonicNow_ns();
}

// The reader is out of reach, or this is the first look at it.
void audioOutputStream::jumpIfLost(int32_t& fill, bool useResampler, uint16_t estimated) {
  started_ = true;
  if (fill < 0) {
    if (targetFill_ < mostTargetFill) targetFill_ = targetFill_ * 10 / 9;
    underruns_++;
  }
  if (useResampler && fill <= latestFill && underruns_ < patience) return;
  const int32_t target = static_cast<int32_t>(targetFill_);
  writeFrame_ = static_cast<uint16_t>(target + estimated);
  fill = target;
}

void audioOutputStream::steer(int32_t fill) {
  window_.push(fill);
  const double error = targetFill_ - window_.mean();
  integrator_ = std::clamp(integrator_ + error, -integratorLimit, integratorLimit);
  ratio_ = std::clamp(ratioStep * (1 + error * errorGain) + ratioMemory * ratio_, leastRatio, mostRatio);
}

} // namespace larch
