// What the tests of the speech modes share: a microphone, a station with an equaliser.
#pragma once
#include "audio/Wireless.h"
#include "dsp/vectorOps.h"
#include "modes/modDemod.h"
#include "tests/modes/toneMeasuring.h"
#include "tests/runtime/testGroup.h"
#include <cmath>
#include <complex>
#include <vector>

namespace larch::test {

using cdouble = std::complex<double>;
constexpr double pi = 3.141592653589793;
constexpr double audioToComplex = 0.707; // of full scale, as the chain hands the microphone on

// The signals of amFmGolden.py.
inline cdouble received(int i) {
  const double n = i;
  return std::polar(0.3 + 0.25 * std::sin(0.05 * n), 2.1 * std::sin(0.013 * n) + 0.3 * n - 0.00002 * n * n);
}
inline double microphone(double n) {
  const double turn = 2 * pi / 48000 * n;
  return std::round((0.5 * std::sin(700 * turn) + 0.45 * std::sin(1930 * turn + 1)) * 4096) / 4096;
}

// Speaks tones into a mode's transmitter; the time runs on from call to call.
class speaker {
 public:
  template <class Audio> std::vector<cdouble> say(modDemod& mode, int blocks, Audio audio) {
    std::vector<cdouble> sent;
    const cbuff out(512, 0.0);
    for (int b = 0; b < blocks; b++) {
      buff<float> mic(512);
      for (int i = 0; i < 512; i++, at_++) mic.data[i] = static_cast<float>(audio(static_cast<double>(at_)));
      mode.modulate(complexFromAudio(mic), out);
      sent.insert(sent.end(), out.data, out.data + 512);
    }
    return sent;
  }
  std::vector<cdouble> sine(modDemod& mode, double f, double level, int blocks) {
    return say(mode, blocks, [=](double n) { return level * std::sin(2 * pi * f / 48000 * n); });
  }
  std::vector<cdouble> silence(modDemod& mode, int blocks) {
    return say(mode, blocks, [](double) { return 0.0; });
  }

 private:
  uint64_t at_ = 0;
};

// A station whose equaliser is flat.
inline std::shared_ptr<Wireless> flatStation(testGroup& env) {
  auto wireless = keptByCore(Wireless::create(env.group));
  wireless->Init();
  for (const auto& row : wireless->DefaultMicEQ.items) keptByCore(row);
  return wireless;
}

} // namespace larch::test
