#include "sim/transmitMonitor.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include "sim/transmitRecorder.h"

namespace larch::sim {

namespace {
constexpr double fullScale = transmitFullScale;
constexpr std::ptrdiff_t second = 48000; // samples
} // namespace

std::string describeTransmission(const transmission& t) {
  const auto change = [](const auto& first, const auto& last, const char* format) {
    const std::string a = fmt::format(fmt::runtime(format), first), b = fmt::format(fmt::runtime(format), last);
    return a == b ? a : a + " to " + b;
  };
  std::string line = fmt::format(
      "{:.3f} s: {:.3f} s on {} Hz, filters {}, drive {}, {}, {} clipped, {} without MOX", t.start_s,
      static_cast<double>(t.reading.samples) / transmitRate_Hz, change(t.first.frequency_Hz, t.last.frequency_Hz, "{:.0f}"),
      change(t.first.filterBits, t.last.filterBits, "{:#04x}"), change(t.first.drive, t.last.drive, "{}"),
      describeReading(t.reading), t.reading.clipped, t.withoutMox);
  if (t.lost > 0) line += fmt::format(", {} lost", t.lost);
  return line;
}

std::optional<transmission> transmitMonitor::add(const commandFrame& frame, const transmitFrame& sent, double now_s,
                                                 const transmitSetting& setting) {
  std::optional<transmission> over;
  if (!sent.on) {
    over = finish();
  } else {
    if (!under) under = transmission{now_s, setting, setting, {}, 0, counted.withoutMox - strayBefore};
    follow(setting);
    put(sent.samples);
  }
  ++counted.frames;
  if (frame.mox()) ++counted.moxFrames;
  for (const txSample& s : frame.samples) {
    const double square = static_cast<double>(s.i) * s.i + static_cast<double>(s.q) * s.q;
    if (frame.mox()) {
      peakSquared = std::max(peakSquared, square);
      energy += square;
    } else if (square > 0 && !sent.on) {
      ++counted.withoutMox;
    }
    if (recording) kept.push_back({s, frame.mox()});
  }
  return over;
}

// A first value that didn't stand for long enough gives its place to the next.
void transmitMonitor::follow(const transmitSetting& setting) {
  const auto settle = [this](auto& first, auto& last, size_t& since, auto now) {
    const bool brief = static_cast<double>(aired - since) <= transmission::settling_s * transmitRate_Hz;
    if (now != last && first == last && brief) {
      first = now;
      since = aired;
    }
    last = now;
  };
  settle(under->first.frequency_Hz, under->last.frequency_Hz, begun.frequency, setting.frequency_Hz);
  settle(under->first.filterBits, under->last.filterBits, begun.filterBits, setting.filterBits);
  settle(under->first.drive, under->last.drive, begun.drive, setting.drive);
}

void transmitMonitor::put(std::span<const std::complex<float>> samples) {
  aired += samples.size();
  meter.add(samples);
  recent.insert(recent.end(), samples.begin(), samples.end());
  if (recent.size() >= 2 * second) recent.erase(recent.begin(), recent.end() - second);
}

void transmitMonitor::skip(size_t samples) {
  if (!under) return;
  under->lost += samples;
  constexpr std::array<std::complex<float>, p1TxSamplesPerFrame> silence{};
  for (; samples > 0; samples -= std::min(samples, silence.size()))
    put(std::span(silence).first(std::min(samples, silence.size())));
}

transmission transmitMonitor::soFar() const {
  transmission t = *under;
  t.reading = meter.reading();
  return t;
}

std::optional<transmission> transmitMonitor::finish() {
  if (!under) return {};
  const transmission over = soFar();
  under.reset();
  meter = {};
  aired = 0;
  begun = {};
  recent.clear();
  strayBefore = counted.withoutMox;
  return over;
}

std::vector<std::complex<float>> transmitMonitor::lastSecond() const {
  return {recent.end() - std::min<std::ptrdiff_t>(second, std::ssize(recent)), recent.end()};
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
  strayBefore = 0;
  kept.clear();
}

void transmitMonitor::writeIqWav(const std::string& path, std::span<const recordedSample> samples, int zone) {
  transmitRecorder file(path, zone);
  file.add(samples);
  file.close();
}

} // namespace larch::sim
