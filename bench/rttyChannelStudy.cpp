// Error rate of radioteletype over channels, and what it makes of noise alone: rttyChannelStudy [seeds a point]. A line a value:
// RTTY, channel, SNR in 500 Hz, percent. bench/errorCurves turns them into tables and pictures.
#include "tests/modes/rttyChannel.h"
#include <cstdio>
#include <cstdlib>

using namespace larch::study;

namespace {

struct condition {
  const char* name;
  std::vector<double> snrs_dB;
  void (*set)(rttyChannel& c, double sign);
};
const std::vector<double> some{0, 2, 4, 6, 10, 20};
const condition conditions[] = {
    {"noise", {-4, -2, -1, 0, 1, 2, 3, 4, 6, 10}, [](rttyChannel&, double) {}},
    {"offset", some, [](rttyChannel& c, double sign) { c.offset_Hz = sign * 15; }},
    {"drift", some, [](rttyChannel& c, double sign) { c.drift_Hz_s = sign * 2; }},
    {"clock", some, [](rttyChannel& c, double sign) { c.clock_ppm = sign * 300; }},
    {"neighbour", some, [](rttyChannel& c, double sign) { c.neighbour_Hz = sign * 60; }},
    {"fading", {6, 10, 14, 18, 22, 26, 30}, [](rttyChannel& c, double) { c.fading = moderateFading; }},
};

} // namespace

int main(int argc, char** argv) {
  const auto seeds = static_cast<uint64_t>(std::max(argc > 1 ? std::atoi(argv[1]) : 16, 1));
  for (const condition& what : conditions)
    for (const double snr_dB : what.snrs_dB) {
      std::printf("RTTY %s %g %.3f\n", what.name, snr_dB, rttyErrors_percent(snr_dB, seeds, what.set));
      std::fflush(stdout);
    }
  std::printf("RTTY printable 0 %.1f\n", rttyPrintsOfNoise(seeds));
}
