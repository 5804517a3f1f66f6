// The microphone loop: records the first five seconds and plays them over and over.
#pragma once
#include "dsp/buff.h"
#include <functional>

namespace larch {

// Used on the transceiver's group; fill() is rt.
class microphoneDelay {
 public:
  static constexpr uint64_t length = 240000; // samples at 48000 Hz

  void setEnabled(bool on); // on: a new, empty recording

  // Fills `mic`, by `read` while the delay is off or still records, from the recording afterwards.
  void fill(const buff<float>& mic, const std::function<void(const buff<float>&)>& read);

 private:
  void play(const buff<float>& mic) const;

  bool enabled_ = false, full_ = false;
  buff<float> recording_;
  uint64_t position_ = 0;
};

} // namespace larch
