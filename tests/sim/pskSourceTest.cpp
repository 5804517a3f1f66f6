#include "sim/pskSource.h"
#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <gtest/gtest.h>
#include "sim/pskCode.h"
#include "sim/sceneReceiver.h"
#include "sim/varicode.h"
#include "tests/sim/simHost.h"

using namespace larch::sim;
using larch::simtest::dB;
using larch::simtest::dftAt;
using larch::simtest::samples;

namespace {
constexpr double rate_Hz = 8000;

// The samples of a receiver at 7.04 MHz, turned back so that positive frequencies lie above it.
samples heard(const pskSource::sending& what, double offset_Hz, double seconds, double start_s = 0) {
  auto scene = std::make_shared<bandScene>();
  scene->add(std::make_shared<pskSource>(7040000 + offset_Hz, -20, what));
  sceneReceiver receiver(scene, 1);
  receiver.tune({7040000, rate_Hz, 76800000});
  samples z(static_cast<size_t>(seconds * rate_Hz));
  receiver.render(start_s, 1, z.data(), z.size());
  for (auto& v : z) v = std::conj(v) * 10.0;
  return z;
}

// Samples at the symbol boundaries, where the phase stands still.
samples symbols(const samples& z, double offset_Hz, double baud, double first_s = 0) {
  samples s;
  for (size_t k = 0;; ++k) {
    const double t = first_s + static_cast<double>(k) / baud;
    const auto n = static_cast<size_t>(std::lround(t * rate_Hz));
    if (n >= z.size()) return s;
    s.push_back(z[n] * std::polar(1.0, -2 * M_PI * std::fmod(offset_Hz * static_cast<double>(n) / rate_Hz, 1.0)));
  }
}

// Quarter turns between symbols that are on.
std::vector<int> turnsOf(const samples& s) {
  std::vector<int> turns;
  for (size_t k = 1; k < s.size(); ++k)
    if (std::abs(s[k]) > 0.5 && std::abs(s[k - 1]) > 0.5)
      turns.push_back(static_cast<int>(std::lround(std::arg(s[k] / s[k - 1]) / (M_PI / 2)) + 4) % 4);
  return turns;
}

std::string textOf(const std::string& bits) {
  std::map<std::string, char> characters;
  for (int c = 0; c < 128; ++c) characters[varicode(static_cast<char>(c))] = static_cast<char>(c);
  std::string text, code;
  for (const char b : bits) {
    code += b;
    if (code.size() < 2 || code.compare(code.size() - 2, 2, "00") != 0) continue;
    code.resize(code.size() - 2);
    if (characters.count(code) != 0) text += characters[code];
    code.clear();
  }
  return text;
}

std::string bpskBits(const std::vector<int>& turns) {
  std::string bits;
  for (const int t : turns) bits += t == 0 ? '1' : '0';
  return bits;
}

// The published table: quarter turns by the latest five bits, the latest one lowest.
constexpr int qpskTable[32] = {2, 1, 3, 0, 3, 0, 2, 1, 0, 3, 1, 2, 1, 2, 0, 3, 1, 2, 0, 3, 0, 3, 1, 2, 3, 0, 2, 1, 2, 1, 3, 0};

// Viterbi's search over 16 states with the whole path of each.
std::string viterbi(const std::vector<int>& turns) {
  constexpr unsigned states = 16;
  std::vector<int> cost(states, 1000000);
  std::vector<std::string> path(states);
  cost[0] = 0;
  for (const int turn : turns) {
    std::vector<int> nextCost(states, 1 << 30);
    std::vector<std::string> nextPath(states);
    for (unsigned s = 0; s < states; ++s)
      for (unsigned bit = 0; bit < 2; ++bit) {
        const unsigned five = s << 1 | bit, to = five % states;
        const int apart = std::abs(qpskTable[five] - turn), total = cost[s] + std::min(apart, 4 - apart);
        if (total >= nextCost[to]) continue;
        nextCost[to] = total;
        nextPath[to] = path[s] + (bit == 1 ? '1' : '0');
      }
    cost = nextCost;
    path = nextPath;
  }
  return path[static_cast<size_t>(std::min_element(cost.begin(), cost.end()) - cost.begin())];
}
} // namespace

