#include "modes/pskAfc.h"
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace larch {
namespace {

constexpr double twoPi = 2 * std::numbers::pi;
constexpr double sampleRateF = pskSampleRate;
constexpr double reach = 50; // Hz
constexpr int32_t acquireBlocks = 10, acquireBlocksFast = 2;
constexpr double largestStep = 0.3; // of the discriminator's input
constexpr double steady = 0.3;      // below this an error moves the correction only

} // namespace

pskAfc::pskAfc() : nominalIncrement(twoPi * rxFrequency / sampleRateF), afcLimit(twoPi * reach / sampleRateF) { centreRange(); }

void pskAfc::centreRange() {
  afcHigh = nominalIncrement + afcLimit;
  afcLow = std::max(nominalIncrement - afcLimit, 0.0);
}

bool pskAfc::setRxFrequency(int32_t hertz) {
  if (hertz == rxFrequency) return false;
  rxFrequency = hertz;
  afcFiltered = discriminator = 0;
  nominalIncrement = twoPi * hertz / sampleRateF;
  acquireCount = fastAfc ? acquireBlocksFast : acquireBlocks;
  centreRange();
  return true;
}

void pskAfc::beginBlock() {
  if (acquireCount == 0) return;
  acquireCount--;
  afcAcquire = acquireCount >= 1;
  if (afcAcquire) return;
  acquireCount = 0;
  centreRange();
}

void pskAfc::step(iqSample out) {
  if (afcOn == 0) {
    discriminator = afcFiltered = freqError = 0;
    return;
  }
  const iqSample last = previousFreqOut[0], before = previousFreqOut[1];
  const double turn = (out.i - before.i) * last.q - (out.q - before.q) * last.i;
  previousFreqOut[1] = last;
  previousFreqOut[0] = out;
  const double error = std::clamp(turn, -largestStep, largestStep);
  if (fastAfc)
    followFast(error);
  else
    follow(error);
  limit();
}

void pskAfc::follow(double error) {
  discriminator = 0.995 * discriminator + 0.25 * error;
  if (afcAcquire) {
    if (std::abs(discriminator) > steady) nominalIncrement += discriminator * 3e-6;
    freqError = discriminator * 0.0004;
  } else {
    followPhase(1.5e-6, 0.001);
  }
}

void pskAfc::followFast(double error) {
  constexpr double farOff = 6.0;
  discriminator = 0.9966666666666667 * discriminator + 0.16666666666666666 * error;
  if (std::abs(discriminator) > farOff) {
    nominalIncrement += discriminator * 1.5e-5;
    freqError = discriminator * 0.002;
  } else {
    followPhase(3e-5, 0.008);
  }
}

// The error at symbol rate steers as long as both agree on the side.
void pskAfc::followPhase(double slow, double quick) {
  if (discriminator * afcFiltered > 0) {
    if (std::abs(afcFiltered) > steady) nominalIncrement += afcFiltered * slow;
    freqError = afcFiltered * quick;
  } else {
    freqError = 0;
  }
}

void pskAfc::limit() {
  if (increment() > afcHigh) {
    nominalIncrement = afcHigh;
    freqError = 0;
  } else if (afcLow > increment()) {
    nominalIncrement = afcLow;
    freqError = 0;
  }
}

void pskAfc::addPhaseError(double phaseError) { afcFiltered = (1 - 1 / afcSpeed) * afcFiltered + 5 / afcSpeed * phaseError; }

void pskAfc::endBlock() {
  constexpr double least = std::numeric_limits<int32_t>::min(), most = std::numeric_limits<int32_t>::max();
  rxFrequency = static_cast<int32_t>(std::clamp(increment() * sampleRateF / twoPi + 0.5, least, most));
}

} // namespace larch
