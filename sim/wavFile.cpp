#include "sim/wavFile.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include "sim/wavWriter.h"

namespace larch::sim {

namespace {
constexpr size_t riffHeaderBytes = 12, chunkHeaderBytes = 8, formatBytes = 16, extensibleFormatAt = 24;
constexpr uint16_t formatPcm = 1, formatFloat = 3, formatExtensible = 0xFFFE;

uint32_t little(const uint8_t* p, int bytes) {
  uint32_t v = 0;
  for (int i = 0; i < bytes; ++i) v |= static_cast<uint32_t>(p[i]) << (8 * i);
  return v;
}

float sampleAt(const uint8_t* p, uint16_t format, int bytes) {
  const uint32_t v = little(p, bytes);
  if (format == formatFloat) {
    float f;
    std::memcpy(&f, &v, sizeof f);
    return std::isfinite(f) ? f : 0;
  }
  if (bytes == 1) return static_cast<float>((static_cast<int>(v) - 128) / 128.0);
  const auto left = static_cast<int32_t>(v << (32 - 8 * bytes));
  return static_cast<float>(left / 2147483648.0);
}
} // namespace

wavData parseWav(std::span<const uint8_t> file) {
  if (file.size() < riffHeaderBytes || std::memcmp(file.data(), "RIFF", 4) != 0 || std::memcmp(&file[8], "WAVE", 4) != 0)
    throw std::runtime_error("no WAV file");
  wavData wav;
  uint16_t format = 0;
  int bytes = 0;
  for (size_t at = riffHeaderBytes; at + chunkHeaderBytes <= file.size();) {
    const uint8_t* p = &file[at];
    const size_t body = at + chunkHeaderBytes;
    const size_t size = std::min<size_t>(little(p + 4, 4), file.size() - body);
    const uint8_t* data = file.data() + body;
    if (std::memcmp(p, "fmt ", 4) == 0 && size >= formatBytes) {
      format = static_cast<uint16_t>(little(data, 2));
      if (format == formatExtensible && size >= extensibleFormatAt + 2)
        format = static_cast<uint16_t>(little(data + extensibleFormatAt, 2));
      wav.channels = static_cast<int>(little(data + 2, 2));
      wav.rate_Hz = little(data + 4, 4);
      const uint32_t bits = little(data + 14, 2);
      bytes = bits % 8 == 0 ? static_cast<int>(bits / 8) : 0;
      const bool known = (format == formatPcm && bytes >= 1 && bytes <= 4) || (format == formatFloat && bytes == 4);
      if (!known || wav.channels < 1 || wav.channels > 2 || wav.rate_Hz <= 0)
        throw std::runtime_error("WAV format not supported");
    } else if (std::memcmp(p, "data", 4) == 0) {
      if (bytes == 0) throw std::runtime_error("WAV data before its format");
      const size_t frames = size / static_cast<size_t>(bytes * wav.channels);
      wav.samples.resize(frames * static_cast<size_t>(wav.channels));
      for (size_t i = 0; i < wav.samples.size(); ++i)
        wav.samples[i] = sampleAt(data + i * static_cast<size_t>(bytes), format, bytes);
      return wav;
    }
    at = body + size + (size & 1);
  }
  throw std::runtime_error("WAV file without data");
}

wavData readWav(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": can't be opened");
  const std::vector<uint8_t> file{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  try {
    return parseWav(file);
  } catch (const std::runtime_error& e) {
    throw std::runtime_error(path + ": " + e.what());
  }
}

void writeWav(const std::string& path, double rate_Hz, int channels, std::span<const float> interleaved) {
  wavWriter file(path, rate_Hz, channels);
  file.put(interleaved);
  file.close();
}

} // namespace larch::sim