TEST(varicodeTest, hasTheShortestCodesWithoutTwoZeros) {
  std::set<std::string> seen;
  std::map<size_t, int> lengths;
  unsigned checksum = 0;
  for (int c = 0; c < 128; ++c) {
    const std::string code = varicode(static_cast<char>(c));
    EXPECT_TRUE(seen.insert(code).second) << c;
    EXPECT_EQ(code.find("00"), std::string::npos) << c;
    EXPECT_EQ(code.front(), '1') << c;
    EXPECT_EQ(code.back(), '1') << c;
    ++lengths[code.size()];
    checksum += static_cast<unsigned>(c + 1) * static_cast<unsigned>(std::stoul(code, nullptr, 2));
  }
  // all that there are up to nine bits (Fibonacci's numbers), and 40 of the 55 of ten
  const std::map<size_t, int> wanted = {{1, 1}, {2, 1}, {3, 2}, {4, 3}, {5, 5}, {6, 8}, {7, 13}, {8, 21}, {9, 34}, {10, 40}};
  EXPECT_EQ(lengths, wanted);
  EXPECT_EQ(checksum, 2673782U);
  EXPECT_STREQ(varicode(' '), "1");
  EXPECT_STREQ(varicode('e'), "11");
  EXPECT_STREQ(varicode('t'), "101");
  EXPECT_STREQ(varicode('Z'), "1010101101");
  EXPECT_EQ(varicode('\x80'), nullptr);
}

TEST(pskCodeTest, sendsCharactersWithTwoZeros) {
  EXPECT_EQ(varicodeBits("te a"), "10100"
                                  "1100"
                                  "100"
                                  "101100");
  EXPECT_EQ(varicodeBits("e\xE4"
                         "e"),
            "11001100");
  EXPECT_EQ(bpskTurns("1001"), (std::vector<int>{0, 2, 2, 0}));
}

TEST(pskCodeTest, theConvolutionalCodeFollowsThePublishedTable) {
  EXPECT_EQ(qpskTurns("0000"), (std::vector<int>{2, 2, 2, 2}));
  EXPECT_EQ(qpskTurns("100000"), (std::vector<int>{1, 3, 3, 0, 1, 2}));
  for (unsigned five = 0; five < 32; ++five) {
    std::string bits;
    for (int b = 4; b >= 0; --b) bits += (five >> b & 1) != 0 ? '1' : '0';
    EXPECT_EQ(qpskTurns(bits).back(), qpskTable[five]) << five;
  }
}

TEST(pskSourceTest, aReversalIsHalfACosine) {
  const auto z = heard({"e", 31.25, false, 0, 1}, 0, 1);
  const double t = 1 / 31.25;
  for (size_t n = 0; n < z.size(); ++n) {
    const double time = static_cast<double>(n) / rate_Hz, wanted = time < t ? 0.5 - 0.5 * std::cos(M_PI * time / t) // it rises
                                                                            : -std::cos(M_PI * time / t);           // idle
    ASSERT_NEAR(z[n].real(), wanted, 1e-9) << n;
    ASSERT_NEAR(z[n].imag(), 0, 1e-9) << n;
  }
}

TEST(pskSourceTest, idleHasTwoTonesAtItsExactLevel) {
  const auto z = heard({"e", 62.5, false, 0, 1}, 500, 0.4, 0.032); // 25 symbols of reversals
  EXPECT_NEAR(dB(dftAt(z, 500 + 31.25, rate_Hz)), -6.02, 0.05);
  EXPECT_NEAR(dB(dftAt(z, 500 - 31.25, rate_Hz)), -6.02, 0.05);
  EXPECT_LT(dB(dftAt(z, 500, rate_Hz)), -60);
}

TEST(pskSourceTest, theTailIsASteadyCarrierAndThenNothing) {
  const pskSource source(7e6, 0, {"e", 31.25, false, 0, 2});
  // rise, 32 idle, 4 bits of text; the tail begins after symbol 37
  const double tail = 37 * source.symbol_s();
  EXPECT_NEAR(source.period_s(), 70 * 0.032 + 2, 1e-9);
  std::complex<double> v[8];
  EXPECT_EQ(source.envelope({tail + 0.01, 1e-3, 8}, {}, v), envelopeShape::constant);
  EXPECT_EQ(v[0], 1.0);
  EXPECT_EQ(source.envelope({70 * 0.032 + 0.01, 1e-3, 8}, {}, v), envelopeShape::silent);
  EXPECT_EQ(source.envelope({-0.5, 1e-3, 8}, {}, v), envelopeShape::silent);
  ASSERT_EQ(source.envelope({source.period_s() * 1000 + tail - 0.048, 1e-6, 1}, {}, v), envelopeShape::varying);
  EXPECT_NEAR(std::abs(v[0]), 0, 1e-6); // a reversal's middle, a thousand transmissions later
}

