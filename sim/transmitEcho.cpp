#include "sim/transmitEcho.h"
#include <algorithm>
#include <cmath>
#include <mutex>
#include <fmt/format.h>
#include "sim/sampledEnvelope.h"

namespace larch::sim {

namespace {
constexpr double late_s = 0.001;   // nearer to its time than that a sample may already be missed
constexpr double memory_s = 0.5;   // what was played stays readable for so long
constexpr double forgetStep_s = 1; // old samples go in portions
constexpr double widest = 64;      // a receiver that hears less than this part of the rate doesn't hear it
constexpr double kernelReach = 10; // samples either side that the interpolation reads, with two to spare
} // namespace

// One stretch of samples without a break in time or frequency.
class transmitEcho::piece : public signalSource {
 public:
  piece(const transmitMoment& when, double start_s, double level_dBFS, double phase_rad)
      : signalSource(when.frequency_Hz, level_dBFS), rate(when.rate_Hz), mirrored(when.mirrored), begin_s(start_s),
        phase(std::polar(1.0, phase_rad)), angle(phase_rad) {}

  void append(const transmitFrame& frame) {
    const std::lock_guard lock(guard);
    for (const auto& s : frame.samples) samples.push_back(mirrored ? std::conj(s) : s);
  }
  void forget(double now_s) {
    const std::lock_guard lock(guard);
    const double old = (now_s - memory_s - begin_s) * rate;
    if (old < forgetStep_s * rate) return;
    const size_t count = std::min(static_cast<size_t>(old), samples.size());
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
    begin_s += static_cast<double>(count) / rate;
  }
  double end_s() const {
    const std::lock_guard lock(guard);
    return begin_s + static_cast<double>(samples.size()) / rate;
  }
  // carrier phase at a time, to go on with on another frequency
  double phaseAt(double time_s, double otherFrequency_Hz) const {
    return angle + std::fmod(2 * M_PI * (frequency_Hz() - otherFrequency_Hz) * time_s, 2 * M_PI);
  }

  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override {
    const double half = rate / 2, width = std::min(heard.high_Hz, half) - std::max(heard.low_Hz, -half);
    if (width < rate / widest) return envelopeShape::silent;
    // silent samples on both sides of what is read, for the interpolation
    const auto wide = static_cast<std::ptrdiff_t>(std::ceil(kernelReach * rate / width));
    const std::lock_guard lock(guard);
    const auto size = static_cast<std::ptrdiff_t>(samples.size());
    const double from = (grid.start_s - begin_s) * rate, to = from + grid.step_s * rate * static_cast<double>(grid.count);
    if (to <= -static_cast<double>(wide) || from >= static_cast<double>(size + wide)) return envelopeShape::silent;
    const auto first = static_cast<std::ptrdiff_t>(std::floor(from)) - wide,
               last = static_cast<std::ptrdiff_t>(std::ceil(to)) + wide;
    std::vector<std::complex<float>> part(static_cast<size_t>(last - first));
    for (std::ptrdiff_t n = std::max<std::ptrdiff_t>(first, 0); n < std::min(last, size); ++n)
      part[static_cast<size_t>(n - first)] = samples[static_cast<size_t>(n)];
    const sampledEnvelope window(std::move(part), rate);
    const timeGrid shifted{(from - static_cast<double>(first)) / rate, grid.step_s, grid.count};
    const double slack = half * 1e-3; // a clock error is no reason to filter
    if (heard.low_Hz <= -half + slack && heard.high_Hz >= half - slack)
      window.read(shifted, out);
    else
      window.readLimited(shifted, heard, out);
    for (size_t n = 0; n < grid.count; ++n) out[n] *= phase;
    return envelopeShape::varying;
  }
  heardBand occupied() const override { return {-rate / 2, rate / 2}; }
  bool fitsItself() const override { return true; }
  std::string describe() const override {
    return fmt::format("transmission {:.0f} Hz {:.1f} dBFS", frequency_Hz(), level_dBFS());
  }

 private:
  mutable std::mutex guard; // one radio fills it, any receiver reads
  const double rate;
  const bool mirrored;
  double begin_s; // of samples[0]
  const std::complex<double> phase;
  const double angle;
  std::vector<std::complex<float>> samples;
};

transmitEcho::transmitEcho(std::shared_ptr<bandScene> playedIn, double delay, double level)
    : scene(std::move(playedIn)), delay_s(std::max(delay, shortestDelay_s)), level_dBFS(level) {}

transmitEcho::~transmitEcho() {
  for (const auto& p : played) scene->remove(p);
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
  for (const auto& p : played) {
    p->forget(now_s);
    if (p != open && p->end_s() < now_s - memory_s) scene->remove(p);
  }
  std::erase_if(played, [&](const auto& p) { return p != open && p->end_s() < now_s - memory_s; });
}

void transmitEcho::add(const transmitFrame& frame, const transmitMoment& when) {
  if (!settle(when, frame.on)) return;
  if (!frame.on) {
    finish();
  } else {
    const bool same =
        open && placed.frequency_Hz == when.frequency_Hz && placed.rate_Hz == when.rate_Hz && placed.mirrored == when.mirrored;
    if (!same) {
      const double phase = open ? open->phaseAt(next_s, when.frequency_Hz) : 0;
      open = std::make_shared<piece>(when, next_s, level_dBFS, phase);
      placed = when;
      played.push_back(open);
      scene->add(open);
    }
    open->append(frame);
  }
  next_s += static_cast<double>(frame.samples.size()) / when.rate_Hz;
}

void transmitEcho::skip(size_t samples, const transmitMoment& when) {
  if (!settle(when, open != nullptr)) return;
  finish();
  next_s += static_cast<double>(samples) / when.rate_Hz;
}

} // namespace larch::sim
