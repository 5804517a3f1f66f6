// Reading and writing WAV files: PCM of 8, 16, 24 or 32 bits and 32-bit float, one or two channels.
#pragma once
#include <complex>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace larch::sim {

struct wavData {
  double rate_Hz = 0;
  int channels = 0;
  std::vector<float> samples; // interleaved, full scale 1.0
  size_t frames() const { return channels == 0 ? 0 : samples.size() / static_cast<size_t>(channels); }
};

// Throws std::runtime_error with the file's name on anything that is no such file. A data chunk that claims more than there
// is (a stream of unknown length) ends at the end of the file.
wavData readWav(const std::string& path);
wavData parseWav(std::span<const uint8_t> file); // the same from memory

// 16-bit PCM, values clipped to full scale. Throws std::runtime_error when the file can't be written.
void writeWav(const std::string& path, double rate_Hz, int channels, std::span<const float> interleaved);

} // namespace larch::sim
