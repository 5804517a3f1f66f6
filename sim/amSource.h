// A broadcaster: carrier with both sidebands, over and over.
#pragma once
#include "sim/sampledEnvelope.h"
#include "sim/signalSource.h"
#include "sim/wavFile.h"

namespace larch::sim {

// Envelope 1 + depth * audio, the audio's peak being 1 and limited to 50 to 4500 Hz. frequency and level: of the carrier, which
// goes on in the pauses. The envelope's peak lies above the level, by 5.1 dB at a depth of 0.8.
class amSource : public signalSource {
 public:
  static constexpr double audioLow_Hz = 50, audioHigh_Hz = 4500, audioSlope_Hz = 100;

  // The first channel is taken. depth: 0 to 1
  amSource(double frequency_Hz, double level_dBFS, const wavData& audio, double depth = 0.8, double pause_s = 2,
           std::string name = {});
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override;
  std::string describe() const override;

 private:
  double depth;
  sampledEnvelope programme;
  std::string named;
};

} // namespace larch::sim
