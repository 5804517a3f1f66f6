// The spectrum of one transceiver: 2048 points of a span that the host chose, out of the receiver's stream and, beyond its band,
// out of raw ADC samples.
#pragma once
#include "dsp/buff.h"
#include "dsp/halfbandDecimator.h"
#include "dsp/powerSpectrum.h"
#include <functional>

namespace larch {

struct spectrumSettings {
  double zoom = 1.0;          // span: stream rate / zoom; without effect beyond rate * 512 / 48000
  int32_t waterfallSpeed = 0; // exponent of 2 of the frames' overlap in the foreground
  bool foreground = false;    // false: about two frames a second
  int32_t centre = 0;         // Hz wanted at the middle; takes effect with the next frame
};

// One chunk of a hardware receiver.
struct spectrumInput {
  cbuff chunk;                // (rate / 48000) * 512 samples; a signal at f stands at baseband centre - f
  int32_t centre = 0;         // Hz
  int32_t rate = 0;           // samples/s
  buff<double> wideband;      // raw ADC samples, a power of two up to 2048 of them; else there are none
  double widebandNyquist = 0; // Hz
};

// Used on the transceiver's group. rt once the pool and the transforms are warm, but for a change of zoom.
class spectrumPainter {
 public:
  static constexpr uint64_t points = 2048;
  static constexpr float noData = -20.0f;

  // Point i stands for low + i * (high - low) / points Hz and is log10 of a power: bels, full scale at 1. `rate` is the chunk's.
  using frameSink = std::function<void(buff<float> frame, double low, double high, int32_t rate)>;

  spectrumPainter();

  // The centre of the frame in progress; for the transceiver's init.
  void latchCentre(int32_t frequency) { latchedCentre_ = frequency; }
  int32_t latchedCentre() const { return latchedCentre_; }

  // A zoom that is no number above 0 paints nothing. rt but for what the sink does.
  void process(const spectrumInput& in, const spectrumSettings& settings, const frameSink& sink);

 private:
  struct span {       // of the samples in block_
    double zoom;      // below 1 the span is wider than the stream
    int32_t ratio;    // decimation, 1 for none
    int32_t overlap;  // frames that share a sample; 1: the window has been applied on the way in
    int32_t centre;   // Hz, the middle of the decimated stream
    int32_t bandRate; // its samples/s
  };

  bool isDue(const spectrumInput& in, bool foreground);
  uint64_t fillPlain(const cbuff& rest, span& s);
  uint64_t fillZoomed(const cbuff& rest, const spectrumInput& in, span& s);
  void finishFrame(const spectrumInput& in, const span& s, const frameSink& sink);
  buff<float> paint(const spectrumInput& in, const span& s, double low, double high);
  void transformWideband(const buff<double>& samples);
  float widebandPoint(double frequency, double nyquist) const;
  void keepNewest(int32_t overlap);

  cbuff block_;                // the frame in progress
  buff<double> window_;        // of both transforms
  cbuff bins_;                 // the frame's transform
  buff<double> widebandWork_;  // windowed raw samples
  cbuff widebandBins_;         // their transform, made on need
  uint64_t widebandCount_ = 0; // its length, 0 while the frame has none
  powerSpectrum inside_;       // the points within the stream's band
  halfbandDecimator decimator_;
  uint64_t written_ = 0;      // samples of block_
  int64_t elapsed_ms_ = 0;    // of samples since the last frame in the background
  int32_t latchedCentre_ = 0; // Hz
};

} // namespace larch
