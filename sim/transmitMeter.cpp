#include "sim/transmitMeter.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larch::sim {

namespace {
void setBand(transmitReading& r, const powerSpectrum& spectrum) {
  const powerSpectrum::band band = spectrum.occupied();
  r.low_Hz = band.low * transmitRate_Hz;
  r.high_Hz = band.high * transmitRate_Hz;
}

// adds to peak, clipped, samples; returns the energy
double count(transmitReading& r, std::span<const std::complex<float>> samples) {
  double energy = 0;
  for (const auto& s : samples) {
    const double square = static_cast<double>(s.real()) * s.real() + static_cast<double>(s.imag()) * s.imag();
    energy += square;
    r.peak = std::max(r.peak, std::sqrt(square));
    if (square >= transmitMeter::clipMagnitude * transmitMeter::clipMagnitude) ++r.clipped;
  }
  r.samples += samples.size();
  return energy;
}
} // namespace

std::string describeReading(const transmitReading& r) {
  if (!(r.power > 0)) return "silent";
  return fmt::format("peak {:.1f} dBFS, mean {:.1f} dBFS, 99 % in {:.0f} Hz ({:+.0f} to {:+.0f})", 20 * std::log10(r.peak),
                     10 * std::log10(r.power), r.high_Hz - r.low_Hz, r.low_Hz, r.high_Hz);
}

void transmitMeter::add(std::span<const std::complex<float>> samples) {
  energy += count(counted, samples);
  spectrum.add(samples);
}

transmitReading transmitMeter::reading() const {
  transmitReading r = counted;
  if (r.samples > 0) r.power = energy / static_cast<double>(r.samples);
  powerSpectrum whole = spectrum;
  whole.addSilence();
  setBand(r, whole);
  return r;
}

transmitReading measureCut(std::span<const std::complex<float>> samples) {
  transmitReading r;
  const double energy = count(r, samples);
  if (r.samples > 0) r.power = energy / static_cast<double>(r.samples);
  powerSpectrum spectrum;
  spectrum.add(samples);
  setBand(r, spectrum);
  return r;
}

} // namespace larch::sim
