#include "sim/bandScene.h"
#include <algorithm>
#include <cmath>

namespace larch::sim {

bandScene::bandScene() : now(std::make_shared<content>()) {}

template <typename change> void bandScene::edit(change&& apply) {
  const std::lock_guard lock(guard);
  auto next = std::make_shared<content>(*now);
  apply(*next);
  ++next->revision;
  now = std::move(next);
}

void bandScene::add(std::shared_ptr<const signalSource> signal) {
  edit([&](content& c) { c.signals.push_back(std::move(signal)); });
}

void bandScene::remove(const std::shared_ptr<const signalSource>& signal) {
  edit([&](content& c) { std::erase(c.signals, signal); });
}

void bandScene::clear() {
  edit([](content& c) {
    c.signals.clear();
    c.noise_dBFS = content{}.noise_dBFS;
  });
}

void bandScene::setNoise(double density_dBFS) {
  edit([=](content& c) { c.noise_dBFS = density_dBFS; });
}

std::shared_ptr<const bandScene::content> bandScene::current() const {
  const std::lock_guard lock(guard);
  return now;
}

std::shared_ptr<const signalSource> bandScene::addCarrier(double frequency_Hz, double level_dBFS, double phase_rad) {
  auto signal = std::make_shared<carrierSource>(frequency_Hz, level_dBFS, phase_rad);
  add(signal);
  return signal;
}

void bandScene::renderConverter(double start_s, double clock_Hz, double gain, double* out, size_t count,
                                randomSource& random, double utcAtZero_s) const {
  const std::shared_ptr<const content> scene = current();
  std::fill(out, out + count, 0.0);
  for (const auto& signal : scene->signals) {
    // microseconds: the envelope stands still, sampling folds by itself
    std::complex<double> a;
    const heardBand all{-clock_Hz, clock_Hz};
    if (signal->envelope({start_s, 1 / clock_Hz, 1, utcAtZero_s}, all, &a) == envelopeShape::silent) continue;
    const double cycles = signal->frequency_Hz() * start_s;
    const double amplitude = gain * std::pow(10, signal->level_dBFS() / 20);
    std::complex<double> z = amplitude * a * std::polar(1.0, 2 * M_PI * (cycles - std::floor(cycles)));
    const std::complex<double> step = std::polar(1.0, 2 * M_PI * std::fmod(signal->frequency_Hz() / clock_Hz, 1.0));
    double re = z.real(), im = z.imag();
    for (size_t n = 0; n < count; ++n) {
      out[n] += re;
      const double t = re * step.real() - im * step.imag();
      im = re * step.imag() + im * step.real();
      re = t;
    }
  }
  if (scene->noise_dBFS <= noiseOff_dBFS) return;
  // a full-scale sine has the power 1/2; the density fills 0 to clock/2
  random.addNoise(out, count, gain * std::sqrt(0.5 * std::pow(10, scene->noise_dBFS / 10) * clock_Hz / 2));
}

double complexNoiseDeviation(double density_dBFS, double rate_Hz) {
  if (density_dBFS <= bandScene::noiseOff_dBFS) return 0;
  return std::sqrt(std::pow(10, density_dBFS / 10) * rate_Hz / 2);
}

} // namespace larch::sim
