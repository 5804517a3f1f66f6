// What a carrier must look like in a spectrum frame and in the audio, worked out from the definitions alone.
#pragma once
#include <cmath>
#include <complex>
#include <vector>

namespace larch::test {

constexpr double spectrumPoints = 2048;

// |sum of the seven-term Blackman-Harris window over 2048 points times e^(-j 2 pi x n / 2048)| / 2048: the response x bins beside
// a bin's middle, 1 for no window.
inline double windowResponse(double x) {
  static const double terms[] = {0.27105140069342, -0.43329793923448, 0.21812299954311, -0.06592544638803,
                                 0.01081174209837, -0.00077658482522, 0.00001388721735};
  std::complex<double> sum = 0;
  for (int n = 0; n < 2048; n++) {
    const double at = (n + 0.5) * 2 * M_PI / 2048;
    double w = 0;
    for (int t = 0; t < 7; t++) w += terms[t] * std::cos(t * at);
    sum += w * std::polar(1.0, -2 * M_PI * x * n / 2048);
  }
  return std::abs(sum) / 2048;
}

// dB that a frame shows for a carrier of this amplitude (1 is full scale), x bins beside the bin.
inline double shownLevel_dB(double amplitude, double x) {
  return 10 * std::log10(10 * std::pow(amplitude * windowResponse(x), 2));
}

// Complex amplitude of the part at f, Hann-weighted; 1 for e^(j 2 pi f t).
inline std::complex<double> partAt(const double* audio, std::size_t count, double f, double rate) {
  std::complex<double> sum = 0;
  double weight = 0;
  for (std::size_t n = 0; n < count; n++) {
    const double w = 1 - std::cos(2 * M_PI * (static_cast<double>(n) + 0.5) / static_cast<double>(count));
    sum += w * audio[n] * std::polar(1.0, -2 * M_PI * f * static_cast<double>(n) / rate);
    weight += w;
  }
  return sum / weight;
}

struct tone {
  double frequency_Hz, amplitude; // of a cosine
  double rest;                    // power of all else over the tone's
};

// The tone within half the resolution of `expected`: its frequency from the turn of the phase between two halves.
inline tone toneNear(const std::vector<double>& audio, double expected, double rate = 48000) {
  const std::size_t half = audio.size() / 2;
  const double time_s = static_cast<double>(half) / rate;
  const std::complex<double> first = partAt(audio.data(), half, expected, rate);
  const std::complex<double> second = partAt(audio.data() + half, half, expected, rate);
  const double turn = std::arg(second / first * std::polar(1.0, -2 * M_PI * expected * time_s));
  tone found{expected + turn / (2 * M_PI * time_s), 0, 0};
  found.amplitude = 2 * std::abs(partAt(audio.data(), 2 * half, found.frequency_Hz, rate));
  double power = 0;
  for (const double a : audio) power += a * a / static_cast<double>(audio.size());
  found.rest = std::abs(power / (found.amplitude * found.amplitude / 2) - 1);
  return found;
}

} // namespace larch::test
