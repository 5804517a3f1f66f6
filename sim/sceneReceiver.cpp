#include "sim/sceneReceiver.h"
#include <algorithm>
#include <cmath>
#include "sim/rotation.h"

namespace larch::sim {

void addRotating(std::complex<double>* out, size_t count, std::complex<double> start, std::complex<double> step) {
  rotation r(start, step);
  auto* p = reinterpret_cast<double*>(out);
  size_t n = 0;
  for (; n + rotation::lanes <= count; n += rotation::lanes) {
    for (size_t l = 0; l < rotation::pairs; ++l, p += 4) {
      storePair(p, loadPair(p) + firsts(r.re[l], r.im[l]));
      storePair(p + 2, loadPair(p + 2) + seconds(r.re[l], r.im[l]));
    }
    r.advance();
  }
  for (size_t l = 0; n < count; ++n, ++l) out[n] += std::complex<double>(r.realAt(l), r.imagAt(l));
}

void addRotating(std::complex<double>* out, size_t count, std::complex<double> start, std::complex<double> step,
                 const std::complex<double>* envelope, bool conjugate) {
  rotation r(start, step);
  auto* p = reinterpret_cast<double*>(out);
  const auto* e = reinterpret_cast<const double*>(envelope);
  const double sign = conjugate ? -1 : 1;
  size_t n = 0;
  for (; n + rotation::lanes <= count; n += rotation::lanes) {
    for (size_t l = 0; l < rotation::pairs; ++l, p += 4, e += 4) {
      const doublePair one = loadPair(e), other = loadPair(e + 2);
      const doublePair a = firsts(one, other), b = sign * seconds(one, other);
      const doublePair re = r.re[l] * a - r.im[l] * b, im = r.re[l] * b + r.im[l] * a;
      storePair(p, loadPair(p) + firsts(re, im));
      storePair(p + 2, loadPair(p + 2) + seconds(re, im));
    }
    r.advance();
  }
  for (size_t l = 0; n < count; ++n, ++l) {
    const double a = envelope[n].real(), b = sign * envelope[n].imag();
    out[n] += std::complex<double>(r.realAt(l) * a - r.imagAt(l) * b, r.realAt(l) * b + r.imagAt(l) * a);
  }
}

sceneReceiver::sceneReceiver(std::shared_ptr<const bandScene> played, uint64_t seed) : scene(std::move(played)), random(seed) {}

void sceneReceiver::tune(const receiverTuning& tuning) {
  if (tuned == tuning) return;
  tuned = tuning;
  retuned = true;
}

void sceneReceiver::selectSignals() {
  signals.clear();
  const double half = tuned.rate_Hz / 2;
  for (const auto& source : selected->signals) {
    const foldedImages images = foldIntoBand(source->frequency_Hz(), tuned.clock_Hz);
    for (size_t i = 0; i < images.count; ++i) {
      const auto [frequency, mirrored] = images.image[i];
      const double offset = frequency - tuned.centre_Hz;
      const heardBand band = source->occupied();
      const double low = offset + (mirrored ? -band.high_Hz : band.low_Hz);
      const double high = offset + (mirrored ? -band.low_Hz : band.high_Hz);
      const bool inside = low > -half && high<half, touches = high> - half && low < half;
      if (!(source->fitsItself() ? touches : inside)) continue;
      const heardBand heard = mirrored ? heardBand{offset - half, offset + half} : heardBand{-half - offset, half - offset};
      const std::complex<double> step = std::polar(1.0, -2 * M_PI * offset / tuned.rate_Hz);
      signals.push_back({source, offset, mirrored, std::pow(10, source->level_dBFS() / 20), step, heard});
    }
  }
}

void sceneReceiver::render(double start_s, std::complex<double> gain, std::complex<double>* out, size_t count) {
  if (count == 0) return;
  std::shared_ptr<const bandScene::content> content = scene->current();
  if (retuned || content != selected) {
    selected = std::move(content);
    selectSignals();
    retuned = false;
  }
  if (scratch.size() < count) scratch.resize(count);
  std::fill(out, out + count, std::complex<double>());
  const timeGrid grid{start_s, 1 / tuned.rate_Hz, count, utcAtZero_s};
  for (const heardSignal& s : signals) {
    const envelopeShape shape = s.source->envelope(grid, s.heard, scratch.data());
    if (shape == envelopeShape::silent) continue;
    const double cycles = s.offset_Hz * start_s;
    std::complex<double> start = gain * std::polar(s.amplitude, -2 * M_PI * (cycles - std::floor(cycles)));
    // the stream is the conjugate of the analytic signal; a mirrored image conjugates once more
    if (shape == envelopeShape::constant)
      addRotating(out, count, start * (s.mirrored ? scratch[0] : std::conj(scratch[0])), s.step);
    else
      addRotating(out, count, start, s.step, scratch.data(), !s.mirrored);
  }
  const double deviation = complexNoiseDeviation(selected->noise_dBFS, tuned.rate_Hz);
  if (deviation > 0) random.addNoise(out, count, std::abs(gain) * deviation);
}

} // namespace larch::sim
