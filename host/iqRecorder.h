// IQ recording: blocks that arrive on a signal thread, written to a WAV file by the poll.
#pragma once
#include "runtime/larchlib.h"
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

namespace larchhost {

// Two channels, I and Q, of 32-bit floats at 48000 Hz; positive frequencies lie above the tuned one. `offer` takes what the proxy
// mode hands out on its signal thread and returns at once; `pump` writes on the poll's thread. One of each at a time.
class iqRecorder {
 public:
  // Throws std::runtime_error when the file can't be opened.
  explicit iqRecorder(const std::string& path);
  ~iqRecorder(); // writes what waits and completes the header
  iqRecorder(const iqRecorder&) = delete;
  iqRecorder& operator=(const iqRecorder&) = delete;

  void offer(complexArray* block); // takes the handle over; a block that finds no room is dropped and counted
  void pump();
  uint64_t samples() const { return samples_; }
  uint64_t lostBlocks() const { return lost_.load(std::memory_order_relaxed); } // a count for the status line
  bool failed() const { return failed_; } // a write didn't succeed: the disk is full, most often

 private:
  static constexpr uint32_t slots = 512; // 5.4 s of blocks

  void write(const double* iq, int32_t count);
  void writeHeader();

  std::FILE* file_;
  std::array<std::atomic<complexArray*>, slots> ring_{};
  uint32_t in_ = 0, out_ = 0; // the offering and the writing side's own
  uint64_t samples_ = 0;
  std::atomic<uint64_t> lost_{0};
  bool failed_ = false;
};

} // namespace larchhost
