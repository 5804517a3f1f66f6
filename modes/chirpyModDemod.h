// The experimental chirp mode: one of two chirps for a bit, words of 23 bits in the Golay code, no settings.
#pragma once
#include "dsp/fftConvolver.h"
#include "modes/chirpCapture.h"
#include "modes/chirpSlot.h"
#include "modes/modDemod.h"
#include <array>
#include <functional>
#include <string>

namespace larch {

// Receives a bit every 256 samples, each a chirp of 4096 that lies over those beside it, at whatever sample of the 256 it may
// stand and however the words stand in the bits: every sample belongs to one of 256 slots, every slot tries all 23 alignments.
// Transmits a test signal, up and down by turns, one whole chirp behind the other.
class chirpyModDemod : public modDemod {
 public:
  static constexpr uint64_t slotCount = 256;    // samples in a frame
  static constexpr double chirpTop = 3000.0;    // Hz
  static constexpr double chirpLength = 4096.0; // samples at 48000 Hz
  static constexpr int32_t captureAfter = 160;  // frames of reception from the first transmission to the capture
  const std::string stationId = "N0CAL";        // stored only

  explicit chirpyModDemod(std::shared_ptr<syncTask> group);

  // No audio: always empty. rt but for the one hand-over of the capture. Samples that are no numbers spoil the words of the next
  // 86 ms and nothing more.
  buff<float> demodulate(const cbuff& block) override;
  void modulate(const cbuff& input, const cbuff& output) override; // the microphone isn't heard; rt

  // A word of an alignment, right or not, on the transceiver's group; the slot is where in the frame it ended. 48000 a second:
  // who listens looks at the score first. Set it before reception begins. The host has no event for it.
  std::function<void(int32_t slot, const chirpWord& word)> newWord;

  const chirpSlot& slot(uint64_t index) const { return slots_[index]; } // 0 to 255
  const cbuff& upChirp() const { return upChirp_; }
  const cbuff& downChirp() const { return downChirp_; } // the up-chirp turned by half its length

 private:
  void look(double up, double down);

  cbuff upChirp_, downChirp_;
  fftConvolver upFilter_, downFilter_; // matched: each peaks with the last sample of its chirp
  uint64_t gathered_ = 0;              // samples in their inputs
  std::array<chirpSlot, slotCount> slots_{};
  uint64_t slotIndex_ = 0;
  uint64_t sweepPosition_ = 0; // in the chirp being sent
  bool sendDown_ = false;      // which one that is
  bool transmitted_ = false;
  int32_t blocksAfterTransmit_ = 0; // frames received since, up to captureAfter
  chirpCapture capture_;
};

} // namespace larch
