#include "audio/writeWav.h"
#include <algorithm>
#include <array>
#include <fstream>

namespace larch {
namespace {

constexpr uint32_t sampleRate = 12000, sampleBytes = 2, channels = 1, pcm = 1;
constexpr uint32_t formatBytes = 16, bytesBehindSize = 36; // of the header
constexpr size_t samplesAtOnce = 4096;

class littleEndian {
 public:
  explicit littleEndian(std::ostream& out) : out_(out) {}
  void text(const char* fourLetters) { out_.write(fourLetters, 4); }
  void number(uint32_t value, int bytes) {
    for (int i = 0; i < bytes; i++) out_.put(static_cast<char>(value >> (8 * i) & 0xFF));
  }

 private:
  std::ostream& out_;
};

void writeHeader(std::ostream& out, uint32_t dataBytes) {
  littleEndian header(out);
  header.text("RIFF");
  header.number(bytesBehindSize + dataBytes, 4);
  header.text("WAVE");
  header.text("fmt ");
  header.number(formatBytes, 4);
  header.number(pcm, 2);
  header.number(channels, 2);
  header.number(sampleRate, 4);
  header.number(sampleRate * sampleBytes, 4);
  header.number(sampleBytes, 2);
  header.number(8 * sampleBytes, 2);
  header.text("data");
  header.number(dataBytes, 4);
}

uint16_t lowBits(float product) {
  constexpr float range = 9223372036854775808.0f;        // 2^63
  if (!(product >= -range && product < range)) return 0; // as the processor has it
  return static_cast<uint16_t>(static_cast<int64_t>(product));
}

} // namespace

void writeWav(std::string path, buff<float> samples, float scale) {
  std::ofstream out(path, std::ios::binary);
  writeHeader(out, static_cast<uint32_t>(sampleBytes * samples.count));
  std::array<char, sampleBytes * samplesAtOnce> bytes;
  for (uint64_t at = 0; at < samples.count && out; at += samplesAtOnce) {
    const uint64_t n = std::min<uint64_t>(samplesAtOnce, samples.count - at);
    for (uint64_t i = 0; i < n; i++) {
      const uint16_t value = lowBits(samples.data[at + i] * scale);
      bytes[2 * i] = static_cast<char>(value & 0xFF);
      bytes[2 * i + 1] = static_cast<char>(value >> 8);
    }
    out.write(bytes.data(), static_cast<std::streamsize>(sampleBytes * n));
  }
}

} // namespace larch
