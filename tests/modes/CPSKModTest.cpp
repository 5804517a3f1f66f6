#include "modes/CPSKMod.h"
#include "modes/CPSKDet.h"
#include "tests/support/pskTestSender.h"
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

using namespace larch;
using namespace larch::testing_psk;

namespace {

using complexDouble = std::complex<double>;
const double pi = std::acos(-1.0);
constexpr double fullTurn = 2 * 3.1415927; // required: the sender's pi has eight digits

// Answers from a list, then with idle.
struct script {
  std::vector<int32_t> answers;
  size_t taken = 0;
  static int32_t next(void* self) {
    auto& s = *static_cast<script*>(self);
    return s.taken < s.answers.size() ? s.answers[s.taken++] : CPSKMod::idle;
  }
};

std::vector<complexDouble> modulated(CPSKMod& m, size_t count, size_t chunk = 512) {
  std::vector<complexDouble> out(count);
  for (size_t at = 0; at < count; at += chunk) m.modulate(out.data() + at, std::min(chunk, count - at));
  return out;
}

int samplesOfSymbol(int32_t mode) { return mode & 16 ? 384 : mode & 8 ? 768 : 1536; }

// The symbols that a script makes, by a model of its own: bits first, then quarter turns. 4: off, 5: carrier.
std::vector<int> symbolsOf(int32_t mode, const std::vector<int32_t>& answers) {
  std::vector<int> bits; // 0 and 1; 4 and 5 stand for a fetch that made such a symbol
  for (int k = 0; k < 32; k++) bits.push_back(0);
  for (const int32_t a : answers) {
    if (a >= 0) {
      bits.push_back(0);
      for (const char bit : varicodeBits(static_cast<uint8_t>(a))) bits.push_back(bit == '1');
      bits.push_back(0);
    } else {
      bits.push_back(a == -2 ? 5 : a == -1 ? 4 : 0);
    }
  }
  std::vector<int> symbols;
  uint32_t encoder = 0;
  for (const int bit : bits) {
    if ((mode & 7) == 0) {
      symbols.push_back(bit == 1 ? 0 : bit == 0 ? 2 : bit);
      continue;
    }
    constexpr int turnOf[2][2] = {{2, 3}, {0, 1}};
    int turn = turnOf[std::popcount(encoder & 0b11001u) % 2][std::popcount(encoder & 0b10111u) % 2];
    if ((mode & 7) == 2) turn = (4 - turn) % 4;
    symbols.push_back(bit > 1 ? bit : turn);
    encoder = encoder << 1 | (bit == 1);
  }
  return symbols;
}

// One axis on its way from v0 to v1, each -1, 0 or 1, at the sample n of a symbol with `length` samples.
double axis(double v0, double v1, int n, int length) {
  const double c = std::cos(n * fullTurn / (2 * length));
  const bool firstHalf = n < length / 2;
  if (v0 == v1) return v0;
  if (v1 == 0) return firstHalf ? v0 * c : 0;
  if (v0 == 0) return firstHalf ? 0 : -v1 * c;
  return v0 * c;
}

// What the symbols sound like, by a clock and a carrier that add up as the sender's do; each pair of a symbol and the phase
// before it goes to `met`: 0 to 3 a quadrant, 4 nothing.
std::vector<complexDouble> waveform(int32_t mode, double frequency, const std::vector<int>& symbols,
                                    std::set<std::pair<int, int>>& met) {
  const int length = samplesOfSymbol(mode);
  const double period = 1 / (48000.0 / length);
  constexpr double quadrants[5][2] = {{1, 1}, {-1, 1}, {-1, -1}, {1, -1}, {0, 0}};
  double clock = 0, phase = 0;
  int state = 4;
  std::vector<complexDouble> out;
  const auto symbol = [&](int next) {
    const auto &from = quadrants[state], &to = quadrants[next];
    for (int n = 0; clock < period; n++, clock += 1 / 48000.0) {
      phase += fullTurn * frequency / 48000;
      out.push_back(0.707 * complexDouble(axis(from[1], to[1], n, length), axis(from[0], to[0], n, length)) *
                    std::polar(1.0, -phase));
    }
    clock -= period;
    phase = std::fmod(phase, fullTurn);
    state = next;
  };
  symbol(4); // before the first fetch
  for (const int s : symbols) {
    met.insert({s, state});
    if (s == 4)
      symbol(4);
    else if (s == 5)
      symbol(0);
    else if (state == 4)
      symbol(s == 0 ? 4 : 0); // to keep the phase of nothing is nothing
    else
      symbol((state + s) % 4);
  }
  return out;
}

std::vector<int32_t> answersOf(const std::string& text) {
  std::vector<int32_t> answers;
  for (const char c : text) answers.push_back(static_cast<uint8_t>(c));
  return answers;
}

} // namespace

class CPSKModModeTest : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(allModes, CPSKModModeTest, testing::Values(0, 8, 16, 1, 9, 17, 2, 10, 18));

// Sample by sample: each symbol from each phase, off and carrier among them. BPSK has no quarter turns, and behind an off the
// next fetch, so that nothing is never kept.
TEST_P(CPSKModModeTest, sendsTheWaveformOfItsSymbols) {
  script s;
  std::mt19937 random(5);
  for (int k = 0; k < 150; k++) {
    const auto kind = random() % 8;
    s.answers.push_back(kind < 4 ? static_cast<int32_t>(random() % 256) : -1 - static_cast<int32_t>(random() % 3));
  }
  std::set<std::pair<int, int>> met;
  const auto expected = waveform(GetParam(), 1500, symbolsOf(GetParam(), s.answers), met);
  EXPECT_EQ(met.size(), GetParam() & 7 ? 30u : 11u);
  CPSKMod m(script::next, &s);
  m.setMode(GetParam());
  const auto out = modulated(m, expected.size());
  for (size_t n = 0; n < out.size(); n++) ASSERT_LT(std::abs(out[n] - expected[n]), 1e-9) << n;
  EXPECT_EQ(s.taken, s.answers.size());
}

