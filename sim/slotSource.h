// A recording that begins anew with each slot of the UTC clock, on the upper sideband.
#pragma once
#include "sim/sampledEnvelope.h"
#include "sim/signalSource.h"
#include "sim/slotAudio.h"

namespace larch::sim {

// frequency: of the suppressed carrier; level: of a sine that is full scale of the recording. A slot begins each period_s from
// the top of the hour on; the recording begins `start_s` after it and is followed by silence, or cut by the next slot.
class slotSource : public signalSource {
 public:
  static constexpr double longestPeriod_s = 3600;

  slotSource(double frequency_Hz, double level_dBFS, const slotAudio& audio, double period_s, double start_s = 0,
             std::string name = {});
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override { return {-half_Hz, half_Hz}; }
  std::string describe() const override;

 private:
  double middle_Hz, half_Hz, period_s, start_s, length_s; // the length without the silence behind it
  sampledEnvelope recording;
  std::string named;
};

} // namespace larch::sim
