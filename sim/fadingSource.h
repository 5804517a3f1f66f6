// Any signal by way of two paths through the ionosphere.
#pragma once
#include <memory>
#include "sim/signalSource.h"

namespace larch::sim {

// The second path is weaker, so that the two together lie between the signal's level and depth_dB below it; its phase against
// the first turns rate_Hz times a second on average, to and fro on the way. Flat over the signal's band. The phase of what is
// heard moves with it. A function of time and seed.
class fadingSource : public signalSource {
 public:
  fadingSource(std::shared_ptr<const signalSource> faded, double depth_dB, double rate_Hz, uint64_t seed);
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override { return faded->occupied(); }
  bool fitsItself() const override { return faded->fitsItself(); }
  std::string describe() const override;
  void transmissionEnded(const endedTransmission& ended) const override { faded->transmissionEnded(ended); }

  std::complex<double> pathGain(double time_s) const;

 private:
  std::shared_ptr<const signalSource> faded;
  double depth, rate;
  double second;                    // strength of the second path against the first
  double startCycles, wanderCycles; // phases from the seed
};

} // namespace larch::sim
