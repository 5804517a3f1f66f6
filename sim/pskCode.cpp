#include "sim/pskCode.h"
#include <bit>
#include "sim/varicode.h"

namespace larch::sim {

std::string varicodeBits(std::string_view text) {
  std::string bits;
  for (const char c : text)
    if (const char* code = varicode(c)) bits.append(code).append("00");
  return bits;
}

std::vector<int> bpskTurns(std::string_view bits) {
  std::vector<int> turns;
  for (const char b : bits) turns.push_back(b == '1' ? 0 : 2);
  return turns;
}

std::vector<int> qpskTurns(std::string_view bits) {
  constexpr unsigned first = 0x19, second = 0x17, states = 32;
  constexpr int turnOfPair[4] = {2, 3, 0, 1}; // by 2 * parity of the first + that of the second: idle zeros reverse
  std::vector<int> turns;
  unsigned state = 0;
  for (const char b : bits) {
    state = (state << 1 | (b == '1' ? 1U : 0U)) % states;
    turns.push_back(turnOfPair[2 * (std::popcount(state & first) % 2) + std::popcount(state & second) % 2]);
  }
  return turns;
}

} // namespace larch::sim
