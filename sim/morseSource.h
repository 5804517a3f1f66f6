// A keyed Morse carrier that sends its text over and over.
#pragma once
#include <string>
#include <vector>
#include "sim/morseCode.h"
#include "sim/signalSource.h"

namespace larch::sim {

// Raised-cosine edges of rampTime_ms that begin at the key's edge, so that elements keep their length at half amplitude.
// The text begins at start_s, and again after its last element and pause_s.
class morseSource : public signalSource {
 public:
  struct sending {
    std::string text;
    double wpm = 20;
    double start_s = 0;
    double pause_s = 3;
    double rampTime_ms = 5;
  };
  morseSource(double frequency_Hz, double level_dBFS, sending what);
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override; // the keying's main energy: two edge times' bandwidth either side
  std::string describe() const override;
  double period_s() const { return period; }

 private:
  double amplitude(double time_s) const;
  sending sent;
  double ramp_s;
  std::vector<keyedInterval> keyed;
  double period;
};

} // namespace larch::sim
