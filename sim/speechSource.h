// Speech on one sideband, over and over.
#pragma once
#include "sim/sampledEnvelope.h"
#include "sim/signalSource.h"
#include "sim/wavFile.h"

namespace larch::sim {

enum class sideband { upper, lower };

// frequency: of the suppressed carrier; level: of the peak envelope. The audio is limited to 300 to 2700 Hz, made one-sided by
// a complex filter, and scaled so that its envelope peaks at the level. After the last word comes a pause.
class speechSource : public signalSource {
 public:
  static constexpr double audioLow_Hz = 300, audioHigh_Hz = 2700, audioSlope_Hz = 150;

  // The first channel is taken. Takes about 10 ms a second of speech.
  speechSource(double frequency_Hz, double level_dBFS, sideband side, const wavData& audio, double pause_s = 2,
               std::string name = {});
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override;
  std::string describe() const override;
  double period_s() const { return voice.length_s(); }

 private:
  sideband side;
  sampledEnvelope voice;
  std::string named;
};

} // namespace larch::sim
