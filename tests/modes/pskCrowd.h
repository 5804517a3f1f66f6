// A band full of PSK stations that come and go, and what the scanning channels make of it.
#pragma once
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "modes/PskModDemod.h"
#include "sim/pskSource.h"
#include "sim/randomSource.h"
#include "tests/runtime/testGroup.h"
#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace larch::test {

constexpr double crowdRate = 8000;         // samples per second
constexpr size_t crowdBlock = 512;         // samples: 64 ms
constexpr double crowdNoiseWidth_Hz = 500; // of the noise that levels are given against
constexpr int32_t sameStation = 20;        // Hz between a station and a channel that has it
constexpr size_t channelsOfSpeed = 30;     //
constexpr double passSeconds = 3 * 512 / crowdRate;

// One visit of a station to the band.
struct crowdVisit {
  double frequency = 0, level_dB = 20; // Hz; against the noise in crowdNoiseWidth_Hz
  bool fast = false;                   // 62.5 baud
  double from_s = 0, to_s = 0;
  std::string text;

  // what the mode made of it, seconds from its begin
  std::optional<double> found, read;
  std::string heard;
};

struct crowdPlan {
  size_t slots = 24;                 // places for stations
  double first = 310, spacing = 115; // Hz
  double wander = 2.5;               // Hz to each side of a slot
  double stay_s = 30, away_s = 20;   // of each, half of it up or down
  double low_dB = 20, high_dB = 20;  // levels
  bool fastOnes = false;             // every other slot is PSK63
  double length_s = 180;
};

inline std::string crowdText(sim::randomSource& random, size_t length) {
  std::string text;
  while (text.size() < length) {
    for (uint64_t n = 2 + random.below(6); n > 0; n--) text += static_cast<char>('a' + random.below(26));
    text += ' ';
  }
  return text;
}

// All slots are taken at first; each station then goes and another one comes to its slot.
inline std::vector<crowdVisit> crowdVisits(const crowdPlan& plan, uint64_t seed) {
  sim::randomSource random(seed);
  const auto about = [&](double middle) { return middle * (0.5 + random.uniform()); };
  std::vector<crowdVisit> visits;
  for (size_t slot = 0; slot < plan.slots; slot++) {
    for (double from = 0; from < plan.length_s;) {
      crowdVisit v;
      v.frequency = plan.first + plan.spacing * static_cast<double>(slot) + plan.wander * (2 * random.uniform() - 1);
      v.level_dB = plan.low_dB + (plan.high_dB - plan.low_dB) * random.uniform();
      v.fast = plan.fastOnes && slot % 2;
      v.from_s = from;
      v.to_s = from + about(plan.stay_s);
      v.text = crowdText(random, static_cast<size_t>((v.to_s - v.from_s) * 16));
      from = v.to_s + about(plan.away_s);
      visits.push_back(v);
    }
  }
  return visits;
}

// The band as audio, block by block; the noise between 100 and 3100 Hz, as behind a receiver's filter.
class pskCrowd {
 public:
  pskCrowd(const std::vector<crowdVisit>& visits, uint64_t seed)
      : filter_(makeBandpass(100, 3100, static_cast<int32_t>(crowdRate), filterTaps, filterTaps)), random_(seed) {
    for (const crowdVisit& v : visits) {
      sim::pskSource::sending s;
      s.text = v.text;
      s.baud = v.fast ? 62.5 : 31.25;
      s.start_s = v.from_s;
      stations_.push_back({v, std::make_unique<sim::pskSource>(v.frequency, v.level_dB, s), random_.uniform()});
    }
  }

  const std::vector<double>& next() {
    // of complex noise, spread over the whole rate; its real part has half the power in the same width
    const double density = 1 / crowdNoiseWidth_Hz, deviation = std::sqrt(density * crowdRate / 2);
    std::fill_n(filter_.input.data, crowdBlock, 0.0);
    random_.addNoise(filter_.input.data, crowdBlock, deviation);
    filter_.process();
    for (size_t n = 0; n < crowdBlock; n++) audio_[n] = filter_.output.data[n].real();
    const double t0 = static_cast<double>(blocks_++ * crowdBlock) / crowdRate, t1 = t0 + crowdBlock / crowdRate;
    for (const station& s : stations_)
      if (s.visit.from_s < t1 && s.visit.to_s > t0) add(s, t0);
    return audio_;
  }

 private:
  static constexpr int32_t filterTaps = 256;
  struct station {
    crowdVisit visit;
    std::unique_ptr<sim::pskSource> source;
    double phase; // turns
  };

