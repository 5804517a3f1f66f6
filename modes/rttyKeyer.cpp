#include "modes/rttyKeyer.h"
#include "modes/baudot.h"

namespace larch {

void rttyKeyer::produce(const cbuff& out) {
  for (uint64_t i = 0; i < out.count; i++) {
    if (--bitTimer_ < 1) beginBit();
    out.data[i] = tone_.next() * level;
  }
  tone_.normalise();
}

void rttyKeyer::beginBit() {
  if (--bitsLeft_ < 0) return beginCharacter();
  shiftRegister_ >>= 1;
  tone_.setAngle(shiftRegister_ & 1 ? markAngle : spaceAngle);
  bitTimer_ = bitsLeft_ == 0 || bitsLeft_ == baudotFrameBits ? stopLength : bitLength;
}

void rttyKeyer::beginCharacter() {
  char c = nextCharacter_().value_or(baudotLetters);
  if (c == 0) c = baudotLetters;
  const int32_t entry = baudotEntry(c);
  shiftRegister_ = entry >> baudotFlagBits;
  bitsLeft_ = baudotFrameBits - 1; // behind the start bit
  if (const bool isFigure = entry & baudotIsFigure; !(entry & baudotInBoth) && isFigure != figures_) {
    figures_ = isFigure;
    shiftRegister_ = shiftRegister_ << baudotFrameBits | baudotEntry(figures_ ? baudotFigures : baudotLetters) >> baudotFlagBits;
    bitsLeft_ += baudotFrameBits;
  }
  tone_.setAngle(spaceAngle);
  bitTimer_ = bitLength;
}

} // namespace larch
