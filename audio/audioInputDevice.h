// A sound input that all transceivers share: one writer, the card's callback, and any number of readers.
#pragma once
#include "audio/sampleClock.h"
#include "dsp/buff.h"
#include "platform/soundStream.h"
#include "runtime/snapshot.h"
#include <atomic>
#include <string>

namespace larch {

// Stopped until the first acquire(), then running until a callback finds nobody listening. Made once for the process.
class audioInputDevice {
 public:
  static constexpr int32_t ringSamples = 65536; // mono: a 16-bit index wraps by itself

  // device: the sound library's index, -1 for the entry "None"; sampleRate 48000 or 44100 Hz.
  audioInputDevice(std::string name, int32_t device, int32_t sampleRate);

  const std::string name;
  const int32_t device;
  const int32_t sampleRate;

  // Any thread: one listener more or less. A device whose stream couldn't be had tries again at its next acquire().
  void join();
  void leave();
  // Any thread with a listener: starts the stream where it isn't running, which takes long, and is rt otherwise. Gives the ring
  // of the last start (read by interpolateFromRing: the callback writes on) and where the callback is in it.
  buff<float> acquire(ringPosition& at);

  // The stream's callback, rt; `in` may be null. False, which ends the stream, when nobody listens.
  bool record(const float* in, unsigned long frames);
  void finished(); // the stream has ended

  int32_t users() const { return users_.load(std::memory_order_relaxed); }
  bool running() const { return running_.load(std::memory_order_relaxed) != 0; }
  float peak() const { return peak_.load(std::memory_order_relaxed); } // largest magnitude of the last callback

 private:
  void start();

  std::atomic<uint32_t> position_{0}; // release in record, acquire in acquire(): samples before the index are written
  std::atomic<int32_t> users_{0};     // relaxed: a late look only ends or keeps the stream one callback later
  snapshot<buff<float>> published_;   // one ring for each start
  buff<float> ring_;                  // the callback's view of it; changes only while no stream is open
  std::atomic<uint32_t> running_{0};  // 1 while the stream is open, or couldn't be opened; acq_rel with finished()
  std::atomic<bool> failed_{false};   // the last start had no success; relaxed: only the next join looks
  uint16_t writeIndex_ = 0;           // the callback's
  std::atomic<float> peak_{0};        // relaxed: a meter
  soundStream stream_;                // under the sound system's access; last: its end stops the callback
};

} // namespace larch
