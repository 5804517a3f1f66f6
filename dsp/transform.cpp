#include "dsp/transform.h"
#include <algorithm>
#include <bit>
#include <memory>
#include <unordered_map>
#include <vector>

namespace larch {

namespace {

using cdouble = std::complex<double>;
struct fnv1aHash { // 64-bit, over the four bytes of the length
  std::size_t operator()(uint32_t length) const {
    uint64_t hash = 0xcbf29ce484222325u;
    for (int byte = 0; byte < 4; byte++) {
      hash ^= (length >> (8 * byte)) & 0xff;
      hash *= 0x100000001b3u;
    }
    return hash;
  }
};

template <class Spec> using specTable = std::unordered_map<uint32_t, std::unique_ptr<Spec>, fnv1aHash>;

template <class Spec> Spec& cached(specTable<Spec>& specs, uint32_t n, cpuVariant variant) {
  std::unique_ptr<Spec>& spec = specs[n];
  if (!spec) spec = std::make_unique<Spec>(n, variant);
  return *spec;
}

// One prepared real transform: the real samples as n / 2 complex ones, and the turns that take even and odd samples apart.
class realFftPlan {
 public:
  realFftPlan(uint32_t n, cpuVariant variant) : half_(n / 2), complex_(std::max(half_, 1u), variant) {
    for (uint32_t k = 0; k <= half_ / 2; k++) turns_.push_back(turnOf(k, n));
  }

  void forward(const double* in, cdouble* out) {
    if (half_ == 0) {
      out[0] = in[0];
      return;
    }
    complex_.forward(reinterpret_cast<const cdouble*>(in), out);
    takeApart(reinterpret_cast<double*>(out));
  }

 private:
  // X[k] = E[k] + w^k O[k] and X[n/2 - k] = conj(E[k] - w^k O[k]) from Z[k] = E[k] + j O[k], the spectra of even and odd samples.
  // By parts on plain doubles: g++ 12 takes std::complex temporaries through the stack at five times the cost.
  void takeApart(double* z) const {
    const double re0 = z[0], im0 = z[1];
    for (uint32_t k = 1; k <= half_ / 2; k++) {
      double *low = z + 2 * k, *high = z + 2 * (half_ - k);
      const double c = turns_[k].real(), s = turns_[k].imag();
      const double evenRe = 0.5 * (low[0] + high[0]), evenIm = 0.5 * (low[1] - high[1]);
      const double oddRe = 0.5 * (low[1] + high[1]), oddIm = 0.5 * (high[0] - low[0]);
      const double turnedRe = oddRe * c - oddIm * s, turnedIm = oddRe * s + oddIm * c;
      low[0] = evenRe + turnedRe;
      low[1] = evenIm + turnedIm;
      high[0] = evenRe - turnedRe;
      high[1] = turnedIm - evenIm;
    }
    z[0] = re0 + im0;
    z[1] = 0;
    z[2 * half_] = re0 - im0;
    z[2 * half_ + 1] = 0;
  }

  uint32_t half_;
  fftPlan complex_;
  std::vector<cdouble> turns_;
};

} // namespace

fftPlan& threadFftPlan(uint32_t length, cpuVariant variant) {
  thread_local specTable<fftPlan> specs[variantCount];
  return cached(specs[static_cast<int>(variant)], length, variant);
}

void fftForward(const cdouble* in, cdouble* out, uint32_t count) {
  if (count > 0) threadFftPlan(std::bit_floor(count)).forward(in, out);
}

void fftInverse(const cdouble* in, cdouble* out, uint32_t count) {
  if (count > 0) threadFftPlan(std::bit_floor(count)).inverse(in, out);
}

void fftForwardReal(const double* in, cdouble* out, uint32_t count) {
  thread_local specTable<realFftPlan> specs;
  if (count > 0) cached(specs, std::bit_floor(count), selectedVariant()).forward(in, out);
}

cbuff fftForward(const cbuff& in, const cbuff& out) {
  fftForward(in.data, out.data, static_cast<uint32_t>(in.count));
  return out;
}

cbuff fftInverse(const cbuff& in, const cbuff& out) {
  fftInverse(in.data, out.data, static_cast<uint32_t>(in.count));
  return out;
}

cbuff fftForwardReal(const buff<double>& in, const cbuff& out) {
  fftForwardReal(in.data, out.data, static_cast<uint32_t>(in.count));
  return out;
}

} // namespace larch