TEST(pskSourceTest, twoPhasesAreReadAtEachRate) {
  for (const char* mode : {"bpsk31", "bpsk63", "bpsk125"}) {
    pskSource::sending what{"CQ de Q1ABC, 599 ~{}", 31.25, false, 0.2, 1};
    ASSERT_TRUE(parsePskMode(mode, what));
    const auto z = heard(what, 1000, 250 / what.baud + 1);
    const auto turns = turnsOf(symbols(z, 1000, what.baud, 0.2));
    EXPECT_EQ(textOf(bpskBits(turns)), what.text) << mode;
  }
}

TEST(pskSourceTest, fourPhasesAreReadAtEachRate) {
  for (const char* mode : {"qpsk31", "qpsk63", "qpsk125"}) {
    pskSource::sending what{"CQ de Q1ABC, 599 ~{}", 31.25, false, 0, 1};
    ASSERT_TRUE(parsePskMode(mode, what));
    auto turns = turnsOf(symbols(heard(what, -700, 350 / what.baud + 0.1), -700, what.baud));
    turns[60] = (turns[60] + 1) % 4; // and a symbol is disturbed
    EXPECT_EQ(textOf(viterbi(turns)).substr(0, what.text.size()), what.text) << mode;
  }
}

TEST(pskSourceTest, theSendersClockMayBeOff) {
  const pskSource::sending what{"the quick brown fox jumps over the lazy dog", 62.5, false, 0, 1, 5000};
  const pskSource source(7e6, 0, what);
  EXPECT_NEAR(source.symbol_s(), 0.016 / 1.005, 1e-12);
  const auto z = heard(what, 0, 6.5);
  EXPECT_EQ(textOf(bpskBits(turnsOf(symbols(z, 0, 62.5 * 1.005)))), what.text);
  EXPECT_NE(textOf(bpskBits(turnsOf(symbols(z, 0, 62.5)))), what.text); // after 400 symbols two too many
}

TEST(pskSourceTest, theCarrierDriftsFromItsFrequency) {
  const pskSource::sending what{"e", 125, false, 0, 1, 0, 50};
  const auto z = heard(what, 0, 0.52);
  for (size_t n = 64 * 38; n < 64 * 65; n += 100) { // within the tail: e^(j pi 50 t^2)
    const double t = static_cast<double>(n) / rate_Hz;
    EXPECT_LT(std::abs(z[n] - std::polar(1.0, M_PI * 50 * t * t) * (z[64 * 38] / std::polar(1.0, M_PI * 50 * 0.304 * 0.304))),
              1e-9)
        << n;
  }
  const pskSource source(7e6, 0, what);
  EXPECT_NEAR(source.occupied().high_Hz, 500 + 50 * 70 / 125.0, 1e-9);
  EXPECT_EQ(source.occupied().low_Hz, -500);
}

TEST(pskSourceTest, aBlockSaysWhatItsSamplesSay) {
  for (const double drift : {0.0, -3.0}) {
    const pskSource source(7e6, 0, {"et", 125, true, 0.05, 0.1, 100, drift});
    for (const size_t count : {1u, 7u, 63u, 512u}) {
      samples block(count);
      for (size_t start = 0; start < 60000; start += count) {
        const envelopeShape shape = source.envelope({static_cast<double>(start) / 48000, 1 / 48000.0, count}, {}, block.data());
        for (size_t n = 0; n < count; n += 13) {
          std::complex<double> one;
          if (source.envelope({static_cast<double>(start + n) / 48000, 1e-9, 1}, {}, &one) == envelopeShape::silent) one = 0;
          const auto got = shape == envelopeShape::silent ? 0.0 : block[shape == envelopeShape::constant ? 0 : n];
          ASSERT_LT(std::abs(got - one), 1e-7) << start + n;
        }
      }
    }
  }
}

TEST(pskSourceTest, knowsItsModes) {
  pskSource::sending what;
  EXPECT_TRUE(parsePskMode("qpsk125", what));
  EXPECT_TRUE(what.fourPhases);
  EXPECT_EQ(what.baud, 125);
  for (const char* no : {"", "psk31", "bpsk32", "xpsk31", "bpsk", "bpsk1250"}) EXPECT_FALSE(parsePskMode(no, what)) << no;
}
