// One stream of the sound library, input or output, with the call that feeds or empties it.
#pragma once

namespace larch {

// Runs on the stream's own thread, rt. `samples` may be null. dacTime_s: when the first output frame will be heard, by the
// sound library's clock; 0 for input. False ends the stream from inside; it must then be closed before it is opened again.
using soundCallback = bool (*)(void* user, float* samples, unsigned long frames, double dacTime_s);

struct soundStreamRequest {
  enum direction { input, output };
  static constexpr double defaultLowLatency = -1;
  direction way = output;
  int device = 0;      // the sound library's index
  int channels = 2;    // interleaved 32-bit float
  double rate = 48000; // Hz
  double latency_s = defaultLowLatency;
  unsigned long framesPerBuffer = 0; // 0: as the device likes
  soundCallback callback = nullptr;
  void (*finished)(void* user) = nullptr; // may be null; on the stream's thread, when it has ended itself or was stopped
  void* user = nullptr;
};

// Used by one thread at a time. The callback's `user` must outlive the stream; close() and the destructor return only when no
// callback runs any more. Opening and closing take long and wait for other threads that do so.
class soundStream {
 public:
  // The sound library's error numbers, 0 for success. The stream runs when `open` and `start` are 0.
  struct result {
    int open = 0, finishedCallback = 0, start = 0;
    bool running() const { return open == 0 && start == 0; }
  };

  soundStream() = default;
  ~soundStream() { close(); }
  soundStream(const soundStream&) = delete;
  soundStream& operator=(const soundStream&) = delete;

  // Closes what is open, then opens and starts; the step after a failed one isn't tried, but for the finished callback's.
  result open(const soundStreamRequest& request);
  void close(); // plays out what is queued
  bool isOpen() const { return stream_ != nullptr; }
  static const char* errorText(int error);

 private:
  struct trampoline;
  void* stream_ = nullptr; // the sound library's; null: closed
  soundStreamRequest request_;
  bool raised_ = false; // the callback's: it has asked for its priority
};

} // namespace larch
