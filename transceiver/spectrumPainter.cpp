#include "transceiver/spectrumPainter.h"
#include "dsp/filterDesign.h"
#include "dsp/transform.h"
#include "dsp/vectorOps.h"
#include "transceiver/chainConstants.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace larch {
namespace {

constexpr int32_t points32 = spectrumPainter::points;
constexpr double pointShare = 0.00048828125;            // 1 / points
constexpr double powerScale = 10.0, powerFloor = 1e-38; // the floor is a denormal float
constexpr int64_t audioRate48 = 48000, chunkSamples512 = 512;
constexpr double backgroundPeriod_ms = 500.0, blockLength_ms = 2048000.0; // the block's own length at 1 sample/s
constexpr int64_t second_ms = 1000;

double powerOf(const std::complex<double>& z) { return z.real() * z.real() + z.imag() * z.imag(); }
float bels(double power) { return std::log10(static_cast<float>(power + powerFloor)); }

int32_t clampedInt(double value) { // truncated; the value is no NaN
  return static_cast<int32_t>(std::clamp(value, 0.0, static_cast<double>(std::numeric_limits<int32_t>::max())));
}

} // namespace

spectrumPainter::spectrumPainter()
    : block_(points, 0.0), window_(blackmanHarris7(points32)), bins_(points), widebandWork_(points), widebandBins_(points) {}

// A background transceiver rejects the chunk before any sample is touched.
bool spectrumPainter::isDue(const spectrumInput& in, bool foreground) {
  if (foreground) return true;
  elapsed_ms_ += static_cast<int64_t>(in.chunk.count) * second_ms / in.rate;
  return static_cast<double>(elapsed_ms_) >= backgroundPeriod_ms - blockLength_ms / in.rate;
}

void spectrumPainter::process(const spectrumInput& in, const spectrumSettings& settings, const frameSink& sink) {
  if (in.rate < 1) return;
  const auto maxZoom = static_cast<double>(in.rate * chunkSamples512 / audioRate48);
  const double zoom = std::min(settings.zoom, maxZoom);
  if (!(zoom > 0.0) || !isDue(in, settings.foreground)) return;
  const int32_t overlap = clampedInt(std::pow(2.0, settings.waterfallSpeed));
  span s{zoom, 1, 1, in.centre, in.rate};
  if (zoom > 1.0) {
    s.ratio = static_cast<int32_t>(zoom);
    s.bandRate = in.rate / s.ratio;
    if (settings.foreground) s.overlap = std::max(1, clampedInt(std::max(overlap, 1) * zoom * 0.5));
  } else if (settings.foreground) {
    s.overlap = std::max(overlap, 1);
  }
  for (uint64_t at = 0; at < in.chunk.count;) {
    const cbuff rest = slice(in.chunk, at, in.chunk.count - at);
    const uint64_t made = zoom > 1.0 ? fillZoomed(rest, in, s) : fillPlain(rest, s);
    if (made == 0) return; // less than one decimated sample is left: dropped
    at += made * static_cast<uint64_t>(s.ratio);
    written_ += made;
    if (written_ < points) continue;
    finishFrame(in, s, sink);
    latchedCentre_ = settings.centre; // a frame never has two centres
    keepNewest(s.overlap);
  }
}

// Samples that stay for the next frame must stay raw: with an overlap the window comes later.
uint64_t spectrumPainter::fillPlain(const cbuff& rest, span& s) {
  const uint64_t n = std::min(points - written_, rest.count);
  if (s.overlap == 1)
    applyWindow(slice(rest, 0, n), slice(window_, written_, n), slice(block_, written_, n));
  else
    rest.copyTo(0, n, block_, written_);
  return n;
}

uint64_t spectrumPainter::fillZoomed(const cbuff& rest, const spectrumInput& in, span& s) {
  const auto ratio = static_cast<uint64_t>(s.ratio);
  const uint64_t n = std::min(ratio * (points - written_), rest.count) / ratio;
  if (n == 0) return 0;
  const double step = mixerStep(in.centre, latchedCentre_, in.rate);
  const cbuff target = slice(block_, written_, n);
  const uint64_t made = decimator_.process(step, s.ratio, target, slice(rest, 0, ratio * n));
  std::fill(target.data + made, target.data + n, 0.0); // a ratio that the decimator doesn't know
  if (s.overlap == 1) applyWindow(target, slice(window_, written_, n), target);
  // beyond it the mixer made no sense: the band stays where it was
  s.centre = std::abs(step) < bandLimitStep ? latchedCentre_ : in.centre;
  return n;
}

void spectrumPainter::finishFrame(const spectrumInput& in, const span& s, const frameSink& sink) {
  elapsed_ms_ = 0;
  if (s.overlap == 1)
    fftForward(block_, bins_);
  else
    fftForward(applyWindow(block_, window_, bins_), bins_);
  const double half = s.bandRate / 2.0 / (s.zoom > 1.0 ? 1.0 : s.zoom);
  const double low = latchedCentre_ - half, high = latchedCentre_ + half;
  sink(paint(in, s, low, high), low, high, in.rate);
}

buff<float> spectrumPainter::paint(const spectrumInput& in, const span& s, double low, double high) {
  const int32_t halfBand = s.bandRate / 2;
  inside_.setBand({low, high, int64_t{s.centre} - halfBand, int64_t{s.centre} + halfBand, s.bandRate});
  buff<float> frame(points);
  inside_.paint(bins_.data, frame.data);
  if (inside_.pointsInside() == points32) return frame;
  transformWideband(in.wideband);
  const auto paintWide = [&](int32_t i) {
    frame.data[i] = widebandPoint(i * (high - low) * pointShare + low, in.widebandNyquist);
  };
  int32_t first = 0, end = points32; // the band is one piece: what lies outside are the frame's two ends
  while (first < end && !inside_.isInside(first)) paintWide(first++);
  while (end > first && !inside_.isInside(end - 1)) paintWide(--end);
  return frame;
}

void spectrumPainter::transformWideband(const buff<double>& samples) {
  widebandCount_ = 0;
  if (samples.count < 2 || samples.count > points || !std::has_single_bit(samples.count)) return;
  widebandCount_ = samples.count;
  for (uint64_t i = 0; i < widebandCount_; i++) widebandWork_.data[i] = samples.data[i] * window_.data[i];
  fftForwardReal(slice(widebandWork_, 0, widebandCount_), widebandBins_);
}

// Raw samples aren't mirrored.
float spectrumPainter::widebandPoint(double frequency, double nyquist) const {
  if (widebandCount_ == 0 || !(frequency >= 0.0)) return noData;
  const auto count = static_cast<double>(widebandCount_);
  const double k = count * frequency * 0.5 / nyquist;
  if (!(k >= 0.0 && k < count / 2)) return noData;
  const double scale = 2.0 / count;
  return bels(powerOf(widebandBins_.data[static_cast<uint64_t>(k)]) * scale * scale * powerScale);
}

void spectrumPainter::keepNewest(int32_t overlap) {
  if (overlap == 1) {
    written_ = 0;
    return;
  }
  const auto hop = static_cast<uint64_t>(std::max(1, points32 / overlap));
  written_ = points - hop;
  std::memmove(static_cast<void*>(block_.data), block_.data + hop, written_ * sizeof *block_.data);
}

} // namespace larch
