// PSK signals over a channel, as audio at 8000 samples per second, and the detectors that read them.
#pragma once
#include "tests/modes/fadingPaths.h"
#include "tests/modes/studyText.h"
#include "modes/pskBank.h"
#include "sim/pskCode.h"
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace larch::study {

constexpr double pskRate = 8000, pskAmplitude = 1000;
constexpr int32_t pskBlock = 512;

struct pskVariant {
  int32_t value;
  const char* name;
  double baud;
};
constexpr pskVariant pskVariants[] = {{0, "PSK31", 31.25},  {8, "PSK63", 62.5},  {16, "PSK125", 125},
                                      {1, "QPSK31", 31.25}, {9, "QPSK63", 62.5}, {17, "QPSK125", 125}};

struct pskChannel {
  double perSymbol_dB = 100; // energy of a symbol, in the mean of the fading, against the noise in one hertz
  double offset_Hz = 0, drift_Hz_s = 0, clock_ppm = 0;
  double drift_s = 1e9; // it stays where it is from then on
  fadingSpread fading;
  std::optional<double> neighbour_Hz; // another station of the same mode and level so far above
  size_t idle = 96, tail = 48;        // symbols before and behind the text
};

constexpr double nearAfcLimit_Hz = 45; // the limit is 50

// The sender slides so far off during its idle, at a pace that is followed in noise, too, and then idles as long as before.
inline void slideAway(pskChannel& c, const pskVariant& v, double sign) {
  constexpr double pace = 0.6 / 31.25; // Hz/s a baud
  c.drift_Hz_s = sign * pace * v.baud;
  c.drift_s = nearAfcLimit_Hz / (pace * v.baud);
  c.idle += static_cast<size_t>(c.drift_s * v.baud);
}

// Phases between the symbols, from half a cosine to the next: see the modem.
class pskSignal {
 public:
  pskSignal(const pskVariant& v, const std::string& text, const pskChannel& c) : symbolRate_(v.baud * (1 + c.clock_ppm * 1e-6)) {
    std::string bits(c.idle, '0');
    bits += sim::varicodeBits(text);
    bits.append(c.tail, '0');
    constexpr std::complex<double> quarters[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    int phase = 0;
    points_.push_back(1);
    for (const int turn : v.value & 1 ? sim::qpskTurns(bits) : sim::bpskTurns(bits))
      points_.push_back(quarters[phase = (phase + turn) % 4]);
  }
  double length_s() const { return static_cast<double>(points_.size() - 1) / symbolRate_; }
  std::complex<double> at(double t_s) const {
    const double position = t_s * symbolRate_;
    if (position < 0 || position >= static_cast<double>(points_.size() - 1)) return 0;
    const auto k = static_cast<size_t>(position);
    return points_[k] +
           (points_[k + 1] - points_[k]) * shapes()[static_cast<size_t>((position - static_cast<double>(k)) * steps)];
  }

 private:
  static constexpr size_t steps = 8192;
  static const std::vector<double>& shapes() {
    static const auto table = [] {
      std::vector<double> t;
      for (size_t n = 0; n < steps; n++) t.push_back((1 - std::cos(M_PI * (static_cast<double>(n) + 0.5) / steps)) / 2);
      return t;
    }();
    return table;
  }
  double symbolRate_;
  std::vector<std::complex<double>> points_;
};

// A carrier that drifts, by turning a phasor whose turn turns itself.
class driftingCarrier {
 public:
  driftingCarrier(double frequency, double drift_Hz_s, double phase)
      : z_(std::polar(1.0, phase)), turn_(std::polar(1.0, 2 * M_PI * frequency / pskRate)),
        bend_(std::polar(1.0, 2 * M_PI * drift_Hz_s / pskRate / pskRate)) {}
  std::complex<double> next(bool drifts) {
    const auto now = z_;
    z_ = times(z_, turn_);
    if (drifts) turn_ = times(turn_, bend_);
    return now;
  }

 private:
  static std::complex<double> times(std::complex<double> a, std::complex<double> b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
  }
  std::complex<double> z_, turn_, bend_;
};

inline void addPsk(std::vector<double>& audio, const pskSignal& s, const pskChannel& c, double frequency, double start_s,
                   sim::randomSource& random) {
  driftingCarrier carrier(frequency + c.offset_Hz, c.drift_Hz_s, 2 * M_PI * random.uniform());
  fadingPaths paths(c.fading, pskRate, random);
  for (size_t n = 0; n < audio.size(); n++) {
    const double t = static_cast<double>(n) / pskRate - start_s;
    std::complex<double> z = s.at(t);
    if (c.fading.doppler_Hz > 0) {
      const auto gain = paths.at(n);
      const auto late = s.at(t - paths.delay_s());
      z = z * gain[0] + late * gain[1];
    }
    const auto w = carrier.next(static_cast<double>(n) < c.drift_s * pskRate);
    audio[n] += pskAmplitude * (z.real() * w.real() - z.imag() * w.imag());
  }
}

inline double pskNoise(const pskVariant& v, double perSymbol_dB) {
  return std::sqrt(pskAmplitude * pskAmplitude / 2 / v.baud * pskRate / 2 / std::pow(10.0, perSymbol_dB / 10));
}

// Eight stations at once, so far apart that none hears another: their detectors run side by side.
constexpr size_t together = 8;
inline double frequencyOf(size_t k) { return 300 + 400 * static_cast<double>(k); }
using eightTexts = std::array<std::string, together>;

// Each text between idle, from a random moment and phase on, all in one noise.
inline std::vector<double> pskAudio(const pskVariant& v, const eightTexts& texts,
                                    const std::array<pskChannel, together>& channels, sim::randomSource& random) {
  std::vector<pskSignal> signals;
  double length_s = 0;
  for (size_t k = 0; k < together; k++) length_s = std::max(length_s, pskSignal(v, texts[k], channels[k]).length_s());
  for (size_t k = 0; k < together; k++) { // all idle until the last one ends: nobody listens to the others in his own silence
    pskChannel c = channels[k];
    c.tail += static_cast<size_t>((length_s - pskSignal(v, texts[k], c).length_s()) * v.baud);
    signals.emplace_back(v, texts[k], c);
  }
  std::vector<double> audio(static_cast<size_t>((length_s + 1 / v.baud) * pskRate / pskBlock + 1) * pskBlock);
  for (size_t k = 0; k < together; k++) {
    addPsk(audio, signals[k], channels[k], frequencyOf(k), random.uniform() / v.baud, random);
    if (!channels[k].neighbour_Hz) continue;
    const pskChannel other;
    const pskSignal n(v, randomWords(texts[k].size() + 20, random), other);
    addPsk(audio, n, other, frequencyOf(k) + *channels[k].neighbour_Hz, -5 * random.uniform(), random);
  }
  random.addNoise(audio.data(), audio.size(), pskNoise(v, channels[0].perSymbol_dB));
  return audio;
}

class eightDetectors {
 public:
  explicit eightDetectors(const pskVariant& v, bool squelch = true) : all(together) {
    static const auto table = reverseVaricode();
    for (size_t k = 0; k < together; k++) {
      CPSKDet& d = all[k];
      d.setMode(v.value);
      d.varicodeTable = table;
      d.setRxFrequency(static_cast<int32_t>(frequencyOf(k)) - 100);
      d.setRxFrequency(static_cast<int32_t>(frequencyOf(k))); // acquires
      d.reset();
      if (!squelch) d.quality.squelchThreshold = -1000;
      pointers_[k] = &d;
    }
  }
  void process(const double* samples, int32_t count) {
    std::array<pskText, together> out;
    processDetectors(pointers_, samples, count, out);
    for (size_t k = 0; k < together; k++) texts[k].append(out[k].characters, static_cast<size_t>(out[k].count));
  }

  std::vector<CPSKDet> all;
  eightTexts texts;

 private:
  std::array<CPSKDet*, together> pointers_;
};

inline eightTexts readPsk(const pskVariant& v, const std::vector<double>& audio, bool squelch = true) {
  eightDetectors d(v, squelch);
  for (size_t at = 0; at + pskBlock <= audio.size(); at += pskBlock) d.process(audio.data() + at, pskBlock);
  return d.texts;
}

} // namespace larch::study
