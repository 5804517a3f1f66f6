#include "dsp/fftPlan.h"
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

namespace larch {

namespace {

using cdouble = std::complex<double>;
constexpr double quarterPi = 0.78539816339744830962;
// Doubles between two work arrays: keeps equal indexes off equal cache sets.
constexpr std::size_t workGap = 16;

// 8 first and last, the one or two 4 that the length needs before the last 8: the fastest order in most lengths and variants.
// Radix 16 was never more than a few percent faster, and slower where its 32 values don't fit into the registers.
std::vector<int> radicesOf(uint32_t length) {
  const int order = std::countr_zero(length), fours = (3 - order % 3) % 3, eights = (order - 2 * fours) / 3;
  std::vector<int> radices(eights, 8);
  radices.insert(eights > 1 ? radices.end() - 1 : radices.end(), fours, 4);
  return radices;
}

// The order in which a first pass reads: for each V butterflies and each output k >= 1, V cosines and V sines.
void fillFirstTurns(double* turns, int n, int radix, int width) {
  for (int p = 0; p < n / radix; p++)
    for (int k = 1; k < radix; k++) {
      const cdouble w = turnOf(static_cast<uint64_t>(p) * k, n);
      double* at = turns + static_cast<std::size_t>(p / width) * width * 2 * (radix - 1) + (k - 1) * 2 * width + p % width;
      at[0] = w.real();
      at[width] = w.imag();
    }
}

void fillMiddleTurns(double* turns, int n, int radix) {
  for (int p = 0; p < n / radix; p++)
    for (int k = 1; k < radix; k++) {
      const cdouble w = turnOf(static_cast<uint64_t>(p) * k, n);
      *turns++ = w.real();
      *turns++ = w.imag();
    }
}

} // namespace

cdouble turnOf(uint64_t k, uint64_t n) {
  k = k % n * 8;
  const uint64_t octant = k / n, rest = k % n;
  // Measured from the nearer end of the octant's quarter, so that the angle is never above π/4.
  const double angle = quarterPi * static_cast<double>(octant % 2 ? n - rest : rest) / static_cast<double>(n);
  double c = std::cos(angle), s = std::sin(angle);
  if (octant % 4 == 1 || octant % 4 == 2) std::swap(c, s);
  if (octant >= 2 && octant < 6) c = -c;
  if (octant >= 4) s = -s;
  return {c, -s};
}

fftPlan::fftPlan(uint32_t length, cpuVariant variant) : length_(length), variant_(variant) {
  if (length < smallestVectorLength)
    prepareSmall();
  else
    preparePasses();
}

void fftPlan::prepareSmall() {
  for (uint32_t k = 0; k < length_ / 2; k++) smallTurns_.push_back(turnOf(k, length_));
  smallWork_.resize(length_);
}

void fftPlan::preparePasses() {
  int n = static_cast<int>(length_), stride = 1;
  const int width = fft::vectorWidth(variant_);
  for (int radix : radicesOf(length_)) {
    pass p{&fft::kernelsOf(variant_, radix), nullptr, n, stride};
    if (n > radix) p.turns = makeAlignedDoubles(static_cast<std::size_t>(n / radix) * 2 * (radix - 1));
    if (stride == 1)
      fillFirstTurns(p.turns.get(), n, radix, width);
    else if (n > radix)
      fillMiddleTurns(p.turns.get(), n, radix);
    passes_.push_back(std::move(p));
    n /= radix;
    stride *= radix;
  }
  first_ = &fft::firstKernelsOf(variant_);
  memory_ = makeAlignedDoubles(2 * (2 * length_ + workGap));
  work_[0] = memory_.get();
  work_[1] = work_[0] + 2 * length_ + workGap;
}

int fftPlan::runForwardFirst(const cdouble* in) {
  first_->forward(reinterpret_cast<const double*>(in), work_[0], passes_.front().turns.get(), passes_.front().length);
  return 0;
}

int fftPlan::runMiddle(int which) {
  for (std::size_t i = 1; i + 1 < passes_.size(); i++, which = 1 - which) {
    const pass& p = passes_[i];
    const auto run = p.stride == 8 ? p.kernels->middleStride8 : p.kernels->middle;
    run(work_[which], work_[1 - which], p.turns.get(), p.length, p.stride);
  }
  return which;
}

void fftPlan::forward(const cdouble* in, cdouble* out) {
  if (passes_.empty()) return runSmall(in, out, 1);
  const double* middle = work_[runMiddle(runForwardFirst(in))];
  passes_.back().kernels->forwardLast(middle, reinterpret_cast<double*>(out), passes_.back().stride);
}

void fftPlan::inverse(const cdouble* in, cdouble* out) {
  if (passes_.empty()) return runSmall(in, out, -1);
  const pass& first = passes_.front();
  first_->inverse(reinterpret_cast<const double*>(in), work_[0], first.turns.get(), first.length);
  passes_.back().kernels->inverseLast(work_[runMiddle(0)], reinterpret_cast<double*>(out), passes_.back().stride);
}

// Radix 2. sign: 1 forward, -1 inverse.
void fftPlan::runSmall(const cdouble* in, cdouble* out, double sign) {
  if (in != out) std::memcpy(static_cast<void*>(out), in, length_ * sizeof(cdouble));
  double *x = reinterpret_cast<double*>(out), *y = reinterpret_cast<double*>(smallWork_.data());
  for (uint32_t n = length_, stride = 1; n > 1; n /= 2, stride *= 2) {
    for (uint32_t p = 0; p < n / 2; p++) {
      const double c = smallTurns_[p * stride].real(), s = sign * smallTurns_[p * stride].imag();
      for (uint32_t q = 0; q < stride; q++) {
        const double *a = x + 2 * (q + stride * p), *b = a + stride * n;
        double *sum = y + 2 * (q + stride * 2 * p), *turned = sum + 2 * stride;
        const double re = a[0] - b[0], im = a[1] - b[1];
        sum[0] = a[0] + b[0];
        sum[1] = a[1] + b[1];
        turned[0] = re * c - im * s;
        turned[1] = re * s + im * c;
      }
    }
    std::swap(x, y);
  }
  if (x != reinterpret_cast<double*>(out)) std::memcpy(static_cast<void*>(out), x, length_ * sizeof(cdouble));
}

} // namespace larch
