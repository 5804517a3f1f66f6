// A station with frequency modulation, narrow or wide, over and over.
#pragma once
#include <optional>
#include "sim/programmeAudio.h"
#include "sim/programmeIntegral.h"
#include "sim/signalSource.h"

namespace larch::sim {

// Envelope e^(j phase) of magnitude 1. The peak deviation is exactly what is asked for: without a CTCSS tone all of it is the
// programme's, with one 85 % are and 15 % the tone's. The carrier goes on in the pauses, with its tone.
// A receiver that sees the whole of occupied() gets the formula's samples; one that sees a part gets that part by a filter with
// soft edges, flat over the middle 70 % of the part; parts below narrowestPart_Hz aren't heard, nor
// what lies beyond the part.
class fmSource : public signalSource {
 public:
  static constexpr double narrowestPart_Hz = 4000, toneShare = 0.15;
  static constexpr audioBand narrowAudio{300, 3000, 150, 750e-6}, wideAudio{100, 15000, 100, 50e-6};
  struct sending {
    double deviation_Hz = 2500;
    double ctcss_Hz = 0;    // 0: none
    double testTone_Hz = 0; // instead of the audio
    audioBand audio = narrowAudio;
    double pause_s = 2;
  };
  // audio: the first channel is taken; no frames: nothing but tones
  fmSource(double frequency_Hz, double level_dBFS, const sending& what, const wavData& audio = {}, std::string name = {});
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override; // deviation and twice the highest tone either side
  bool fitsItself() const override { return true; }
  std::string describe() const override;

 private:
  void whole(const timeGrid& grid, std::complex<double>* out) const;
  void part(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const;
  double denseRate_Hz() const { return 2.5 * occupied().high_Hz; } // at which parts are made
  sending sent;
  double share_Hz; // deviation of the programme
  std::optional<programmeIntegral> integral;
  std::string named;
};

} // namespace larch::sim
