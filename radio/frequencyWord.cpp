#include "radio/frequencyWord.h"
#include <cmath>

namespace larch {

uint32_t frequencyWord(int32_t frequency, double calibration, int32_t clockFrequency) {
  constexpr double exactIntegers = 9007199254740992.0; // 2^53
  const double rounded = std::round(frequency * calibration);
  const int64_t half = clockFrequency / 2;
  if (half <= 0 || !(std::fabs(rounded) < exactIntegers)) return 0;
  const auto word = static_cast<int64_t>(rounded);
  const int64_t zone = word / half, rest = word % half;
  return static_cast<uint32_t>(zone % 2 == 0 ? rest : half - rest);
}

bool inOddZone(int32_t frequency, int32_t clockFrequency) {
  const int32_t half = clockFrequency / 2;
  return half > 0 && frequency / half % 2 != 0;
}

} // namespace larch
