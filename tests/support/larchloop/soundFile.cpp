#include "soundFile.h"
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>

namespace larchloop {
namespace {

constexpr uint16_t pcmFormat = 1, floatFormat = 3;
constexpr size_t riffHeader = 12, chunkHeader = 8, leastFormat = 16;
constexpr float fullScale16 = 32768.f;

struct layout {
  uint16_t format = pcmFormat, channels = 1, bits = 16;
  uint32_t rate = 48000;
  const char* data = nullptr;
  size_t size = 0;
};

template <class T> T readAt(const char* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

layout parse(const std::vector<char>& file) {
  layout l;
  if (file.size() < riffHeader || std::memcmp(file.data(), "RIFF", 4) != 0) {
    l.data = file.data();
    l.size = file.size();
    return l;
  }
  for (size_t at = riffHeader; at + chunkHeader <= file.size();) {
    const char* chunk = file.data() + at;
    const size_t room = file.size() - at - chunkHeader, size = std::min<size_t>(readAt<uint32_t>(chunk + 4), room);
    const char* body = chunk + chunkHeader;
    if (std::memcmp(chunk, "fmt ", 4) == 0 && size >= leastFormat) {
      l.format = readAt<uint16_t>(body);
      l.channels = readAt<uint16_t>(body + 2);
      l.rate = readAt<uint32_t>(body + 4);
      l.bits = readAt<uint16_t>(body + 14);
    }
    if (std::memcmp(chunk, "data", 4) == 0) {
      l.data = body;
      l.size = size;
    }
    at += chunkHeader + size + size % 2;
  }
  return l;
}

} // namespace

soundFile soundFile::read(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::vector<char> file{std::istreambuf_iterator<char>(stream), {}};
  const layout l = parse(file);
  const bool isFloat = l.format == floatFormat && l.bits == 32, isShort = l.format == pcmFormat && l.bits == 16;
  soundFile sound;
  if (!l.data || l.channels == 0 || l.rate == 0 || (!isFloat && !isShort)) return sound;
  sound.rate = l.rate;
  const size_t step = l.channels * size_t{l.bits} / 8;
  for (size_t at = 0; at + step <= l.size; at += step)
    sound.samples.push_back(isFloat ? readAt<float>(l.data + at) : readAt<int16_t>(l.data + at) / fullScale16);
  return sound;
}

float soundFile::at(double time) const {
  const double place = std::fmod(time * rate, static_cast<double>(samples.size())), whole = std::floor(place);
  const auto i = static_cast<size_t>(whole);
  const float x = static_cast<float>(place - whole), next = samples[(i + 1) % samples.size()];
  return samples[i % samples.size()] * (1 - x) + next * x;
}

} // namespace larchloop
