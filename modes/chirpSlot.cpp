#include "modes/chirpSlot.h"
#include <cmath>

namespace larch {
namespace {

constexpr int32_t wordBits = golayBits, wordModulus = 1 << wordBits;
constexpr double keep = 0.5, take = 0.5; // share of the past and of the present in what is smoothed

} // namespace

void chirpWord::finish() {
  int32_t value = shiftRegister - static_cast<int32_t>(chirpOffset);
  if (value < 0) value += wordModulus;
  const uint32_t word = static_cast<uint32_t>(value) ^ chirpPattern, syndrome = golaySyndrome(word);
  syndromeState = static_cast<int32_t>(syndrome);
  decoded = static_cast<int32_t>((word ^ golayErrors(syndrome)) >> golayCheckBits);
  score = score * keep + golayWeight(syndrome) * take;
  bits = 0;
  shiftRegister = 0;
}

chirpSlot::chirpSlot() {
  for (int32_t k = 0; k < wordBits; k++) {
    words[k].phase = k;
    words[k].bits = k;
  }
}

const chirpWord& chirpSlot::add(double up, double down) {
  const double d = up - down;
  const int32_t bit = d > 0 ? 1 : 0;
  const chirpWord* complete = nullptr;
  for (chirpWord& word : words) {
    word.shiftRegister = word.shiftRegister * 2 + bit;
    if (++word.bits < wordBits) continue;
    word.finish();
    complete = &word;
  }
  difference = std::fabs(d);
  upLevel = upLevel * keep + up * take;
  downLevel = downLevel * keep + down * take;
  return *complete;
}

} // namespace larch
