#include "link/multiPskMessages.h"
#include <cmath>
#include <cstring>
#include <string_view>

namespace larch {
namespace {

constexpr uint64_t lengthBytes = 4, tagBytes = 8;
constexpr uint64_t startFrequencyAt = 13, startBytes = 18, tuneFrequencyAt = 8, tuneBytes = 12;
constexpr uint64_t versionBytes = 13, capabilityRoom = 256, capabilityBytes = 56, tuneMessageBytes = 16;
constexpr uint64_t samplesAt = 16, sampleBytes = 4;
constexpr double peak = 32000.0;

uint32_t uint32At(const char* from) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; i--) value = value << 8 | static_cast<uint8_t>(from[i]);
  return value;
}

// Lays a message down piece by piece, from its length word on.
class messageWriter {
 public:
  messageWriter(const buff<char>& message, uint64_t bytes, std::string_view tag) : at_(message.data) {
    addUint32(static_cast<uint32_t>(bytes - lengthBytes));
    addText(tag);
  }
  void addByte(uint8_t value) { *at_++ = static_cast<char>(value); }
  void addUint32(uint32_t value) {
    for (int i = 0; i < 4; i++) addByte(static_cast<uint8_t>(value >> 8 * i));
  }
  void addText(std::string_view text) {
    std::memcpy(at_, text.data(), text.size());
    at_ += text.size();
  }
  void addString(std::string_view text) { // behind a byte with its length
    addByte(static_cast<uint8_t>(text.size()));
    addText(text);
  }

 private:
  char* at_;
};

double fallen(double gain, double imaginary) {
  const double size = std::fabs(imaginary);
  return size * gain > peak ? peak / size : gain;
}

// The low 16 bits of the value without its fraction.
uint16_t lowBits(double value) {
  constexpr double int32Range = 2147483648.0, uint16Range = 65536.0;
  if (std::fabs(value) < int32Range) return static_cast<uint16_t>(static_cast<int32_t>(value));
  return std::isfinite(value) ? static_cast<uint16_t>(static_cast<int32_t>(std::fmod(std::trunc(value), uint16Range))) : 0;
}

} // namespace

multiPskRequest multiPskRequestOf(const buff<char>& message) {
  using kind = multiPskRequest::kind;
  if (message.count < tagBytes) return {};
  const std::string_view tag(message.data, tagBytes);
  const auto frequencyAt = [&](uint64_t at) { return static_cast<int32_t>(uint32At(message.data + at)); };
  if (tag == "Pversion") return {kind::version};
  if (tag == "HWMPcapa") return {kind::capability};
  if (tag == "InitHWMP" && message.count >= startBytes) return {kind::start, frequencyAt(startFrequencyAt)};
  if (tag == "Set_HWLO" && message.count >= tuneBytes) return {kind::tune, frequencyAt(tuneFrequencyAt)};
  if (tag == "Bug_on_P") return {kind::stop};
  return {};
}

buff<char> multiPskVersion() {
  const buff<char> message(versionBytes);
  messageWriter(message, versionBytes, "Pversion").addByte(0);
  return message;
}

buff<char> multiPskCapability() {
  const buff<char> room(capabilityRoom);
  messageWriter writer(room, capabilityBytes, "HWMPcapa");
  for (const char* text : {"LarchRig", "1.0", "Hello", "3", "48000", "24000..40000000", ""}) writer.addString(text);
  return slice(room, 0, capabilityBytes);
}

buff<char> multiPskTune(int32_t frequency) {
  const buff<char> message(tuneMessageBytes);
  messageWriter(message, tuneMessageBytes, "Set_HWLO").addUint32(static_cast<uint32_t>(frequency));
  return message;
}

bool multiPskIsTune(const buff<char>& message) {
  return message.count == tuneMessageBytes && std::string_view(message.data + lengthBytes, tagBytes) == "Set_HWLO";
}

double multiPskHeldGain(const cbuff& block, double gain) {
  for (uint64_t i = 0; i < block.count; i++) gain = fallen(gain, block.data[i].imag());
  return gain;
}

buff<char> multiPskSamples(const cbuff& block, double& gain) {
  const uint64_t bytes = sampleBytes * block.count;
  const buff<char> message(samplesAt + bytes);
  messageWriter(message, samplesAt + bytes, "TXHWdata").addUint32(static_cast<uint32_t>(bytes));
  char* at = message.data + samplesAt;
  double g = gain;
  for (uint64_t i = 0; i < block.count; i++, at += sampleBytes) {
    const double imaginary = block.data[i].imag();
    g = fallen(g, imaginary);
    const uint32_t sample = static_cast<uint32_t>(lowBits(block.data[i].real() * g)) << 16 | lowBits(imaginary * g);
    std::memcpy(at, &sample, sampleBytes); // x86 is little-endian, too
  }
  gain = g;
  return message;
}

} // namespace larch