  void add(const station& s, double t0) {
    const auto shape = s.source->envelope({t0, 1 / crowdRate, crowdBlock}, {-4000, 4000}, envelope_.data());
    if (shape == sim::envelopeShape::silent) return;
    if (shape == sim::envelopeShape::constant) std::fill(envelope_.begin(), envelope_.end(), std::complex<double>(envelope_[0]));
    const double amplitude = std::pow(10, s.visit.level_dB / 20);
    const auto turn = std::polar(1.0, 2 * M_PI * s.visit.frequency / crowdRate);
    auto phasor = std::polar(amplitude, 2 * M_PI * std::fmod(s.phase + s.visit.frequency * t0, 1.0));
    for (size_t n = 0; n < crowdBlock; n++) {
      const double t = t0 + static_cast<double>(n) / crowdRate;
      if (t >= s.visit.from_s && t < s.visit.to_s)
        audio_[n] += envelope_[n].real() * phasor.real() - envelope_[n].imag() * phasor.imag();
      phasor *= turn;
    }
  }

  fftConvolver filter_;
  sim::randomSource random_;
  std::vector<station> stations_;
  std::vector<double> audio_ = std::vector<double>(crowdBlock);
  std::vector<std::complex<double>> envelope_ = std::vector<std::complex<double>>(crowdBlock);
  uint64_t blocks_ = 0;
};

// The whole mode on such a band. The host's functions know nothing but the text: what they tell of is kept here.
class crowdListener {
 public:
  static constexpr size_t rightCharacters = 8; // in a row: a station is read

  // steered: asked before each block for the activities that a host gives the channels.
  explicit crowdListener(std::function<int32_t(size_t channel)> steered = {}) : steered_(std::move(steered)) {
    listen(std::make_index_sequence<2 * channelsOfSpeed>());
    text = {};
    used = {};
  }

  // Hears all of it; what is to be asserted about each pass goes into `most`.
  void hear(const crowdPlan& plan, std::vector<crowdVisit>& visits, uint64_t seed) {
    pskCrowd crowd(visits, seed);
    cbuff samples(crowdBlock * 6);
    for (double t = crowdBlock / crowdRate; t < plan.length_s; t += crowdBlock / crowdRate) {
      const auto& audio = crowd.next();
      for (size_t n = 0; n < crowdBlock * 6; n++) samples.data[n] = audio[n / 6];
      for (size_t i = 0; steered_ && i < 2 * channelsOfSpeed; i++) mode->dets.items[i]->activity.set(steered_(i));
      moves = {};
      mode->demodulate(samples);
      g.pool->getUpdates();
      for (size_t set = 0; set < 2; set++) {
        most[set] = std::max(most[set], moves[set]);
        all[set] += moves[set];
      }
      for (crowdVisit& v : visits)
        if (v.from_s < t && t <= v.to_s) look(v, t);
      text = {};
    }
  }

  testGroup g;
  std::shared_ptr<PskModDemod> mode = keptByCore(std::make_shared<PskModDemod>(g.group));
  static inline std::array<int, 2> moves;
  static inline std::array<std::string, 2 * channelsOfSpeed> text;
  static inline std::array<bool, 2 * channelsOfSpeed> used; // told of something since somebody cleared it
  std::array<int, 2> most{}, all{};                         // moves of PSK31 and PSK63 channels: in one pass, ever

 private:
  std::function<int32_t(size_t)> steered_;

  template <size_t... i> void listen(std::index_sequence<i...>) {
    ((mode->dets.items[i]->newChars =
          [](const char* t) {
            text[i] += t;
            used[i] = true;
          }),
     ...);
    ((mode->dets.items[i]->reset =
          [](int32_t) {
            moves[i / channelsOfSpeed]++;
            used[i] = true;
          }),
     ...);
  }
  void look(crowdVisit& v, double t) {
    const size_t first = v.fast ? channelsOfSpeed : 0;
    for (size_t i = first; i < first + channelsOfSpeed; i++) {
      const PskDetector& d = *mode->dets.items[i];
      if (d.lifeCount <= 0 || std::abs(d.frequency() - v.frequency) >= sameStation) continue;
      if (!v.found) v.found = t - v.from_s;
      if (v.read) continue;
      v.heard += text[i];
      if (reads(v)) v.read = t - v.from_s;
    }
  }
  static bool reads(const crowdVisit& v) {
    for (size_t at = 0; at + rightCharacters <= v.heard.size(); at++)
      if (v.text.find(v.heard.substr(at, rightCharacters)) != std::string::npos) return true;
    return false;
  }
};

} // namespace larch::test
