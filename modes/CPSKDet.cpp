#include "modes/CPSKDet.h"
#include <cmath>
#include <numbers>

namespace larch {
namespace {

constexpr double pi = std::numbers::pi, twoPi = 2 * pi;
constexpr int32_t speed63 = 8, speed125 = 16;
constexpr int32_t firstStride = 4, wholeStride = 16; // input samples to one sample of the first decimator, of the slowest
constexpr int32_t startPeak = 5;
constexpr int32_t clearedEnergies = 21; // steps of a reset; there are fewer energies
constexpr double idleAngle = 3 * pi / 2;
constexpr double leastDisplayed = 10.0, displaySize = 1000;
constexpr int32_t displayOrigin = 2;

} // namespace

void CPSKDet::setMode(int32_t mode) {
  rate63 = mode & speed63;
  rate125 = mode & speed125;
  detectMode = mode & ~(speed63 | speed125);
  clock.peakSlot = startPeak;
}

void CPSKDet::setRxFrequency(int32_t hertz) {
  if (afc.setRxFrequency(hertz)) quality.positiveRun = 0;
}

void CPSKDet::reset() {
  ring1.clear();
  ring2.clear();
  ring3.clear();
  trellis.survivors = {};
  clock.syncEnergy = {};
  for (int32_t k = 0; k < clearedEnergies; k++) viterbi(trellis, idleAngle);
  clock.clockCycles = clock.clockDrift = clock.clockError = 0;
  quality.reset();
}

int32_t CPSKDet::processBlock(const double* samples, int32_t count, char* out) {
  if (count <= 0) return 0;
  afc.beginBlock();
  int32_t decoded = 0;
  for (int32_t k = 0; k < count; k++) {
    mix(samples[k]);
    if (sampleIndex % firstStride == 0) {
      iqSample s;
      if (decimate(s)) {
        const uint8_t character = processDecimated(s);
        if (character && decoded < maxCharacters) out[decoded++] = static_cast<char>(character);
      }
      ring2.step();
    }
    ring1.step();
  }
  if (std::abs(ncoPhase) > twoPi)
    ncoPhase = std::fmod(ncoPhase, twoPi); // a frequency far outside turns faster than once a sample
  afc.endBlock();
  return decoded;
}

void CPSKDet::mix(double sample) {
  const double s = validSample(sample);
  ring1.put({s * std::cos(ncoPhase), s * std::sin(ncoPhase)});
  ncoPhase += afc.increment();
  if (ncoPhase > twoPi) ncoPhase -= twoPi;
  sampleIndex = (sampleIndex + 1) % wholeStride;
}

// At every fourth input sample; true when it makes one of the 16 samples per symbol.
bool CPSKDet::decimate(iqSample& out) {
  out = filtered(decimationFilter, ring1);
  ring2.put(out);
  if (rate125) return true;
  if (sampleIndex % stride() != 0) return false;
  out = filtered(decimationFilter, ring2);
  return true;
}

uint8_t CPSKDet::processDecimated(iqSample s) {
  ring3.put(s);
  freqFilterOut = filtered(frequencyFilter, ring3);
  bitFilterOut = filtered(bitFilter, ring3);
  ring3.step();
  return processFiltered(s);
}

uint8_t CPSKDet::processFiltered(iqSample decimated) {
  scaleByAgc();
  afc.step(freqFilterOut);
  const uint8_t character = clock.symbolSync(bitFilterOut, quality.squelchOpen) ? decodeSymbol(bitFilterOut) : uint8_t{0};
  if (quality.imdValid)
    imd.put(decimated);
  else
    imd.clear();
  return character;
}

void CPSKDet::scaleByAgc() {
  const double m = std::sqrt(freqFilterOut.i * freqFilterOut.i + freqFilterOut.q * freqFilterOut.q);
  agcLevel = m > agcLevel ? 0.995 * agcLevel + 0.005 * m : 0.998 * agcLevel + 0.002 * m;
  if (agcLevel < 1.0) return;
  const double scale = 1 / agcLevel;
  for (iqSample* out : {&freqFilterOut, &bitFilterOut}) {
    out->i *= scale;
    out->q *= scale;
  }
}

uint8_t CPSKDet::decodeSymbol(iqSample s) {
  const iqSample last = previousIQ[0];
  previousIQ[1] = last;
  previousIQ[0] = s;
  const iqSample turn = {s.i * last.i + s.q * last.q, s.q * last.i - s.i * last.q};
  display(turn);
  // required: the real part first, so that a reversal lies at pi / 2 and no change at 3 pi / 2
  const double angle = std::atan2(turn.i, detectMode == detectReversedQpsk ? -turn.q : turn.q) + pi;
  quality.calcQuality(angle, detectMode, agcLevel);
  afc.addPhaseError(quality.phaseError);
  const bool bit = detectMode == detectBpsk ? turn.i > 0 : viterbi(trellis, angle);
  const uint8_t character = reader.put(bit, varicodeTable);
  return quality.squelchOpen ? character : uint8_t{0};
}

void CPSKDet::display(iqSample turn) {
  const double v = std::sqrt(turn.i * turn.i + turn.q * turn.q) / displaySize;
  const bool shown = agcLevel > leastDisplayed && v > 0;
  const auto at = static_cast<size_t>(iqIndex);
  iqDisplay[at] = shown ? static_cast<int32_t>(turn.q / v) : displayOrigin;
  iqDisplay[at + 1] = shown ? static_cast<int32_t>(turn.i / v) : displayOrigin;
  iqIndex = (iqIndex + 2) % static_cast<int32_t>(iqDisplay.size());
}

} // namespace larch
