// A transceiver's way to the sound card: a ring between its group and the card's callback, whose fill is steered against the
// drift of the two clocks.
#pragma once
#include "audio/fillWindow.h"
#include "audio/sampleClock.h"
#include "audio/sidetone.h"
#include "dsp/audioInterpolator.h"
#include "platform/soundStream.h"
#include <atomic>

namespace larch {

// openOutput() and write() run on the transceiver's group, play() on the stream's own thread; the ring and the position word are
// all that they share. The destructor runs on any thread and closes the stream.
class audioOutputStream {
 public:
  static constexpr int32_t ringFrames = 65536;      // stereo frames: a 16-bit index wraps by itself
  static constexpr int32_t lowLatencyOffset = 1000; // added to the id of a device's low-latency form
  static constexpr unsigned long lowLatencyFrames = 128;
  static constexpr int32_t skippedChunks = 32; // after an open, while the device gets going

  audioOutputStream() = default;
  audioOutputStream(const audioOutputStream&) = delete;
  audioOutputStream& operator=(const audioOutputStream&) = delete;

  // Closes what is open and opens output device `id` of the list, or stays closed for a negative one. A failure is logged and
  // leaves silence. Takes long, at the ordinary scheduling class.
  void openOutput(int32_t id);
  // A demodulated mono chunk of 48000 Hz, any length; ignored while closed. rt.
  void write(const buff<float>& audio, bool useResampler);
  // The stream's callback. `out`: `frames` stereo frames, or null; dacTime_s: when the first of them will be heard. rt.
  void play(float* out, unsigned long frames, double dacTime_s);

  // Written from other groups, read by the callback; relaxed: each stands for itself.
  std::atomic<bool> keyA{false}, keyB{false}; // the tone is on while either is true: the Morse mode's key, the radio's key line
  std::atomic<int32_t> toneFrequency{650};    // Hz
  std::atomic<float> toneVolume{1.0f};        // 1: full scale

  // What a test or a meter may see, on the writer's group.
  bool isOpen() const { return stream_.isOpen(); }
  int32_t deviceId() const { return deviceId_; }
  int32_t skip() const { return skip_; }
  double ratio() const { return ratio_; }
  double targetFill() const { return targetFill_; }
  int32_t underruns() const { return underruns_; }
  uint16_t writeFrame() const { return writeFrame_; }
  int64_t lastWrite_ns() const { return lastWrite_ns_; }
  int16_t fill() const; // frames between the estimated reader and the writer now
  ringPosition position() const { return ringPosition::of(position_.load(std::memory_order_acquire)); } // pairs with play

 private:
  uint16_t estimatedReader() const;
  void jumpIfLost(int32_t& fill, bool useResampler, uint16_t estimated);
  void steer(int32_t fill);
  void skipMissedCallbacks(double dacTime_s, unsigned long frames);

  // the writer's
  buff<float> ring_;        // 131072 floats, touched as 64-bit frames by both sides; replaced only while no stream is open
  uint16_t writeFrame_ = 0; // next frame written
  double ratio_ = 1.0;      // samples out for each sample in
  int32_t underruns_ = 0;   // in a row
  int64_t lastWrite_ns_ = 0;
  int32_t skip_ = 0;          // chunks still to drop; 0: one more; -1: running
  bool started_ = false;      // a first fill decision has been made
  double integrator_ = 0;     // sum of errors: kept, not used
  double firstFill_ = 96.0;   // what the window gets when the skipping ends
  double targetFill_ = 512.0; // frames; grows with each underrun
  fillWindow window_;
  interpolatorState resampler_;
  int32_t deviceId_ = -1;

  std::atomic<uint32_t> position_{0}; // the reader's position word; release in play, acquire in write

  // the callback's
  double lastDacTime_ = 0; // s
  uint16_t readFrame_ = 0;
  sidetone tone_;

  soundStream stream_; // last: its end stops the callback before anything else goes
};

} // namespace larch
