// IQ recording: blocks that arrive on a signal thread, written to a WAV file by a thread that nobody waits for.
#pragma once
#include "runtime/larchlib.h"
#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace larchhost {

// Two channels, I and Q, of 32-bit floats at 48000 Hz; positive frequencies lie above the tuned one. `offer` takes what the proxy
// mode hands out on its signal thread and returns at once; one at a time. A disk that stalls, or a pipe that nobody reads, costs
// blocks and holds nothing up; a pipe gets a second at the end.
class iqRecorder {
 public:
  // Throws std::runtime_error when the file can't be opened.
  explicit iqRecorder(const std::string& path);
  ~iqRecorder() { finish(); }
  iqRecorder(const iqRecorder&) = delete;
  iqRecorder& operator=(const iqRecorder&) = delete;

  void offer(complexArray* block); // takes the handle over; a block that finds no room is dropped and counted
  void finish();                   // writes what waits and completes the header
  uint64_t samples() const { return samples_.load(std::memory_order_relaxed); } // counts for the status line
  uint64_t lostBlocks() const { return lost_.load(std::memory_order_relaxed); }
  bool failed() const { return failed_.load(std::memory_order_relaxed); } // a write didn't succeed: the disk is full, most often

 private:
  static constexpr uint32_t slots = 512; // 5.4 s of blocks
  static constexpr int32_t mostSamples = 512;

  struct slot {
    std::atomic<int32_t> count{0}; // samples in it; 0: empty
    std::array<float, size_t{2} * mostSamples> samples;
  };

  void run();
  bool pump(); // false: the file takes no more at present
  bool writeRest();
  void writeHeader();

  int file_;
  bool regular_ = true;
  std::vector<slot> ring_{slots};
  uint32_t in_ = 0, out_ = 0; // the offering and the writing side's own
  std::string rest_;          // of the block that is being written
  std::atomic<uint64_t> samples_{0}, lost_{0};
  std::atomic<bool> failed_{false}, end_{false};
  std::thread writer_;
};

} // namespace larchhost
