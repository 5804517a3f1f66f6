#include "sim/slotAudio.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace larch::sim {

namespace {
constexpr size_t c2HeaderBytes = 26, c2PairBytes = 8;
constexpr double c2Rate_Hz = 375, c2Middle_Hz = 1500;

// Low-pass around the middle of the upper sideband, Blackman-windowed; the main lobe makes its slopes slotEdge_Hz wide to -6 dB.
std::vector<float> halfBandFilter(double rate_Hz) {
  const auto reach = static_cast<int>(std::ceil(3 * rate_Hz / slotEdge_Hz));
  const double x = 0.5 - slotEdge_Hz / rate_Hz; // the whole width over the rate, slopes to both sides of their -6 dB
  std::vector<float> taps;
  for (int n = -reach; n <= reach; ++n) {
    const double sinc = n == 0 ? x : std::sin(M_PI * x * n) / (M_PI * n);
    const double u = M_PI * n / (reach + 1);
    taps.push_back(static_cast<float>(sinc * (0.42 + 0.5 * std::cos(u) + 0.08 * std::cos(2 * u))));
  }
  return taps;
}
} // namespace

slotAudio slotFromWav(const wavData& audio, double seconds) {
  const auto channels = static_cast<size_t>(std::max(audio.channels, 1));
  const auto frames = static_cast<size_t>(std::min(static_cast<double>(audio.frames()), seconds * audio.rate_Hz));
  // A quarter of the rate down, twice the level: of the turned samples the even ones are real, the odd ones imaginary.
  static constexpr float turns[] = {2, -2, -2, 2};
  std::vector<float> moved(frames);
  for (size_t n = 0; n < frames; ++n) moved[n] = turns[n % 4] * audio.samples[n * channels];
  const std::vector<float> taps = halfBandFilter(audio.rate_Hz);
  const size_t reach = taps.size() / 2;
  slotAudio made{audio.rate_Hz, audio.rate_Hz / 4, std::vector<std::complex<float>>(frames)};
  for (size_t n = 0; n < frames; ++n) {
    const size_t first = n > reach ? n - reach : 0, last = std::min(n + reach + 1, frames);
    float part[2] = {};
    for (const size_t odd : {size_t{0}, size_t{1}})
      for (size_t k = first + (first + odd) % 2; k < last; k += 2) part[odd] += moved[k] * taps[n + reach - k];
    made.samples[n] = {part[0], part[1]};
  }
  return made;
}

slotAudio slotFromC2(std::span<const uint8_t> file) {
  if (file.size() < c2HeaderBytes + c2PairBytes) throw std::runtime_error("no .c2 file");
  slotAudio made{c2Rate_Hz, c2Middle_Hz, {}};
  float peak = 0;
  for (size_t at = c2HeaderBytes; at + c2PairBytes <= file.size(); at += c2PairBytes) {
    float pair[2];
    std::memcpy(pair, &file[at], sizeof pair);
    if (!std::isfinite(pair[0]) || !std::isfinite(pair[1])) throw std::runtime_error("no .c2 file: not all of it are numbers");
    made.samples.emplace_back(pair[0], -pair[1]);
    peak = std::max(peak, std::abs(made.samples.back()));
  }
  if (!std::isfinite(peak)) throw std::runtime_error("no .c2 file: its numbers are too large");
  if (peak > 0)
    for (auto& z : made.samples) z /= peak;
  return made;
}

slotAudio readSlotFile(const std::string& path, double seconds) {
  if (!path.ends_with(".c2")) return slotFromWav(readWav(path), seconds);
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": can't be opened");
  const std::vector<uint8_t> file{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  try {
    return slotFromC2(file);
  } catch (const std::runtime_error& e) {
    throw std::runtime_error(path + ": " + e.what());
  }
}

} // namespace larch::sim
