#include "sim/protocol2Host.h"
#include <algorithm>
#include <fmt/format.h>
#include "sim/protocol2Fields.h"
#include "sim/wireWords.h"

namespace larch::sim {

namespace {
constexpr int rates_kHz[] = {48, 96, 192, 384, 768, 1536};
constexpr size_t sequenceBytes = 4;
constexpr size_t widebandAt = 23, intervalAt = 27, framePacketsAt = 28, formAt = 37, watchdogAt = 38;
constexpr size_t enableAt = 7, receiverAt = 17, receiverStep = 6;
constexpr size_t stateAt = 4, frequencyAt = 9, attenuatorAt = 1443;
constexpr uint8_t phaseWordBit = 0x08, attenuatorMask = 0x1F;

bool isRate(int kHz) { return std::find(std::begin(rates_kHz), std::end(rates_kHz), kHz) != std::end(rates_kHz); }
bool enabled(std::span<const uint8_t> packet, size_t receiver) {
  return (packet[enableAt + receiver / 8] >> receiver % 8 & 1) != 0;
}
} // namespace

int p2HostSettings::receiversOn() const {
  return static_cast<int>(std::count_if(rx.begin(), rx.end(), [](const receiver& r) { return r.on; }));
}

protocol2Host::protocol2Host(int receiversOwned, double clock) : owned(receiversOwned), clock_Hz(clock) {
  for (size_t k = 0; k < p2Packets; ++k) kinds[k].last.resize(p2CommandBytes[k]);
}

void protocol2Host::take(p2Packet kind, std::span<const uint8_t> packet, problemLog& problems, const listener& tell) {
  packetState& state = kinds[static_cast<size_t>(kind)];
  checkSequence(kind, get32(packet.data()), problems);
  const bool first = state.count++ == 0;
  if (!first && std::equal(packet.begin() + sequenceBytes, packet.end(), state.last.begin() + sequenceBytes)) return;
  compare(kind, packet, problems, tell);
  std::copy(packet.begin(), packet.end(), state.last.begin());
  decode();
  if (kind == p2Packet::downConverter) checkReceivers(problems);
}

// Hosts may count their packets or leave the number at 0.
void protocol2Host::checkSequence(p2Packet kind, uint32_t sequence, problemLog& problems) {
  packetState& state = kinds[static_cast<size_t>(kind)];
  const uint32_t due = state.sequence + 1;
  if (state.count > 0 && sequence != 0 && sequence != due)
    problems.add(problem::sequenceBreak, fmt::format("{} {} where {} was due", p2PacketName(kind), sequence, due));
  state.sequence = sequence;
}

void protocol2Host::compare(p2Packet kind, std::span<const uint8_t> packet, problemLog& problems, const listener& tell) {
  const packetState& before = kinds[static_cast<size_t>(kind)];
  const bool first = before.count == 1;
  size_t at = sequenceBytes;
  const auto checkGap = [&](size_t end) {
    for (; at < end; ++at)
      if (packet[at] != 0 && packet[at] != before.last[at])
        problems.add(problem::unknownField, fmt::format("{} byte {}: {:#04x}", p2PacketName(kind), at, packet[at]));
  };
  for (const p2Field& f : p2FieldsOf(kind)) {
    checkGap(f.at);
    at = f.at + f.bytes;
    const uint32_t value = f.value(packet), was = f.value(before.last);
    if (value == was && !first) continue;
    if (!f.allows(value))
      problems.add(problem::badField,
                   fmt::format("{} {}; possible: {}", p2PacketName(kind), p2Describe(f, value, clock_Hz), p2Allowed(f)));
    if (tell && value != was) tell(kind, p2Describe(f, value, clock_Hz));
  }
  checkGap(packet.size());
}

void protocol2Host::checkReceivers(problemLog& problems) const {
  const std::span<const uint8_t> d = bytes(p2Packet::downConverter);
  constexpr size_t enableBits = 80;
  for (size_t i = 0; i < enableBits; ++i) {
    if (!enabled(d, i)) continue;
    if (i >= static_cast<size_t>(owned)) {
      problems.add(problem::tooManyReceivers, fmt::format("receiver {} of {}", i, owned));
      continue;
    }
    const int kHz = get16(&d[receiverAt + receiverStep * i + 1]);
    if (!isRate(kHz)) problems.add(problem::unknownRate, fmt::format("receiver {}: {} kHz", i, kHz));
  }
}

void protocol2Host::decode() {
  const std::span<const uint8_t> g = bytes(p2Packet::general), d = bytes(p2Packet::downConverter),
                                 h = bytes(p2Packet::highPriority);
  decoded = {};
  decoded.widebandOn = (g[widebandAt] & 1) != 0;
  if (g[intervalAt] != 0) decoded.widebandInterval_ms = g[intervalAt];
  if (g[framePacketsAt] != 0) decoded.widebandPackets = g[framePacketsAt];
  decoded.watchdog = (g[watchdogAt] & 1) != 0;
  decoded.run = (h[stateAt] & 1) != 0;
  for (size_t a = 0; a < decoded.attenuation_dB.size(); ++a) decoded.attenuation_dB[a] = h[attenuatorAt - a] & attenuatorMask;
  const bool words = (g[formAt] & phaseWordBit) != 0; // hertz otherwise
  for (size_t i = 0; i < std::min<size_t>(decoded.rx.size(), static_cast<size_t>(owned)); ++i) {
    const uint8_t* r = &d[receiverAt + receiverStep * i];
    const int kHz = get16(r + 1);
    const uint32_t word = get32(&h[frequencyAt + 4 * i]);
    const int adc = std::min<int>(r[0], static_cast<int>(decoded.attenuation_dB.size()) - 1);
    decoded.rx[i] = {enabled(d, i) && isRate(kHz), kHz * 1000, adc, words ? p2Frequency_Hz(word, clock_Hz) : word};
  }
}

} // namespace larch::sim
