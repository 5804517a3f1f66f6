// A fast random generator and Gaussian noise from it. Seeded: the same seed gives the same numbers everywhere.
#pragma once
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>

namespace larch::sim {

// xoshiro256++ (Blackman and Vigna, public domain), seeded by splitmix64.
class randomSource {
 public:
  explicit randomSource(uint64_t seed = 1);
  uint64_t next() {
    const uint64_t result = rotate(state[0] + state[3], 23) + state[0];
    const uint64_t t = state[1] << 17;
    state[2] ^= state[0];
    state[3] ^= state[1];
    state[1] ^= state[2];
    state[0] ^= state[3];
    state[2] ^= t;
    state[3] = rotate(state[3], 45);
    return result;
  }
  double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; } // 0 to 1, 1 excluded
  uint64_t below(uint64_t limit) { return limit == 0 ? 0 : next() % limit; }

  // Adds white Gaussian noise of the given deviation; complex: to each of the two parts.
  // Values come from a table of 4096 quantiles: the tail ends at 3.7 deviations, the variance is exact.
  void addNoise(std::complex<double>* samples, size_t count, double deviation);
  void addNoise(double* samples, size_t count, double deviation);

 private:
  static uint64_t rotate(uint64_t v, int n) { return v << n | v >> (64 - n); }
  std::array<uint64_t, 4> state;
};

} // namespace larch::sim
