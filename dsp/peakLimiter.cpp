#include "dsp/peakLimiter.h"
#include <algorithm>
#include <cmath>

namespace larch {

// The first block takes its history from the end of the line, so that this must be silence too.
peakLimiter::peakLimiter(uint64_t block) : line_(lookAhead, block) { line_.clear(); }

void peakLimiter::process(const cbuff& input, double factor, const cbuff& output) {
  line_.wrap();
  input.copy(line_.writable);
  const std::complex<double>* line = line_.whole.data;
  const uint64_t n = std::min(output.count, line_.writable.count);
  for (uint64_t i = 0; i < n; i++) {
    double power = 0;
    for (uint64_t k = i; k < i + lookAhead; k++) {
      const double p = line[k].real() * line[k].real() + line[k].imag() * line[k].imag();
      power = p > power ? p : power;
    }
    const double peak = std::sqrt(power);
    std::complex<double> y = line[i + lookAhead / 2];
    if (peak > 1) {
      const double divisor = 2 * (peak - 1) + 1;
      y = {y.real() / divisor, y.imag() / divisor};
    }
    output.data[i] = {y.real() * factor, y.imag() * factor};
  }
}

} // namespace larch
