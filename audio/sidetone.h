// The keyed tone that stands in for the receiver's audio while Morse is sent.
#pragma once
#include <cstdint>

namespace larch {

// Runs in the output callback, rt; one thread.
class sidetone {
 public:
  static constexpr int32_t shapingSamples = 255; // of the raised cosine at each change of the key

  // Writes the tone over `frames` stereo frames of 48 kHz audio while the key is down or its release still sounds. volume 0: the
  // frames stay, the tone's phase goes on.
  void apply(float* stereo, unsigned long frames, bool key, int32_t frequency, float volume);

 private:
  bool keyed_ = false;                // the key at the last callback
  float phase_ = 0;                   // radians
  int32_t envelope_ = shapingSamples; // samples of the shaping done
};

} // namespace larch
