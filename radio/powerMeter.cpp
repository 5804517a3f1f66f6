#include "radio/powerMeter.h"
#include <algorithm>
#include <cmath>

namespace larch {
namespace {

constexpr double reference_V = 3.26, steps = 4096;
constexpr float floor_ = 1e-38f; // a denormal float
constexpr int temperatureInput = 4, currentInput = 2;

} // namespace

powerReading readPower(const analogueInputs& ain, const asyncCollection<calibLine>::list& calibration) {
  powerReading p;
  p.forward = static_cast<float>(calibrate(calibration, std::max(ain[0], ain[1])));
  p.reverse = static_cast<float>(calibrate(calibration, std::min(ain[0], ain[1])));
  const float rho = std::sqrt(p.reverse / std::max(p.forward, floor_));
  p.swr = (1 + rho) / std::max(1 - rho, floor_);
  return p;
}

double readTemperature(const analogueInputs& ain) { return (ain[temperatureInput] / steps * reference_V - 0.5) / 0.01; }

double readCurrent(const analogueInputs& ain) { return ain[currentInput] / steps * reference_V / 50 / 0.04 * 1000 * 1270 / 1000; }

} // namespace larch
