#include "modes/pskSignalQuality.h"
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace larch {
namespace {

constexpr double pi = std::numbers::pi;
constexpr double startLevel = 90.0;
constexpr int32_t startQuality = 10;
constexpr double bpskScale = 150.0, qpskScale = 280.0;           // from radians to squelch level
constexpr double largestBpskError = 1.0, largestQpskError = 0.6; // radians that the AFC is given
constexpr int32_t longRun = 21;
constexpr double idleLevel = 25.0, carrierLevel = 100.0;
constexpr int32_t idleRun = 2;     // reversals; more make the signal fit for measuring intermodulation
constexpr int32_t steadySigns = 5; // errors of one sign that move the AFC
constexpr double leastAmplitude = 10.0;

enum class side { reversal, none, between };

side sideOf(double angle, bool bpsk) {
  const double reach = bpsk ? pi / 2 : pi / 4;
  if (angle >= pi / 2 - reach && angle <= pi / 2 + reach) return side::reversal;
  if (angle >= 3 * pi / 2 - reach && angle <= 3 * pi / 2 + reach) return side::none;
  return side::between;
}

} // namespace

void pskSignalQuality::calcQuality(double angle, int32_t detectMode, double agcLevel) {
  const bool bpsk = detectMode == detectBpsk;
  const side seen = sideOf(angle, bpsk);
  if (seen != side::between) {
    const double e = angle - (seen == side::reversal ? pi / 2 : 3 * pi / 2);
    phaseError = detectMode == detectReversedQpsk ? -e : e;
    average(phaseError, bpsk ? bpskScale : qpskScale);
    if (seen == side::reversal) {
      if (goodCount < longRun)
        goodCount++;
      else
        squelchLevel = idleLevel;
      badCount = 0;
    } else {
      if (badCount < longRun)
        badCount++;
      else if (bpsk)
        squelchLevel = carrierLevel;
      goodCount = 0;
    }
    countSigns(phaseError);
  }
  imdValid = goodCount > idleRun;
  quality = agcLevel > leastAmplitude ? 100 - static_cast<int32_t>(squelchLevel) : 0;
  squelchOpen = agcLevel > leastAmplitude && quality >= squelchThreshold;
  const double largest = bpsk ? largestBpskError : largestQpskError;
  phaseError = std::clamp(phaseError, -largest, largest);
}

// Rises half as fast as it falls.
void pskSignalQuality::average(double error, double scale) {
  const double w = std::abs(error) * scale;
  const double length = squelchLevel > w ? squelchSpeed : 2.0 * squelchSpeed;
  squelchLevel = (1 - 1 / length) * squelchLevel + w / length;
}

void pskSignalQuality::countSigns(double error) {
  int32_t& run = error >= 0 ? positiveRun : negativeRun;
  (error >= 0 ? negativeRun : positiveRun) = 0;
  if (run < std::numeric_limits<int32_t>::max()) run++; // silence goes on for years
  if (run < steadySigns) phaseError = 0;
}

void pskSignalQuality::reset() {
  squelchLevel = startLevel;
  quality = startQuality;
}

} // namespace larch
