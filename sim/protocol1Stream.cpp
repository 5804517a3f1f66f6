#include "sim/protocol1Stream.h"
#include <algorithm>
#include <cmath>

namespace larch::sim {

namespace {
constexpr uint8_t countUnsaid = 0x7F;
constexpr size_t widebandQuarters = 4;
} // namespace

protocol1Stream::protocol1Stream(const radioOptions& options, std::shared_ptr<const bandScene> played)
    : clock(options.clockError_ppm), built(options), clock_Hz(options.clock_Hz > 0 ? options.clock_Hz : options.board->clock_Hz),
      owned(std::clamp(options.receivers > 0 ? options.receivers : options.board->receivers, 1, maxReceivers)),
      widebandFullScale(options.widebandFullScale > 0 ? options.widebandFullScale : options.board->widebandFullScale),
      gain(options.gainMatters ? options.powerOnGain_dB : 0), samplesOf(maxReceivers),
      converterSamples(widebandQuarters * p1WidebandSamples), widebandRandom(options.seed) {
  status.firmware = options.board->firmware;
  setScene(std::move(played));
}

void protocol1Stream::setScene(std::shared_ptr<const bandScene> next) {
  scene = std::move(next);
  converters.clear();
  for (uint64_t r = 0; r < maxReceivers; ++r) converters.emplace_back(scene, built.seed * maxReceivers + r + 1);
}

void protocol1Stream::start(bool iq, bool wideband) {
  iqOn = iq;
  widebandOn = wideband && built.widebandBlocks_perSecond > 0;
  iqSequence = widebandSequence = 0;
  statusGroup = 0;
  receivers = std::min(asked, owned); // nothing is on its way that could lag
  lag = 0;
  faults.dropHeld();
  nextWideband_s = clock.radioTime_s();
}

void protocol1Stream::configure(const hostSettings& now, bool gainKnown) {
  if (now.receivers != asked) {
    asked = now.receivers;
    lag = built.receiverCountLag;
  }
  settings = now;
  if (built.gainMatters) gain = gainKnown ? receiveGain_dB(now, built.board->gain, built.lowestGain_dB) : built.powerOnGain_dB;
  clock.setRate(now.sampleRate_Hz);
  if (lag == 0) receivers = std::min(asked, owned);
}

void protocol1Stream::renderAll(size_t samples) {
  const double speed = clock.speedFactor();
  for (size_t r = 0; r < static_cast<size_t>(receivers); ++r) {
    const adcInput& input = adc[static_cast<size_t>(settings.adc[r])];
    const std::complex<double> factor = std::polar(std::pow(10, (gain + input.level_dB) / 20), input.phase_deg * M_PI / 180);
    if (samplesOf[r].size() < samples) samplesOf[r].resize(samples);
    converters[r].tune({settings.rxFrequency_Hz[r] * speed, clock.trueRate_Hz(), clock_Hz * speed});
    converters[r].setUtc(utcAtZero_s);
    converters[r].render(clock.trueTime_s(), factor, samplesOf[r].data(), samples);
    if (built.iqFullScale != 1) shrink(samplesOf[r].data(), samples);
  }
}

// The converter clips first; then its reading fills only a share of the word.
void protocol1Stream::shrink(std::complex<double>* z, size_t samples) {
  for (size_t i = 0; i < samples; ++i) {
    const std::complex<double> full(std::clamp(z[i].real(), -1.0, 1.0), std::clamp(z[i].imag(), -1.0, 1.0));
    if (full != z[i]) {
      ++made.clipped;
      overloadSeen = true;
    }
    z[i] = full * built.iqFullScale;
  }
}

void protocol1Stream::makeIq(size_t first, size_t samples, std::vector<outgoingDatagram>& out) {
  outgoingDatagram d;
  d.length = p1DatagramBytes;
  p1WriteHeader(d.bytes.data(), p1EndpointIq, iqSequence);
  const bool say = built.sayReceiverCount || receivers != asked;
  const auto countByte = say ? static_cast<uint8_t>(receivers - 1) : countUnsaid;
  std::array<const std::complex<double>*, maxReceivers> from{};
  for (size_t f = 0; f < 2; ++f) {
    for (size_t r = 0; r < static_cast<size_t>(receivers); ++r) from[r] = samplesOf[r].data() + first + f * samples;
    boardStatus lines = status;
    lines.adcOverload |= overloadSeen;
    const std::array<uint8_t, 5> c = p1Status(lines, statusGroup);
    if (statusGroup == 0) overloadSeen = false;
    statusGroup = (statusGroup + 1) % p1StatusGroups;
    const size_t clipped = p1PackFrame(d.bytes.data() + p1HeaderBytes + f * p1FrameBytes, countByte, c, from.data(), receivers);
    made.clipped += clipped;
    overloadSeen |= clipped > 0;
  }
  faults.pass(d, true, iqSequence, out);
  ++iqSequence;
  ++made.iq;
}

void protocol1Stream::makeWideband(double start_s, std::vector<outgoingDatagram>& out) {
  const double level = std::pow(10, (gain + adc[0].level_dB) / 20);
  scene->renderConverter(start_s, clock_Hz * clock.speedFactor(), level, converterSamples.data(), converterSamples.size(),
                         widebandRandom, utcAtZero_s);
  std::array<int16_t, p1WidebandSamples> counts;
  for (size_t quarter = 0; quarter < widebandQuarters; ++quarter) {
    for (size_t n = 0; n < p1WidebandSamples; ++n) {
      const double v = std::nearbyint(converterSamples[quarter * p1WidebandSamples + n] * widebandFullScale);
      const double limited = std::clamp<double>(v, -widebandFullScale, widebandFullScale - 1);
      overloadSeen |= limited != v;
      counts[n] = static_cast<int16_t>(limited);
    }
    outgoingDatagram d;
    d.length = p1DatagramBytes;
    p1PackWideband(d.bytes.data(), widebandSequence, counts.data());
    faults.pass(d, false, widebandSequence, out);
    ++widebandSequence;
    ++made.wideband;
  }
}

void protocol1Stream::make(size_t count, std::vector<outgoingDatagram>& out) {
  count = std::min(count, maxBatch);
  while (count > 0) {
    const size_t part = lag > 0 ? std::min(count, lag) : count;
    const size_t samples = p1SamplesPerFrame(receivers), group = 2 * samples;
    if (iqOn) renderAll(group * part);
    for (size_t i = 0; i < part; ++i) {
      if (iqOn) makeIq(i * group, samples, out);
      clock.take(group);
      if (widebandOn && clock.radioTime_s() >= nextWideband_s) {
        makeWideband(clock.trueTime_s(), out);
        nextWideband_s += 1 / built.widebandBlocks_perSecond;
      }
    }
    count -= part;
    if (lag > 0 && (lag -= part) == 0) receivers = std::min(asked, owned);
  }
}

} // namespace larch::sim
