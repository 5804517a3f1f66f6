#include "sim/protocol2Receivers.h"
#include <algorithm>
#include <cmath>

namespace larch::sim {

namespace {
constexpr size_t longestFade = 512; // samples over which a loop's end passes into its beginning
constexpr size_t fadeShare = 8;     // of a short loop
} // namespace

p2RateGroup::p2RateGroup(int rate, const protocol2Options& options, std::shared_ptr<const bandScene> played)
    : rate_Hz(rate), clock(options.clockError_ppm), built(options), scene(std::move(played)),
      nextSeed(options.seed * 1000003 + static_cast<uint64_t>(rate)) {
  clock.setRate(rate);
}

void p2RateGroup::setScene(std::shared_ptr<const bandScene> next) {
  scene = std::move(next);
  strips.clear();
}

std::span<const uint8_t> p2RateGroup::payload(size_t receiver, size_t packet) const {
  const strip& s = *of[receiver];
  return {s.bytes.data() + (s.first + packet) % s.packets * p2IqPayloadBytes, p2IqPayloadBytes};
}

void p2RateGroup::make(const p2HostSettings& settings, const p2Front& front, size_t packets) {
  packets = std::min(packets, mostPackets);
  stripsInUse = 0;
  for (size_t r = 0; r < of.size(); ++r) {
    const p2HostSettings::receiver& rx = settings.rx[r];
    if (!rx.on || rx.rate_Hz != rate_Hz) continue;
    const auto adc = static_cast<size_t>(rx.adc);
    const tuning wanted{{rx.frequency_Hz * front.speed, clock.trueRate_Hz(), front.clock_Hz * front.speed},
                        rx.adc,
                        std::polar(std::pow(10, front.gain_dB[adc] / 20), front.phase_deg[adc] * M_PI / 180)};
    const size_t before = stripsInUse;
    strip& s = stripFor(wanted);
    of[r] = &s;
    if (stripsInUse == before) continue; // made already, for another receiver
    if (built.loop_s > 0)
      renderLoop(s);
    else
      render(s, packets);
  }
  clock.take(packets * p2IqSamples);
  made += packets;
}

// The one that played this tuning before, so that its noise and its loop go on, or any that nobody uses now.
p2RateGroup::strip& p2RateGroup::stripFor(const tuning& wanted) {
  const auto same = std::find_if(strips.begin(), strips.end(), [&](const auto& s) { return s->tuned == wanted; });
  const auto at = static_cast<size_t>(same - strips.begin());
  if (at < stripsInUse) return **same;
  if (same == strips.end()) {
    if (stripsInUse == strips.size()) {
      strips.push_back(std::make_unique<strip>());
      strips.back()->converter = std::make_unique<sceneReceiver>(scene, ++nextSeed);
    }
    strips[stripsInUse]->tuned = wanted;
    strips[stripsInUse]->converter->tune(wanted.receiver);
    strips[stripsInUse]->played.reset();
  } else {
    std::swap(strips[at], strips[stripsInUse]);
  }
  return *strips[stripsInUse++];
}

void p2RateGroup::render(strip& s, size_t packets) {
  const size_t count = packets * p2IqSamples;
  if (samples.size() < count) samples.resize(count);
  s.bytes.resize(mostPackets * p2IqPayloadBytes);
  s.first = 0;
  s.packets = packets;
  s.converter->render(clock.trueTime_s(), s.tuned.factor, samples.data(), count);
  const size_t beyond = p2PackSamples(s.bytes.data(), samples.data(), count);
  clipped += beyond;
  if (beyond > 0) overloaded |= 1u << s.tuned.adc;
}

// The end passes smoothly into the beginning: the first samples fade from what would have come behind the end.
void p2RateGroup::renderLoop(strip& s) {
  const auto current = scene->current();
  if (s.played != current) {
    s.played = current;
    s.packets = std::max<size_t>(1, static_cast<size_t>(built.loop_s * rate_Hz / static_cast<double>(p2IqSamples)));
    const size_t length = s.packets * p2IqSamples, fade = std::min(longestFade, length / fadeShare);
    std::vector<std::complex<double>> z(length + fade);
    s.converter->render(clock.trueTime_s(), s.tuned.factor, z.data(), z.size());
    for (size_t n = 0; n < fade; ++n) {
      const double in = static_cast<double>(n) / static_cast<double>(fade);
      z[n] = in * z[n] + (1 - in) * z[length + n];
    }
    s.bytes.resize(s.packets * p2IqPayloadBytes);
    s.clippedInLoop = p2PackSamples(s.bytes.data(), z.data(), length);
  }
  s.first = made % s.packets;
  if (s.clippedInLoop > 0) {
    clipped += s.clippedInLoop;
    overloaded |= 1u << s.tuned.adc;
  }
}

} // namespace larch::sim
