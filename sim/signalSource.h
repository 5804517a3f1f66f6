// One signal of the band scene: a radio frequency, a level and an envelope over time.
#pragma once
#include <complex>
#include <cstddef>
#include <memory>
#include <string>

namespace larch::sim {

// Instants at which an envelope is wanted: start, start + step, ... in seconds of true time since the scene began.
struct timeGrid {
  double start_s = 0;
  double step_s = 0;
  size_t count = 0;
  double utcAtZero_s = 0; // UTC of time 0 within its hour, for what goes by the clock on the wall
};

// The band in which the listener can hear, in hertz from the source's own frequency.
struct heardBand {
  double low_Hz = 0, high_Hz = 0;
};

enum class envelopeShape {
  silent,   // nothing was written
  constant, // only element 0 was written and holds for the whole grid
  varying   // every element was written
};

// Something that a radio on this scene transmitted and is over.
struct endedTransmission {
  double time_s = 0;       // true time of its end, when its last frame came
  double frequency_Hz = 0; // of the carrier as tuned
  double middle_Hz = 0;    // of the band that it filled
};

// The signal is Re{ amplitude * a(t) * e^(j 2 pi frequency t) }, amplitude = 10^(level / 20), where a sine of level 0 dBFS
// just fills the converter at 0 dB gain. a(t) is a function of time alone, never of who asked before: any number of receivers
// of any rate may ask, on any thread. Immutable after construction, but for what transmissions call forth.
class signalSource {
 public:
  signalSource(double frequency_Hz, double level_dBFS) : centre_Hz(frequency_Hz), strength_dBFS(level_dBFS) {}
  virtual ~signalSource() = default;
  signalSource(const signalSource&) = delete;
  signalSource& operator=(const signalSource&) = delete;

  // a(t) on the grid, magnitude up to 1.
  virtual envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const = 0;
  // Occupied band relative to the frequency. A receiver that doesn't hold all of it doesn't hear the signal at all, unless ...
  virtual heardBand occupied() const { return {0, 0}; }
  // ... the source limits itself to `heard`.
  virtual bool fitsItself() const { return false; }
  virtual std::string describe() const = 0;
  // On the thread of the radio that sent it.
  virtual void transmissionEnded(const endedTransmission&) const {}

  double frequency_Hz() const { return centre_Hz; }
  double level_dBFS() const { return strength_dBFS; }

 private:
  double centre_Hz, strength_dBFS;
};

// A steady carrier: a(t) = e^(j phase).
class carrierSource : public signalSource {
 public:
  carrierSource(double frequency_Hz, double level_dBFS, double phase_rad = 0);
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  std::string describe() const override;

 private:
  std::complex<double> value;
};

} // namespace larch::sim
