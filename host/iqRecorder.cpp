#include "host/iqRecorder.h"
#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <vector>

namespace larchhost {
namespace {

constexpr uint32_t rate = 48000, channels = 2, sampleBytes = 4;
constexpr uint16_t floatFormat = 3;
constexpr size_t headerSize = 44;

void put(uint8_t* at, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; i++) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

} // namespace

iqRecorder::iqRecorder(const std::string& path) : file_(std::fopen(path.c_str(), "wb")) {
  if (!file_) throw std::runtime_error(fmt::format("can't write {}: {}", path, std::strerror(errno)));
  writeHeader();
}

iqRecorder::~iqRecorder() {
  pump();
  writeHeader();
  std::fclose(file_);
}

void iqRecorder::writeHeader() {
  const uint64_t bytes = std::min<uint64_t>(samples_ * channels * sampleBytes, 0xFFFFFFFFu - headerSize);
  uint8_t h[headerSize] = {};
  std::memcpy(h, "RIFF", 4);
  put(h + 4, static_cast<uint32_t>(bytes + headerSize - 8), 4);
  std::memcpy(h + 8, "WAVEfmt ", 8);
  put(h + 16, 16, 4);
  put(h + 20, floatFormat, 2);
  put(h + 22, channels, 2);
  put(h + 24, rate, 4);
  put(h + 28, rate * channels * sampleBytes, 4);
  put(h + 32, channels * sampleBytes, 2);
  put(h + 34, 8 * sampleBytes, 2);
  std::memcpy(h + 36, "data", 4);
  put(h + 40, static_cast<uint32_t>(bytes), 4);
  std::fseek(file_, 0, SEEK_SET);
  failed_ |= std::fwrite(h, 1, headerSize, file_) != headerSize;
  std::fseek(file_, 0, SEEK_END);
}

void iqRecorder::offer(complexArray* block) {
  auto& slot = ring_[in_ % slots];
  if (slot.load(std::memory_order_acquire)) { // pairs with pump's release
    complexArray_delete(block);
    lost_.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  slot.store(block, std::memory_order_release); // pairs with pump's acquire
  in_++;
}

void iqRecorder::pump() {
  for (;;) {
    auto& slot = ring_[out_ % slots];
    complexArray* block = slot.load(std::memory_order_acquire);
    if (!block) return;
    write(complexArray_data(block), complexArray_size(block));
    complexArray_delete(block);
    slot.store(nullptr, std::memory_order_release);
    out_++;
  }
}

void iqRecorder::write(const double* iq, int32_t count) {
  std::vector<float> samples(static_cast<size_t>(count) * channels);
  for (int32_t i = 0; i < count; i++) { // the core's baseband is the mirror of the spectrum
    samples[2 * static_cast<size_t>(i)] = static_cast<float>(iq[2 * i]);
    samples[2 * static_cast<size_t>(i) + 1] = static_cast<float>(-iq[2 * i + 1]);
  }
  failed_ |= std::fwrite(samples.data(), sizeof(float), samples.size(), file_) != samples.size();
  samples_ += static_cast<uint64_t>(count);
}

} // namespace larchhost
