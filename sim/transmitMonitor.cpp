#include "sim/transmitMonitor.h"
#include <algorithm>
#include <cmath>
#include "sim/wavFile.h"

namespace larch::sim {

namespace {
constexpr double fullScale = transmitFullScale;
}

void transmitMonitor::add(const commandFrame& frame) {
  ++counted.frames;
  if (frame.mox()) ++counted.moxFrames;
  for (const txSample& s : frame.samples) {
    const double square = static_cast<double>(s.i) * s.i + static_cast<double>(s.q) * s.q;
    if (frame.mox()) {
      peakSquared = std::max(peakSquared, square);
      energy += square;
    } else if (square > 0) {
      ++counted.withoutMox;
    }
    if (recording) kept.push_back({s, frame.mox()});
  }
}

transmitLevels transmitMonitor::levels() const {
  transmitLevels l = counted;
  l.peak = std::sqrt(peakSquared) / fullScale;
  const auto samples = static_cast<double>(counted.moxFrames * p1TxSamplesPerFrame);
  l.power = samples > 0 ? energy / samples / (fullScale * fullScale) : 0;
  return l;
}

void transmitMonitor::clear() {
  counted = {};
  peakSquared = energy = 0;
  kept.clear();
}

void transmitMonitor::writeIqWav(const std::string& path, std::span<const recordedSample> samples) {
  std::vector<float> interleaved;
  interleaved.reserve(samples.size() * 2);
  for (const recordedSample& r : samples) {
    interleaved.push_back(static_cast<float>(r.sample.i / fullScale));
    interleaved.push_back(static_cast<float>(r.sample.q / fullScale));
  }
  writeWav(path, transmitRate_Hz, 2, interleaved);
}

} // namespace larch::sim
