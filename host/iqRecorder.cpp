#include "host/iqRecorder.h"
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr uint32_t rate = 48000, channels = 2, sampleBytes = 4;
constexpr uint16_t floatFormat = 3;
constexpr size_t headerSize = 44;
constexpr std::chrono::milliseconds writePause{20};
constexpr std::chrono::seconds longestEnd{1};

void put(char* at, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; i++) at[i] = static_cast<char>(value >> (8 * i));
}

std::array<char, headerSize> header(uint64_t samples) {
  const uint64_t bytes = std::min<uint64_t>(samples * channels * sampleBytes, 0xFFFFFFFFu - headerSize);
  std::array<char, headerSize> h{};
  std::memcpy(&h[0], "RIFF", 4);
  put(&h[4], static_cast<uint32_t>(bytes + headerSize - 8), 4);
  std::memcpy(&h[8], "WAVEfmt ", 8);
  put(&h[16], 16, 4);
  put(&h[20], floatFormat, 2);
  put(&h[22], channels, 2);
  put(&h[24], rate, 4);
  put(&h[28], rate * channels * sampleBytes, 4);
  put(&h[32], channels * sampleBytes, 2);
  put(&h[34], 8 * sampleBytes, 2);
  std::memcpy(&h[36], "data", 4);
  put(&h[40], static_cast<uint32_t>(bytes), 4);
  return h;
}

} // namespace

iqRecorder::iqRecorder(const std::string& path) : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
  if (file_ < 0) throw std::runtime_error(fmt::format("can't write {}: {}", path, std::strerror(errno)));
  struct stat kind {};
  fstat(file_, &kind);
  regular_ = S_ISREG(kind.st_mode);
  if (!regular_) fcntl(file_, F_SETFL, O_WRONLY | O_NONBLOCK);
  const auto h = header(0);
  rest_.assign(h.begin(), h.end());
  writer_ = std::thread(&iqRecorder::run, this);
}

void iqRecorder::run() {
  while (!end_.load(std::memory_order_relaxed)) { // finish joins
    pump();
    std::this_thread::sleep_for(writePause);
  }
}

void iqRecorder::finish() {
  if (file_ < 0) return;
  end_.store(true, std::memory_order_relaxed);
  writer_.join();
  const auto end = std::chrono::steady_clock::now() + longestEnd;
  while (!pump() && std::chrono::steady_clock::now() < end) {
    pollfd p{file_, POLLOUT, 0};
    poll(&p, 1, static_cast<int>(writePause.count()));
  }
  if (!rest_.empty()) failed_ = true;
  const auto h = header(samples());
  if (regular_ && pwrite(file_, h.data(), h.size(), 0) != static_cast<ssize_t>(h.size())) failed_ = true;
  if (close(file_) != 0) failed_ = true;
  file_ = -1;
}

// The handle is ours, the samples are the chain's own and the next block takes their place: they are copied here.
void iqRecorder::offer(complexArray* block) {
  slot& s = ring_[in_ % slots];
  const int32_t count = std::min(complexArray_size(block), mostSamples);
  if (s.count.load(std::memory_order_acquire) > 0) { // pairs with pump's release
    lost_.fetch_add(1, std::memory_order_relaxed);
  } else if (count > 0) {
    const double* iq = complexArray_data(block);
    for (size_t i = 0; i < static_cast<size_t>(count); i++) { // the core's baseband is the mirror of the spectrum
      s.samples[2 * i] = static_cast<float>(iq[2 * i]);
      s.samples[2 * i + 1] = static_cast<float>(-iq[2 * i + 1]);
    }
    s.count.store(count, std::memory_order_release); // pairs with pump's acquire
    in_++;
  }
  complexArray_delete(block);
}

bool iqRecorder::pump() {
  while (writeRest()) {
    slot& s = ring_[out_ % slots];
    const int32_t count = s.count.load(std::memory_order_acquire);
    if (count == 0) return true;
    rest_.assign(reinterpret_cast<const char*>(s.samples.data()), static_cast<size_t>(count) * channels * sampleBytes);
    s.count.store(0, std::memory_order_release);
    out_++;
    samples_.fetch_add(static_cast<uint64_t>(count), std::memory_order_relaxed);
  }
  return false;
}

bool iqRecorder::writeRest() {
  while (!rest_.empty() && !failed()) {
    const ssize_t n = write(file_, rest_.data(), rest_.size());
    if (n >= 0)
      rest_.erase(0, static_cast<size_t>(n));
    else if (errno == EAGAIN)
      return false;
    else if (errno != EINTR)
      failed_ = true;
  }
  rest_.clear(); // behind a failure nothing more is written: it wouldn't be in its place
  return true;
}

} // namespace larchhost