TEST_P(CPSKModModeTest, aSymbolLastsItsTimeInTheLongRun) {
  script s;
  CPSKMod m(script::next, &s);
  m.setMode(GetParam());
  s.answers.assign(2000, CPSKMod::carrier);
  const size_t symbols = 1000;
  modulated(m, (32 + symbols) * static_cast<size_t>(samplesOfSymbol(GetParam())) + 8);
  EXPECT_EQ(s.taken, symbols);
}

TEST_P(CPSKModModeTest, theDetectorReadsIt) {
  const std::string message = "The quick brown fox 0123456789 \xC4\xD6\xDC";
  script s{std::vector<int32_t>(40, CPSKMod::idle)}; // the squelch takes longer than the preamble
  for (const int32_t a : answersOf(message)) s.answers.push_back(a);
  CPSKMod m(script::next, &s);
  m.setMode(GetParam());
  CPSKDet d;
  d.setMode(GetParam());
  d.varicodeTable = reverseVaricode();
  const auto out = modulated(m, static_cast<size_t>(samplesOfSymbol(GetParam())) * (message.size() * 12 + 160));
  std::vector<double> audio;
  for (size_t n = 0; n < out.size(); n += 6) audio.push_back(10000 * out[n].real());
  std::string text;
  char characters[CPSKDet::maxCharacters];
  for (size_t at = 0; at + 512 <= audio.size(); at += 512)
    text.append(characters, static_cast<size_t>(d.processBlock(audio.data() + at, 512, characters)));
  EXPECT_NE(text.find(message), std::string::npos) << text;
}

// A real signal at +f is made of +f and -f; the complex one turns backwards, since f stands for the centre less f.
TEST(CPSKModTest, turnsBackwardsAtItsFrequency) {
  for (const int32_t hertz : {1500, 300, -700}) {
    script s{std::vector<int32_t>(100, CPSKMod::carrier)};
    CPSKMod m(script::next, &s);
    m.setFrequency(hertz);
    m.setMode(16);
    const auto out = modulated(m, 40 * 384);
    for (size_t n = 38 * 384; n < 39 * 384; n++) {
      EXPECT_NEAR(std::arg(out[n] / out[n - 1]), -2 * pi * hertz / 48000, 1e-5); // the short pi shows at the end of a symbol
      EXPECT_NEAR(std::abs(out[n]), 0.707 * std::sqrt(2.0), 1e-9);
    }
  }
}

TEST(CPSKModTest, isSilentUntilTheFirstSymbolAndSendsThirtyTwoReversals) {
  script s;
  CPSKMod m(script::next, &s);
  m.setMode(16);
  const auto out = modulated(m, 384 * 40);
  for (size_t n = 0; n < 384; n++) ASSERT_EQ(std::abs(out[n]), 0) << n;
  s = {};
  s.answers.assign(100, CPSKMod::carrier);
  m.setMode(16);
  modulated(m, 384 * 32 + 100);
  EXPECT_EQ(s.taken, 0u);
  modulated(m, 384);
  EXPECT_EQ(s.taken, 1u);
}

TEST(CPSKModTest, phaseRunsOnWhenTheFrequencyChanges) {
  script s{std::vector<int32_t>(1000, CPSKMod::carrier)};
  CPSKMod m(script::next, &s);
  m.setMode(16);
  modulated(m, 384 * 40 + 17);
  complexDouble last = modulated(m, 1)[0];
  m.setFrequency(1501);
  EXPECT_EQ(m.frequency(), 1501);
  EXPECT_NEAR(std::arg(modulated(m, 1)[0] / last), -2 * pi * 1501 / 48000, 1e-6);
}

TEST(CPSKModTest, lengthOfTheChunksDoesntMatter) {
  const auto run = [](size_t chunk) {
    script s{answersOf("hello")};
    CPSKMod m(script::next, &s);
    return modulated(m, 100000, chunk);
  };
  const auto whole = run(100000);
  for (const size_t chunk : {1u, 7u, 126u, 513u}) EXPECT_EQ(run(chunk), whole) << chunk;
}

// Answers below idle are the characters of 128 and more that the queue hands out.
TEST(CPSKModTest, otherNegativeAnswersAreIdle) {
  script a{{'a', -100, 'b'}}, b{{'a', CPSKMod::idle, 'b'}};
  CPSKMod first(script::next, &a), second(script::next, &b);
  EXPECT_EQ(modulated(first, 100000), modulated(second, 100000));
}

TEST(CPSKModTest, enduresEveryModeAndFrequencyInTheMiddleOfASymbol) {
  script s;
  std::mt19937 random(9);
  for (int k = 0; k < 10000; k++) s.answers.push_back(static_cast<int32_t>(random() % 300) - 20);
  for (int32_t& a : s.answers) a = a > 255 ? 255 : a;
  CPSKMod m(script::next, &s);
  for (const int32_t mode : {0, 16, 8, 5, 7, 31, -1, INT_MIN, INT_MAX, 2, 0}) {
    m.setMode(mode);
    for (const int32_t hertz : {INT_MIN, INT_MAX, 0, 1500}) {
      m.setFrequency(hertz);
      for (const complexDouble& x : modulated(m, 10007)) ASSERT_LE(std::abs(x), 0.707 * std::sqrt(2.0) + 1e-9);
    }
  }
}
