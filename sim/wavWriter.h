// Writes a WAV file piece by piece, of any length that such a file can have.
#pragma once
#include <cstdint>
#include <span>
#include <string>

namespace larch::sim {

// 16-bit PCM, values clipped to full scale. Until it is closed the header claims the greatest length there is, which readWav
// takes for "up to the end of the file": a program that is killed leaves a file that can be read. What can't seek, a pipe, keeps
// that header. Not thread-safe.
class wavWriter {
 public:
  static constexpr uint64_t longest_bytes = 0xFFFFFF00; // of the data; 4 GiB are told by the header's 32 bits

  // Throws std::runtime_error when the file can't be written.
  wavWriter(std::string path, double rate_Hz, int channels, uint64_t limit_bytes = longest_bytes);
  ~wavWriter(); // closes it; failures aren't told
  wavWriter(const wavWriter&) = delete;
  wavWriter& operator=(const wavWriter&) = delete;

  // Throws std::runtime_error when the disk or the limit is reached. What went before stays and can be closed.
  void put(std::span<const float> interleaved);
  void close(); // throws std::runtime_error

 private:
  void write(const uint8_t* bytes, size_t count);
  [[noreturn]] void fail(int error) const;

  std::string name;
  uint32_t rate, width; // bytes a frame
  uint64_t limit, written = 0;
  int handle;
};

} // namespace larch::sim
