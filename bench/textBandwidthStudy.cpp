// The bandwidth that PSK, radioteletype and Hellschreiber take: textBandwidthStudy. Two minutes of each.
#include "tests/modes/occupiedBandwidth.h"
#include <cstdio>

using namespace larch;
using namespace larch::test;

namespace {

constexpr size_t length = 120 * 48000;

void print(const std::string& name, const std::vector<std::complex<double>>& sent) {
  const bandwidths b = bandwidthsOf(sent);
  std::printf("| %s | %.0f Hz | %.0f Hz | %.0f Hz |\n", name.c_str(), b.ninetyNine, b.at26, b.at40);
  std::fflush(stdout);
}

} // namespace

int main() {
  std::printf("| | 99 %% of the power | -26 dB | -40 dB |\n|---|---|---|---|\n");
  const std::pair<int32_t, const char*> modes[] = {{0, "PSK31"},  {8, "PSK63"},  {16, "PSK125"},
                                                   {1, "QPSK31"}, {9, "QPSK63"}, {17, "QPSK125"}};
  for (const auto& [mode, name] : modes) {
    print(std::string(name) + ", text", sentPsk(mode, keying::text, length));
    print("idle", sentPsk(mode, keying::idle, length));
    if (!(mode & 1)) print("carrier, on and off each eight symbols", sentPsk(mode, keying::onAndOff, length));
  }
  print("RTTY, text", sentBy<rttyKeyer>(true, length));
  print("idle", sentBy<rttyKeyer>(false, length));
  for (const double step : {30.0, 15.0, 60.0})
    print("Hellschreiber, step " + std::to_string(static_cast<int>(step)) + " Hz", sentBy<hellPainter>(true, length, step));
}
