#include "sim/protocol2Fields.h"
#include <fmt/format.h>

namespace larch::sim {

namespace {
constexpr uint32_t any8 = 0xFF, any16 = 0xFFFF, any32 = 0xFFFFFFFF;
constexpr int namedReceivers = 80; // that the packets have room for in the protocol

p2Field number(size_t at, size_t bytes, std::string name, uint32_t least, uint32_t most, const char* unit = "") {
  return {at, bytes, std::move(name), least, most, p2Form::number, unit};
}
p2Field orNothing(p2Field f) {
  f.zeroToo = true;
  return f;
}
p2Field port(size_t at, std::string name, uint32_t only) { return orNothing(number(at, 2, std::move(name), only, only)); }
p2Field bits(size_t at, std::string name, uint32_t mask, std::vector<const char*> names = {}, size_t bytes = 1) {
  return {at, bytes, std::move(name), 0, mask, p2Form::bits, "", std::move(names)};
}
p2Field phase(size_t at, std::string name) { return {at, 4, std::move(name), 0, any32, p2Form::phaseWord}; }

std::vector<p2Field> generalFields() {
  return {number(4, 1, "command", 0, 0),
          port(5, "down-converter command port", 1025),
          port(7, "up-converter command port", 1026),
          port(9, "high-priority command port", 1027),
          port(11, "high-priority status port", p2StatusPort),
          port(13, "down-converter audio port", 1028),
          port(15, "up-converter sample port", 1029),
          port(17, "first down-converter port", p2FirstReceiverPort),
          port(19, "microphone port", p2MicrophonePort),
          port(21, "wideband port", p2WidebandPort),
          bits(23, "wideband of converters", 1, {"0", "1", "2", "3", "4", "5", "6", "7"}),
          orNothing(number(24, 2, "wideband samples a packet", p2WidebandSamples, p2WidebandSamples)),
          orNothing(number(26, 1, "bits a wideband sample", 16, 16)),
          orNothing(number(27, 1, "wideband interval", 1, any8, " ms")),
          orNothing(number(28, 1, "wideband packets a frame", 1, 64)),
          number(29, 2, "memory port from the host", 0, any16),
          number(31, 2, "memory port to the host", 0, any16),
          number(33, 2, "envelope PWM greatest", 0, 1023),
          number(35, 2, "envelope PWM least", 0, 1023),
          bits(37, "form", 0x08, {"time stamps", "VITA-49", "network analyser", "phase words"}),
          bits(38, "watchdog", 0x01, {"on"}),
          bits(39, "byte order", 0x00),
          bits(56, "backplane", any8),
          bits(57, "reference", any8),
          bits(58, "amplifier", any8, {"on"}),
          bits(59, "filter boards", 0x03, {"0", "1"})};
}

std::vector<p2Field> downConverterFields() {
  std::vector<p2Field> f{number(4, 1, "converters", 1, 8), bits(5, "dither of converters", any8),
                         bits(6, "random of converters", any8)};
  for (size_t i = 0; i < namedReceivers / 8; ++i)
    f.push_back(bits(7 + i, fmt::format("receivers on, {} to {}", 8 * i, 8 * i + 7), any8));
  for (size_t i = 0; i < namedReceivers; ++i) {
    const size_t at = 17 + 6 * i;
    const std::string who = fmt::format("receiver {} ", i);
    f.push_back(number(at, 1, who + "converter", 0, 7));
    f.push_back(number(at + 1, 2, who + "rate", 0, any16, " kHz"));
    f.push_back(number(at + 3, 1, who + "first decimation", 0, any8));
    f.push_back(number(at + 4, 1, who + "second decimation", 0, any8));
    f.push_back(orNothing(number(at + 5, 1, who + "bits a sample", 24, 24)));
  }
  for (size_t i = 0; i < namedReceivers; ++i) f.push_back(bits(1363 + i, fmt::format("receivers in step with {}", i), 0));
  f.push_back(bits(1443, "receivers in one stream", 0));
  return f;
}

std::vector<p2Field> upConverterFields() {
  return {number(4, 1, "converters", 1, 4),
          bits(5, "keyer", any8,
               {"envelope restoration", "CW", "reversed", "iambic", "sidetone", "mode B", "strict spacing", "break-in"}),
          number(6, 1, "sidetone level", 0, any8),
          number(7, 2, "sidetone", 0, any16, " Hz"),
          number(9, 1, "keyer speed", 0, 60, " wpm"),
          number(10, 1, "keyer weight", 0, 100),
          number(11, 2, "keyer hang", 0, 1023, " ms"),
          number(13, 1, "keyer delay", 0, any8, " ms"),
          orNothing(number(14, 2, "rate", 192, 192, " kHz")),
          orNothing(number(16, 1, "bits a sample", 24, 24)),
          number(17, 1, "keyer ramp", 0, any8, " ms"),
          number(26, 2, "phase shift", 0, any16),
          bits(50, "microphone", 0x3F, {"line in", "20 dB more", "PTT off", "PTT on tip", "bias", "balanced"}),
          number(51, 1, "line-in gain", 0, 31),
          number(57, 1, "attenuator of converter 2 on the air", 0, 31, " dB"),
          number(58, 1, "attenuator of converter 1 on the air", 0, 31, " dB"),
          number(59, 1, "attenuator of converter 0 on the air", 0, 31, " dB")};
}

std::vector<p2Field> highPriorityFields() {
  std::vector<p2Field> f{bits(4, "state", 0x01, {"run", "PTT 0", "PTT 1", "PTT 2", "PTT 3"}),
                         bits(5, "key", 0x00, {"CWX", "dot", "dash"})};
  for (size_t i = 0; i < namedReceivers; ++i) f.push_back(phase(9 + 4 * i, fmt::format("receiver {}", i)));
  f.push_back(phase(329, "transmitter"));
  f.push_back(number(345, 1, "drive", 0, any8));
  f.push_back(bits(1400, "transverter", any8));
  f.push_back(bits(1401, "open collectors", any8));
  f.push_back(bits(1402, "user outputs", any8));
  f.push_back(bits(1403, "preselector", any8));
  f.push_back(bits(1428, "filter board 1", any32, {}, 4));
  f.push_back(bits(1432, "filter board 0", any32, {}, 4));
  f.push_back(number(1441, 1, "attenuator of converter 2", 0, 31, " dB"));
  f.push_back(number(1442, 1, "attenuator of converter 1", 0, 31, " dB"));
  f.push_back(number(1443, 1, "attenuator of converter 0", 0, 31, " dB"));
  return f;
}

std::string bitNames(const p2Field& field, uint32_t value) {
  std::string text;
  for (size_t i = 0; i < field.bits.size(); ++i)
    if ((value >> i & 1) != 0) text += fmt::format("{}{}", text.empty() ? "" : ", ", field.bits[i]);
  const uint32_t nameless = value >> field.bits.size() << field.bits.size();
  if (nameless != 0) text += fmt::format("{}{:#04x}", text.empty() ? "" : ", ", nameless);
  return text.empty() ? "none" : text;
}
} // namespace

uint32_t p2Field::value(std::span<const uint8_t> packet) const {
  uint32_t v = 0;
  for (size_t i = 0; i < bytes; ++i) v = v << 8 | packet[at + i];
  return v;
}

bool p2Field::allows(uint32_t v) const {
  if (form == p2Form::bits) return (v & ~most) == 0;
  return (zeroToo && v == 0) || (v >= least && v <= most);
}

const std::vector<p2Field>& p2FieldsOf(p2Packet kind) {
  static const std::array<std::vector<p2Field>, p2Packets> all{generalFields(), downConverterFields(), upConverterFields(),
                                                               highPriorityFields()};
  return all[static_cast<size_t>(kind)];
}

std::string p2Describe(const p2Field& field, uint32_t value, double clock_Hz) {
  switch (field.form) {
  case p2Form::bits: return fmt::format("{}: {}", field.name, bitNames(field, value));
  case p2Form::phaseWord: return fmt::format("{}: {:.1f} Hz (word {})", field.name, p2Frequency_Hz(value, clock_Hz), value);
  case p2Form::number: break;
  }
  return fmt::format("{}: {}{}", field.name, value, field.unit);
}

std::string p2Allowed(const p2Field& field) {
  if (field.form == p2Form::bits) return fmt::format("bits {:#04x}", field.most);
  const char* more = field.zeroToo ? " or 0" : "";
  if (field.least == field.most) return fmt::format("{}{}", field.least, more);
  return fmt::format("{} to {}{}", field.least, field.most, more);
}

double p2Frequency_Hz(uint32_t phaseWord, double clock_Hz) { return phaseWord * clock_Hz / 0x1p32; }

} // namespace larch::sim
