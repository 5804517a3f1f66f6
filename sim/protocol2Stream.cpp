#include "sim/protocol2Stream.h"
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>
#include "sim/wireWords.h"

namespace larch::sim {

namespace {
constexpr int rates_Hz[] = {48000, 96000, 192000, 384000, 768000, 1536000};
constexpr int paceRate_Hz = 48000;
constexpr double step_s = 0.001;
constexpr std::array<uint8_t, p2MicrophoneBytes> silence{};

std::array<uint8_t, 4> number(uint32_t sequence) {
  std::array<uint8_t, 4> b;
  put32(b.data(), sequence);
  return b;
}
} // namespace

uint64_t p2StreamCounts::iq() const {
  return std::accumulate(made.begin() + static_cast<ptrdiff_t>(p2Source::firstReceiver), made.end(), uint64_t{0});
}

protocol2Stream::protocol2Stream(const protocol2Options& options, std::shared_ptr<const bandScene> played)
    : built(options), clock_Hz(options.clock_Hz > 0 ? options.clock_Hz : options.board->clock_Hz), scene(std::move(played)),
      pace(options.clockError_ppm), widebandRandom(options.seed) {
  pace.setRate(paceRate_Hz);
  for (const int rate : rates_Hz) groups.emplace_back(rate, built, scene);
}

void protocol2Stream::setScene(std::shared_ptr<const bandScene> next) {
  scene = std::move(next);
  for (p2RateGroup& g : groups) g.setScene(scene);
  widebandOf.reset();
}

void protocol2Stream::setClockError(double error_ppm) {
  pace.setError(error_ppm);
  for (p2RateGroup& g : groups) g.clock.setError(error_ppm);
}

void protocol2Stream::start() {
  sequence.fill(0);
  settings = {}; // every receiver begins anew
  for (p2RateGroup& g : groups) g.used = false;
  nextStatus_s = nextWideband_s = pace.radioTime_s();
}

void protocol2Stream::configure(const p2HostSettings& now) {
  for (size_t r = 0; r < now.rx.size(); ++r)
    if (now.rx[r].on && !settings.rx[r].on) sequence[static_cast<size_t>(p2SourceOf(r))] = 0;
  if (now.widebandOn && !settings.widebandOn) nextWideband_s = pace.radioTime_s();
  settings = now;
  for (p2RateGroup& g : groups) {
    const bool used = std::any_of(now.rx.begin(), now.rx.end(), [&](const auto& r) { return r.on && r.rate_Hz == g.rate_Hz; });
    if (used && !g.used) g.clock.skipTo(pace.trueTime_s());
    g.used = used;
  }
}

void protocol2Stream::skipTo(double time_s) {
  pace.skipTo(time_s);
  for (p2RateGroup& g : groups) g.clock.skipTo(time_s);
}

uint32_t protocol2Stream::next(p2Source s) {
  ++counted.made[static_cast<size_t>(s)];
  return sequence[static_cast<size_t>(s)]++;
}

p2Front protocol2Stream::front() const {
  p2Front f;
  f.clock_Hz = clock_Hz;
  f.speed = pace.speedFactor();
  for (size_t a = 0; a < adc.size(); ++a) {
    f.gain_dB[a] = adc[a].level_dB - (built.gainMatters ? settings.attenuation_dB[a] : 0);
    f.phase_deg[a] = adc[a].phase_deg;
  }
  return f;
}

void protocol2Stream::make(double until_s, protocol2Ports& ports, const endpointAddress& peer) {
  for (double t = pace.trueTime_s(); t < until_s;) {
    t = std::min(until_s, t + step_s);
    makeMicrophone(pace.groupsDue(t, p2MicrophoneSamples), ports);
    for (p2RateGroup& g : groups)
      if (g.used) makeReceivers(g, g.clock.groupsDue(t, p2IqSamples), ports);
    makeWideband(ports);
    makeStatus(ports);
    ports.flush(peer);
  }
}

void protocol2Stream::makeMicrophone(size_t packets, protocol2Ports& ports) {
  const std::span<const uint8_t> nothing{silence.data(), p2MicrophoneBytes - 4};
  for (size_t n = 0; n < packets; ++n) {
    const uint32_t s = next(p2Source::microphone);
    ports.add(p2Source::microphone, s, number(s), nothing);
  }
  pace.take(packets * p2MicrophoneSamples);
}

void protocol2Stream::makeReceivers(p2RateGroup& group, size_t packets, protocol2Ports& ports) {
  if (packets == 0) return;
  packets = std::min(packets, p2RateGroup::mostPackets); // what is more comes with the next step
  group.make(settings, front(), packets);
  for (size_t r = 0; r < settings.rx.size(); ++r) {
    if (!settings.rx[r].on || settings.rx[r].rate_Hz != group.rate_Hz) continue;
    for (size_t n = 0; n < packets; ++n) {
      const uint32_t s = next(p2SourceOf(r));
      ports.add(p2SourceOf(r), s, p2IqHeader(s), group.payload(r, n));
    }
  }
  counted.clipped += std::exchange(group.clipped, 0);
  overload |= static_cast<uint8_t>(std::exchange(group.overloaded, 0));
}

void protocol2Stream::makeWideband(protocol2Ports& ports) {
  if (!settings.widebandOn || pace.radioTime_s() < nextWideband_s) return;
  const auto packets = static_cast<size_t>(settings.widebandPackets);
  renderWideband(packets * p2WidebandSamples);
  for (size_t n = 0; n < packets; ++n) { // a frame counts from 0
    next(p2Source::wideband);
    const auto s = static_cast<uint32_t>(n);
    ports.add(p2Source::wideband, s, number(s), {widebandBytes.data() + 2 * n * p2WidebandSamples, 2 * p2WidebandSamples});
  }
  nextWideband_s = std::max(nextWideband_s + settings.widebandInterval_ms * 1e-3, pace.radioTime_s() - step_s);
}

void protocol2Stream::renderWideband(size_t count) {
  const double level = std::pow(10, front().gain_dB[0] / 20);
  const auto current = scene->current();
  if (built.loop_s > 0 && widebandOf == current && level == widebandLevel && widebandBytes.size() == 2 * count) return;
  widebandOf = current;
  widebandLevel = level;
  converterSamples.resize(count);
  words.resize(count);
  widebandBytes.resize(2 * count);
  scene->renderConverter(pace.trueTime_s(), clock_Hz * pace.speedFactor(), level, converterSamples.data(), count, widebandRandom);
  for (size_t n = 0; n < count; ++n) {
    const double v = std::nearbyint(converterSamples[n] * built.widebandFullScale);
    const double limited = std::clamp<double>(v, -built.widebandFullScale, built.widebandFullScale - 1);
    if (limited != v) ++counted.clipped, overload |= 1;
    words[n] = static_cast<int16_t>(limited);
  }
  p2PackWords(widebandBytes.data(), words);
}

void protocol2Stream::makeStatus(protocol2Ports& ports) {
  p2Status now = status;
  now.overload |= overload;
  const bool begins = (now.overload & ~toldOverload) != 0;
  if (!begins && pace.radioTime_s() < nextStatus_s) return;
  const uint32_t s = next(p2Source::status);
  ports.add(p2Source::status, s, p2WriteStatus(s, now));
  toldOverload = now.overload;
  overload = 0;
  nextStatus_s = pace.radioTime_s() + statusInterval_s;
}

} // namespace larch::sim
