// A complex recording that can be read at any time and any rate.
#pragma once
#include <complex>
#include <vector>
#include "sim/signalSource.h"

namespace larch::sim {

// Repeats for ever in both directions of time. Between samples: a windowed sinc of 16 taps (Kaiser, beta 8), which passes
// components up to about 0.35 of the rate with images below -70 dB; at the sample instants the samples themselves.
// Immutable after construction.
class sampledEnvelope {
 public:
  sampledEnvelope(std::vector<std::complex<float>> recording, double rate_Hz);

  void read(const timeGrid& grid, std::complex<double>* out) const;
  // The same for a reader that hears only a part of the recording's band: what lies outside `heard` is filtered away, so that
  // nothing folds. The edges are soft: flat over the middle 70 % of the part.
  void readLimited(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const;

  double rate_Hz() const { return rate; }
  double length_s() const { return static_cast<double>(size) / rate; }

 private:
  size_t wrap(int64_t index) const;
  double folded(double position) const;
  std::vector<std::complex<float>> samples; // the recording and its beginning once more
  size_t size;                              // of the recording, at least 1
  double rate;
};

// The loop behind it: samples at begin, begin + step, ... of a recording of the given length, behind which its beginning stands
// once more. begin: of the first tap rather than of the instant, so that everything that is read lies at or behind it.
using envelopeReader = void(const std::complex<float>* samples, double length, double begin, double step, size_t count,
                            std::complex<double>* out);
// Those that this processor can run, the fastest last. All give the same values to the last bit.
std::vector<envelopeReader*> envelopeReaders();

} // namespace larch::sim
