#include "dsp/fftConvolver.h"
#include "dsp/transform.h"
#include <algorithm>
#include <cstring>

namespace larch {

using convolver::length;
using convolver::spectrumDoubles;

fftConvolver::fftConvolver(const cbuff& taps, cpuVariant variant)
    : variant_(variant), kernels_(&convolver::kernelsOf(variant)), count_(static_cast<int32_t>((taps.count + block - 1) / block)),
      timeBuffer_(length, 0.0), partitions_(makeAlignedDoubles(static_cast<std::size_t>(count_) * spectrumDoubles)),
      history_(makeAlignedDoubles(static_cast<std::size_t>(count_) * spectrumDoubles)), older_(std::max(count_, 1)) {
  input = slice(timeBuffer_, block, block);
  output = cbuff(block, 0.0);
  setTaps(taps);
}

void fftConvolver::setTaps(const cbuff& taps) {
  fftPlan& plan = threadFftPlan(length, variant_);
  for (int32_t p = 0; p < count_; p++) {
    double padded[2 * length] = {};
    const uint64_t start = std::min(taps.count, block * p), end = std::min(taps.count, start + block);
    const double* tap = reinterpret_cast<const double*>(taps.data + start);
    for (uint64_t i = 0; i < 2 * (end - start); i++) padded[i] = tap[i] / length;
    const int last = plan.runMiddle(plan.runForwardFirst(reinterpret_cast<const std::complex<double>*>(padded)));
    kernels_->toSpectrum(plan.work(last), partition(p));
  }
}

void fftConvolver::process() {
  if (count_ == 0) {
    std::fill_n(output.data, block, 0.0);
    return;
  }
  fftPlan& plan = threadFftPlan(length, variant_);
  for (int32_t age = 1; age < count_; age++) {
    const int32_t index = head_ >= age ? head_ - age : head_ - age + count_;
    older_[age - 1] = {history(index), partition(age)};
  }
  const int forward = plan.runMiddle(plan.runForwardFirst(timeBuffer_.data));
  kernels_->turnAround(plan.work(forward), history(head_), partition(0), older_.data(), count_ - 1, plan.work(1 - forward),
                       plan.passes().front().turns.get());
  const fftPlan::pass& last = plan.passes().back();
  last.kernels->inverseUpperHalf(plan.work(plan.runMiddle(1 - forward)), reinterpret_cast<double*>(output.data), last.stride);
  head_ = head_ + 1 == count_ ? 0 : head_ + 1;
  std::memcpy(static_cast<void*>(timeBuffer_.data), timeBuffer_.data + block, block * sizeof(std::complex<double>));
}

void fftConvolver::reset() {
  std::fill_n(timeBuffer_.data, timeBuffer_.count, 0.0);
  std::fill_n(history_.get(), static_cast<std::size_t>(count_) * spectrumDoubles, 0.0);
  head_ = 0;
}

} // namespace larch
