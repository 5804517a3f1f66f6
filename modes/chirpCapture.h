// A table of what the matched filters of the chirp mode gave, for a look at it: written once in an object's life.
#pragma once
#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace larch {

// Belongs to one group. The lines are kept in memory; a thread of its own writes the file when the last one is there, or those
// that there are when the object goes. A file that can't be written is none; nothing is logged.
class chirpCapture {
 public:
  static constexpr int32_t lineCount = 7680; // 30 frames of 256
  static constexpr const char* fileName = "chirpud3_9.csv";

  chirpCapture() : chirpCapture(defaultFile()) {}
  explicit chirpCapture(std::filesystem::path file); // takes the memory
  ~chirpCapture();
  chirpCapture(const chirpCapture&) = delete;
  chirpCapture& operator=(const chirpCapture&) = delete;

  bool isFull() const { return captureCount_ >= lineCount; }
  // "up, down, difference" as a line; once full it takes no more. rt but for the last line, which starts the thread.
  void add(double up, double down, double difference);

  static std::filesystem::path defaultFile(); // in the system's temporary directory; empty: there is none

 private:
  using line = std::array<double, 3>;
  static void write(const std::filesystem::path& file, const std::vector<line>& lines);
  void handOver();

  std::filesystem::path file_;
  int32_t captureCount_ = 0;
  std::vector<line> lines_; // has room for all from the start
};

} // namespace larch
