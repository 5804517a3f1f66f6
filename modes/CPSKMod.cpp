#include "modes/CPSKMod.h"
#include "modes/pskPi.h"
#include "modes/varicode.h"
#include "modes/viterbi.h"
#include <cmath>

namespace larch {
namespace {

constexpr double twoPi = 2 * pskPi;
constexpr int32_t speed63 = 8, speed125 = 16, modulationBits = 7, qpsk = 1, reversedQpsk = 2;
constexpr int32_t preambleLength = 32;
constexpr uint16_t topBit = 0x8000, encoderBits = 31;

double baudOf(int32_t mode) { return mode & speed125 ? 125.0 : mode & speed63 ? 62.5 : 31.25; }
bool shiftOut(uint16_t& reg) {
  const bool bit = reg & topBit;
  reg = static_cast<uint16_t>(reg << 1);
  return bit;
}

} // namespace

// By symbol and the phase before it: (I, Q) is (+, +), (-, +), (-, -), (+, -), nothing.
const CPSKMod::transition CPSKMod::transitions[symbols][states] = {
    {{ONE, ONE, plusPlus},
     {MINUS_ONE, ONE, minusPlus},
     {MINUS_ONE, MINUS_ONE, minusMinus},
     {ONE, MINUS_ONE, plusMinus},
     {ZERO, ZERO, silent}},
    {{COS, ONE, minusPlus},
     {MINUS_ONE, COS, minusMinus},
     {MINUS_COS, MINUS_ONE, plusMinus},
     {ONE, MINUS_COS, plusPlus},
     {RISE, RISE, plusPlus}},
    {{COS, COS, minusMinus},
     {MINUS_COS, COS, plusMinus},
     {MINUS_COS, MINUS_COS, plusPlus},
     {COS, MINUS_COS, minusPlus},
     {RISE, RISE, plusPlus}},
    {{ONE, COS, plusMinus},
     {MINUS_COS, ONE, plusPlus},
     {MINUS_ONE, MINUS_COS, minusPlus},
     {COS, MINUS_ONE, minusMinus},
     {RISE, RISE, plusPlus}},
    {{FALL_PLUS, FALL_PLUS, silent},
     {FALL_MINUS, FALL_PLUS, silent},
     {FALL_MINUS, FALL_MINUS, silent},
     {FALL_PLUS, FALL_MINUS, silent},
     {ZERO, ZERO, silent}},
    {{ONE, ONE, plusPlus},
     {MINUS_COS, ONE, plusPlus},
     {MINUS_COS, MINUS_COS, plusPlus},
     {ONE, MINUS_COS, plusPlus},
     {RISE, RISE, plusPlus}},
};

CPSKMod::CPSKMod(fetchFunction fetch, void* context) : fetch_(fetch), context_(context) {
  samplePeriod_ = 1.0 / sampleRate_;
  setFrequency(static_cast<int32_t>(frequency_));
  setMode(mode_);
}

void CPSKMod::setFrequency(int32_t hertz) {
  frequency_ = hertz;
  phaseIncrement_ = twoPi * frequency_ / sampleRate_;
}

void CPSKMod::setMode(int32_t mode) {
  mode_ = mode;
  symbolPeriod_ = 1.0 / baudOf(mode);
  buildShapes(static_cast<int32_t>(sampleRate_ / baudOf(mode)));
  preambleLeft_ = preambleLength;
  // a symbol of the old length would run on into the new one's
  symbolClock_ = 0;
  shapeIndex_ = 0;
  shiftRegister_ = shiftRegister2_ = 0;
  needZero_ = false;
  state_ = silent;
  iShape_ = qShape_ = tables_[ZERO].data();
}

void CPSKMod::buildShapes(int32_t symbolSamples) {
  for (int32_t i = 0; i < shapeLength; i++) {
    const double c = std::cos(i * twoPi / (2 * symbolSamples));
    const bool firstHalf = i < symbolSamples / 2;
    const double values[shapes] = {0, 1, -1, c, -c, firstHalf ? c : 0, firstHalf ? -c : 0, firstHalf ? 0 : -c};
    for (size_t s = 0; s < shapes; s++) tables_[s][static_cast<size_t>(i)] = values[s];
  }
}

void CPSKMod::modulate(std::complex<double>* out, uint64_t count) {
  for (uint64_t n = 0; n < count; n++) {
    carrierPhase_ += phaseIncrement_;
    const double a = amplitude_ * iShape_[shapeIndex_], b = amplitude_ * qShape_[shapeIndex_];
    shapeIndex_++;
    const double c = std::cos(carrierPhase_), s = std::sin(carrierPhase_);
    out[n] = {b * c + a * s, a * c - b * s};
    symbolClock_ += samplePeriod_;
    if (symbolClock_ >= symbolPeriod_) nextSymbol();
  }
}

void CPSKMod::nextSymbol() {
  symbolClock_ -= symbolPeriod_;
  shapeIndex_ = 0;
  carrierPhase_ = std::fmod(carrierPhase_, twoPi);
  const int32_t modulation = mode_ & modulationBits;
  const symbolCode symbol = modulation == qpsk || modulation == reversedQpsk ? qpskSymbol() : bpskSymbol();
  const transition& chosen = transitions[symbol][state_];
  iShape_ = tables_[chosen.i].data();
  qShape_ = tables_[chosen.q].data();
  state_ = chosen.next;
}

// A one keeps the phase, a zero reverses it; the second of the zeros behind a code is the symbol of the fetch.
CPSKMod::symbolCode CPSKMod::bpskSymbol() {
  if (shiftRegister_) {
    const bool bit = shiftOut(shiftRegister_);
    needZero_ = shiftRegister_ == 0;
    return bit ? keepPhase : reversal;
  }
  if (needZero_) {
    needZero_ = false;
    return reversal;
  }
  const int32_t c = fetchCharacter();
  if (c == carrier) return carrierOn;
  if (c == off) return switchOff;
  if (c >= 0) shiftRegister_ = varicodeTable[static_cast<uint8_t>(c)];
  return reversal;
}

CPSKMod::symbolCode CPSKMod::qpskSymbol() {
  auto symbol = static_cast<symbolCode>(convolutionTable[shiftRegister_ & encoderBits]);
  if ((mode_ & modulationBits) == reversedQpsk && symbol % 2) symbol = symbol == quarterTurn ? threeQuarterTurn : quarterTurn;
  shiftRegister_ = static_cast<uint16_t>(shiftRegister_ << 1);
  if (shiftRegister2_) {
    shiftRegister_ |= shiftOut(shiftRegister2_) ? 1 : 0;
    needZero_ = shiftRegister2_ == 0;
    return symbol;
  }
  if (needZero_) {
    needZero_ = false;
    return symbol;
  }
  const int32_t c = fetchCharacter();
  if (c >= 0) shiftRegister2_ = varicodeTable[static_cast<uint8_t>(c)];
  if (c == idle) shiftRegister2_ = 0;
  return c == carrier ? carrierOn : c == off ? switchOff : symbol;
}

int32_t CPSKMod::fetchCharacter() {
  if (preambleLeft_ == 0) return fetch_(context_);
  preambleLeft_--;
  return idle;
}

} // namespace larch
