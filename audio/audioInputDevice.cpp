#include "audio/audioInputDevice.h"
#include "platform/soundSystem.h"
#include "runtime/log.h"
#include <algorithm>
#include <cmath>

namespace larch {

audioInputDevice::audioInputDevice(std::string n, int32_t d, int32_t rate) : name(std::move(n)), device(d), sampleRate(rate) {}

void audioInputDevice::join() {
  users_.fetch_add(1, std::memory_order_relaxed);
  if (failed_.exchange(false, std::memory_order_relaxed)) running_.store(0, std::memory_order_release);
}

void audioInputDevice::leave() { users_.fetch_sub(1, std::memory_order_relaxed); }

buff<float> audioInputDevice::acquire(ringPosition& at) {
  if (running_.exchange(1, std::memory_order_acq_rel) == 0) start();
  at = ringPosition::of(position_.load(std::memory_order_acquire));
  return published_.load();
}

void audioInputDevice::start() {
  soundSystemAccess access; // a stream that ends itself at once makes room for another starter while this one still works
  stream_.close();          // one that has ended itself can't be started again
  ring_ = buff<float>(ringSamples, 0.0f);
  peak_.store(0, std::memory_order_relaxed); // the last one's: it would hold VOX where no stream follows
  published_.publish(ring_);
  logInfo("pa_start {}", device);
  if (device < 0) return;

  soundStreamRequest request;
  request.way = soundStreamRequest::input;
  request.device = device;
  request.channels = 1;
  request.rate = sampleRate;
  request.user = this;
  request.callback = [](void* user, float* in, unsigned long frames, double) {
    return static_cast<audioInputDevice*>(user)->record(in, frames);
  };
  request.finished = [](void* user) { static_cast<audioInputDevice*>(user)->finished(); };
  const soundStream::result result = stream_.open(request);
  // Without a stream `running` stays 1, or each block of each reader would try again; the next join does.
  failed_.store(!result.running(), std::memory_order_relaxed);
  const auto complain = [this](const char* what, int error) {
    logError("{} failed {} {} {}", what, device, error, soundStream::errorText(error));
  };
  if (result.open) return complain("pa_openstream", result.open);
  if (result.finishedCallback) complain("Pa_SetStreamFinishedCallback", result.finishedCallback);
  if (result.start) complain("pa_startstream", result.start);
  logInfo("pa_startstream started"); // required: after a failed start, too
}

bool audioInputDevice::record(const float* in, unsigned long frames) {
  if (in) {
    float largest = 0;
    for (unsigned long i = 0; i < frames; i++) {
      std::atomic_ref<float>(ring_.data[writeIndex_++]).store(in[i], std::memory_order_relaxed);
      largest = std::max(largest, std::fabs(in[i]));
    }
    peak_.store(largest, std::memory_order_relaxed);
  }
  position_.store(ringPosition{sampleClockNow(), writeIndex_}.word(), std::memory_order_release);
  return users_.load(std::memory_order_relaxed) != 0;
}

void audioInputDevice::finished() { running_.store(0, std::memory_order_release); } // the next starter's exchange sees our end

} // namespace larch
