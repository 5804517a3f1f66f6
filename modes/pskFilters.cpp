#include "modes/pskFilters.h"

namespace larch {
namespace {

// The taps up to the middle one, mirrored and doubled.
template <int half> constexpr std::array<double, 2 * (2 * half - 1)> doubled(const double (&taps)[half]) {
  constexpr int count = 2 * half - 1;
  std::array<double, 2 * count> result{};
  for (int k = 0; k < count; k++) result[k] = result[k + count] = taps[k < half ? k : count - 1 - k];
  return result;
}

constexpr double decimationHalf[] = {-0.00021203644, -0.00070252426, -0.0016680526, -0.0031934799, -0.0051899752, -0.0072862086,
                                     -0.0087714235,  -0.0086272102,  -0.0056735648, 0.0011784719,  0.01261353,    0.028615709,
                                     0.048280707,    0.069812051,    0.090735013,   0.10830381,    0.12001897,    0.12413413};

constexpr double frequencyHalf[] = {-0.00088229088, -0.0011374389, -0.0016412868, -0.0020520989, -0.0022175618, -0.0019791161,
                                    -0.0012057952,  0.00016527251, 0.0020943472,  0.0044122668,  0.0068189371,  0.0089045933,
                                    0.010203678,    0.010266316,   0.0087507451,  0.0055136683,  0.00068616242, -0.005288313,
                                    -0.011653249,   -0.017399749,  -0.021376642,  -0.022435377,  -0.019606873,  -0.012263665,
                                    -0.00026078671, 0.015986088,   0.035491391,   0.056773305,   0.078002392,   0.097207364,
                                    0.11251413,     0.12237776,    0.12580366};

constexpr double bitHalf[] = {4.3453566e-05, -0.00049122414, -0.00078771292, -0.0013507826, -0.0021287814, -0.003133466,
                              -0.004366817,  -0.0058112187,  -0.0074249976,  -0.0091398882, -0.010860157,  -0.012464086,
                              -0.013807772,  -0.014731191,   -0.015067057,   -0.014650894,  -0.013333425,  -0.01099166,
                              -0.0075431246, -0.0029527849,  0.0027546292,   0.0094932775,  0.017113308,   0.025403511,
                              0.034099681,   0.042895839,    0.051458575,    0.059444853,   0.066521003,   0.072381617,
                              0.076767694,   0.079481619,    0.080420311};

} // namespace

constinit const std::array<double, 2 * decimationTaps> decimationFilter = doubled(decimationHalf);
constinit const std::array<double, 2 * matchedTaps> frequencyFilter = doubled(frequencyHalf);
constinit const std::array<double, 2 * matchedTaps> bitFilter = doubled(bitHalf);

iqSample weightedSum(const double* taps, const double* i, const double* q, int count) {
  iqSample sum;
  for (int k = 0; k < count; k++) {
    sum.i += taps[k] * i[k];
    sum.q += taps[k] * q[k];
  }
  return sum;
}

} // namespace larch
