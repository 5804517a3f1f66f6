#include "sim/transmitEcho.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <deque>
#include <mutex>
#include <fmt/format.h>
#include "sim/sampledEnvelope.h"

namespace larch::sim {

namespace {
constexpr double late_s = 0.001;   // nearer to its time than that a sample may already be missed
constexpr double memory_s = 0.1;   // what was played stays readable for so long
constexpr double widest = 64;      // a receiver that hears less than this part of the rate doesn't hear it
constexpr double kernelReach = 10; // samples either side that the interpolation reads, with two to spare
} // namespace

// All that waits on one frequency: frames in the order of their time, silence between them.
class transmitEcho::piece : public signalSource {
 public:
  piece(const transmitMoment& when, double start_s, double level_dBFS)
      : signalSource(when.frequency_Hz, level_dBFS), rate(when.rate_Hz), mirrored(when.mirrored), begin_s(start_s) {}

  // A frame that is due at this time may be put behind the others.
  bool takes(const transmitMoment& when, double time_s) const {
    const std::lock_guard lock(guard);
    return frequency_Hz() == when.frequency_Hz && rate == when.rate_Hz && mirrored == when.mirrored &&
           (blocks.empty() || indexOf(time_s) >= blocks.back().end());
  }
  void append(const transmitFrame& frame, double time_s, double phase_rad) {
    const std::complex<float> turn(std::polar(1.0, phase_rad));
    const std::lock_guard lock(guard);
    block& b = blocks.emplace_back();
    b.at = indexOf(time_s);
    for (size_t n = 0; n < b.samples.size(); ++n) {
      const std::complex<float> s = mirrored ? std::conj(frame.samples[n]) : frame.samples[n];
      b.samples[n] = {s.real() * turn.real() - s.imag() * turn.imag(), s.real() * turn.imag() + s.imag() * turn.real()};
    }
  }
  // False: nothing is left.
  bool forget(double now_s) {
    const std::lock_guard lock(guard);
    const int64_t old = indexOf(now_s - memory_s);
    while (!blocks.empty() && blocks.front().end() <= old) blocks.pop_front();
    return !blocks.empty();
  }

  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override {
    const double half = rate / 2, width = std::min(heard.high_Hz, half) - std::max(heard.low_Hz, -half);
    if (width < rate / widest) return envelopeShape::silent;
    // samples on both sides of what is read, for the interpolation
    const auto wide = static_cast<int64_t>(std::ceil(kernelReach * rate / width));
    const double from = (grid.start_s - begin_s) * rate, to = from + grid.step_s * rate * static_cast<double>(grid.count);
    const int64_t first = static_cast<int64_t>(std::floor(from)) - wide, last = static_cast<int64_t>(std::ceil(to)) + wide;
    std::vector<std::complex<float>> part = cut(first, last);
    if (part.empty()) return envelopeShape::silent;
    const sampledEnvelope window(std::move(part), rate);
    const timeGrid shifted{(from - static_cast<double>(first)) / rate, grid.step_s, grid.count};
    const double slack = half * 1e-3; // a clock error is no reason to filter
    if (heard.low_Hz <= -half + slack && heard.high_Hz >= half - slack)
      window.read(shifted, out);
    else
      window.readLimited(shifted, heard, out);
    return envelopeShape::varying;
  }
  heardBand occupied() const override { return {-rate / 2, rate / 2}; }
  bool fitsItself() const override { return true; }
  std::string describe() const override {
    return fmt::format("transmission {:.0f} Hz {:.1f} dBFS", frequency_Hz(), level_dBFS());
  }

 private:
  struct block {
    int64_t at = 0; // of the first sample
    std::array<std::complex<float>, p1TxSamplesPerFrame> samples{};
    int64_t end() const { return at + static_cast<int64_t>(samples.size()); }
  };
  int64_t indexOf(double time_s) const { return std::llround((time_s - begin_s) * rate); }
  // Samples first to last, 0 where there are none; empty when there are none at all.
  std::vector<std::complex<float>> cut(int64_t first, int64_t last) const {
    const std::lock_guard lock(guard);
    auto b = std::partition_point(blocks.begin(), blocks.end(), [=](const block& each) { return each.end() <= first; });
    if (b == blocks.end() || b->at >= last) return {};
    std::vector<std::complex<float>> part(static_cast<size_t>(last - first));
    for (; b != blocks.end() && b->at < last; ++b)
      for (int64_t n = std::max(b->at, first); n < std::min(b->end(), last); ++n)
        part[static_cast<size_t>(n - first)] = b->samples[static_cast<size_t>(n - b->at)];
    return part;
  }

  mutable std::mutex guard; // one radio fills it, any receiver reads
  const double rate;
  const bool mirrored;
  const double begin_s; // of sample 0
  std::deque<block> blocks;
};

transmitEcho::transmitEcho(std::shared_ptr<bandScene> playedIn, double delay, double level)
    : scene(std::move(playedIn)), delay_s(std::max(delay, shortestDelay_s)), level_dBFS(level) {}

transmitEcho::~transmitEcho() {
  for (const auto& p : waiting) scene->remove(p);
}

void transmitEcho::restart() {
  finish();
  counting = false;
}

void transmitEcho::finish() { open.reset(); }

// False: there is no room for what comes now.
bool transmitEcho::settle(const transmitMoment& when, bool on) {
  forget(when.now_s);
  const double ahead = next_s - when.now_s;
  const bool worn = !on && ahead < delay_s / 2; // a break in the transmission is the time to catch up
  if (!counting || worn || ahead < late_s) {
    finish();
    next_s = when.now_s + delay_s;
    counting = true;
  }
  return ahead <= delay_s + longestAhead_s;
}

void transmitEcho::forget(double now_s) {
  std::erase_if(waiting, [&](const auto& p) {
    if (p->forget(now_s) || p == open) return false;
    scene->remove(p);
    return true;
  });
}

// Turns to the piece for what comes now. False: there is none to be had.
bool transmitEcho::tune(const transmitMoment& when) {
  if (open && open->takes(when, next_s)) return true;
  angle = open ? angle + std::fmod(2 * M_PI * (open->frequency_Hz() - when.frequency_Hz) * next_s, 2 * M_PI) : 0;
  const auto known = std::find_if(waiting.begin(), waiting.end(), [&](const auto& p) { return p->takes(when, next_s); });
  if (known != waiting.end()) {
    open = *known;
  } else if (waiting.size() < mostFrequencies) {
    open = std::make_shared<piece>(when, next_s, level_dBFS);
    waiting.push_back(open);
    scene->add(open);
  } else {
    open.reset();
  }
  return open != nullptr;
}

void transmitEcho::add(const transmitFrame& frame, const transmitMoment& when) {
  if (!settle(when, frame.on)) return;
  if (!frame.on)
    finish();
  else if (tune(when))
    open->append(frame, next_s, angle);
  next_s += static_cast<double>(frame.samples.size()) / when.rate_Hz;
}

void transmitEcho::skip(size_t samples, const transmitMoment& when) {
  if (!settle(when, open != nullptr)) return;
  finish();
  next_s += static_cast<double>(samples) / when.rate_Hz;
}

} // namespace larch::sim
