// One down-converter of a simulated radio: a slice of the band scene as complex samples.
#pragma once
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>
#include "sim/bandScene.h"
#include "sim/nyquistFold.h"

namespace larch::sim {

// What the receiver is set to, in true hertz (a clock that runs fast by 10 ppm has all three higher by 10 ppm).
struct receiverTuning {
  double centre_Hz = 0; // of the converter's first Nyquist zone, 0 to clock/2
  double rate_Hz = 48000;
  double clock_Hz = 76800000;
  bool operator==(const receiverTuning&) const = default;
};

// The decimation filter is ideal: what lies within rate/2 of the centre comes through at its level, all else is gone.
// Sign: a signal at fa in the first zone comes out as e^(-j 2 pi (fa - centre) t), so that the stream is the mirror of the
// radio spectrum. For a signal in an even Nyquist zone that is e^(-j 2 pi (f - c) t), f and c being the absolute frequencies
// of signal and receiver; in an odd zone, where fa - centre = c - f, the conjugate.
// Phase is a function of time alone: two receivers of the same tuning give the same samples, noise apart.
// Not thread-safe.
class sceneReceiver {
 public:
  sceneReceiver(std::shared_ptr<const bandScene> scene, uint64_t seed);

  void tune(const receiverTuning& tuning);
  void setUtc(double atZero_s) { utcAtZero_s = atZero_s; } // as timeGrid has it
  // Overwrites out with `count` samples from start_s (seconds of true time), all levels times gain (may be complex: the phase
  // of an antenna). Allocates only when count is larger than ever before or the scene changed.
  void render(double start_s, std::complex<double> gain, std::complex<double>* out, size_t count);

 private:
  struct heardSignal {
    std::shared_ptr<const signalSource> source;
    double offset_Hz;          // image - centre
    bool mirrored;             // the image's envelope is conjugated against the signal's
    double amplitude;          //
    std::complex<double> step; // e^(-j 2 pi offset / rate)
    heardBand heard;
  };
  void selectSignals();

  std::shared_ptr<const bandScene> scene;
  std::shared_ptr<const bandScene::content> selected; // of which `signals` was made
  receiverTuning tuned;
  bool retuned = true;
  double utcAtZero_s = 0;
  std::vector<heardSignal> signals;
  std::vector<std::complex<double>> scratch;
  randomSource random;
};

// out[n] += start * step^n; |step| = 1.
void addRotating(std::complex<double>* out, size_t count, std::complex<double> start, std::complex<double> step);
// out[n] += start * step^n * envelope[n], or times its conjugate
void addRotating(std::complex<double>* out, size_t count, std::complex<double> start, std::complex<double> step,
                 const std::complex<double>* envelope, bool conjugate);

} // namespace larch::sim
