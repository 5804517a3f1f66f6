#include "dsp/fftConvolver.h"
#include "dsp/transform.h"
#include <algorithm>

namespace larch {

namespace {

constexpr uint64_t length = 2 * fftConvolver::block;

void multiplyAdd(const cbuff& a, const cbuff& b, const cbuff& sum) {
  for (uint64_t i = 0; i < length; i++) {
    const double ar = a.data[i].real(), ai = a.data[i].imag(), br = b.data[i].real(), bi = b.data[i].imag();
    sum.data[i] += std::complex<double>(ar * br - ai * bi, ar * bi + ai * br);
  }
}

} // namespace

fftConvolver::fftConvolver(const cbuff& taps)
    : timeBuffer_(length, 0.0), accumulator_(length, 0.0), outputBuffer_(length, 0.0),
      count_(static_cast<int32_t>((taps.count + block - 1) / block)) {
  for (int32_t p = 0; p < count_; p++) {
    partitions_.emplace_back(length, 0.0);
    history_.emplace_back(length, 0.0);
  }
  input = slice(timeBuffer_, block, block);
  output = slice(outputBuffer_, block, block);
  setTaps(taps);
}

void fftConvolver::setTaps(const cbuff& taps) {
  for (int32_t p = 0; p < count_; p++) {
    const cbuff& spectrum = partitions_[count_ - 1 - p];
    std::fill_n(spectrum.data, length, 0.0);
    const uint64_t start = block * p, end = std::min(taps.count, start + block);
    for (uint64_t i = start; i < end; i++) spectrum.data[i - start] = taps.data[i] / static_cast<double>(length);
    fftForward(spectrum, spectrum);
  }
}

void fftConvolver::process() {
  std::fill_n(accumulator_.data, length, 0.0);
  if (count_ > 0) {
    fftForward(timeBuffer_, history_[head_]);
    int32_t newest = head_;
    for (int32_t k = 0; k < count_; k++) {
      multiplyAdd(history_[newest], partitions_[count_ - 1 - k], accumulator_);
      newest = newest > 0 ? newest - 1 : count_ - 1;
    }
    head_ = head_ + 1 == count_ ? 0 : head_ + 1;
  }
  fftInverse(accumulator_, outputBuffer_);
  std::copy_n(timeBuffer_.data + block, block, timeBuffer_.data);
}

void fftConvolver::reset() {
  std::fill_n(timeBuffer_.data, length, 0.0);
  for (const cbuff& spectrum : history_) std::fill_n(spectrum.data, length, 0.0);
  head_ = 0;
}

} // namespace larch
