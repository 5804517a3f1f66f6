#include "modes/pskBank.h"
#include "tests/dsp/kernelTesting.h"
#include "tests/support/pskTestSender.h"
#include <climits>
#include <numbers>

using namespace larch;
using namespace larch::testing_psk;

namespace {

constexpr int32_t allModes[] = {0, 8, 16, 1, 9, 17};
constexpr int32_t block = 512;

// Detectors of all modes across the band; some stand on signals.
std::vector<CPSKDet> detectorsOf(size_t count) {
  std::vector<CPSKDet> all(count);
  for (size_t i = 0; i < count; i++) {
    all[i].setMode(allModes[i % 6]);
    all[i].varicodeTable = reverseVaricode();
    all[i].setRxFrequency(i < 12 ? 1500 : 100 + 37 * static_cast<int32_t>(i));
    all[i].reset();
  }
  return all;
}

// A text in each mode one after another at the same frequency, in noise.
std::vector<double> band(const std::string& text = "hello from me", int idle = 70) {
  std::vector<double> sound;
  for (const int32_t mode : allModes) {
    pskSignal s;
    s.mode = mode;
    s.frequency = 1502;
    s.drift = 0.2;
    s.noise = 2000;
    s.seed = 5;
    const auto part = samplesOf(s, turnsOf(s, text, idle));
    sound.insert(sound.end(), part.begin(), part.end());
  }
  sound.resize(sound.size() / block * block);
  return sound;
}

struct bank {
  std::vector<CPSKDet> detectors;
  std::vector<std::string> texts;
  explicit bank(size_t count) : detectors(detectorsOf(count)), texts(count) {}

  void runPlain(const double* samples, int32_t count) {
    for (size_t i = 0; i < detectors.size(); i++) {
      char out[CPSKDet::maxCharacters];
      texts[i].append(out, static_cast<size_t>(detectors[i].processBlock(samples, count, out)));
    }
  }
  void runTogether(const double* samples, int32_t count, cpuVariant variant) {
    std::vector<CPSKDet*> pointers;
    for (CPSKDet& d : detectors) pointers.push_back(&d);
    std::vector<pskText> out(detectors.size());
    processDetectors(pointers, samples, count, out, variant);
    for (size_t i = 0; i < out.size(); i++) texts[i].append(out[i].characters, static_cast<size_t>(out[i].count));
  }
};

// Everything that a decoder has decided or counted. What QPSK makes of noise or of another mode's signal is left out: see
// everySymbolIsDecodedTheSame.
auto decisions(const CPSKDet& d, bool ownSignal) {
  const pskSymbolClock& c = d.clock;
  const pskSignalQuality& q = d.quality;
  const bool readToo = ownSignal || d.detectMode == detectBpsk;
  return std::array<int64_t, 15>{c.slotIndex,
                                 c.bestSlot,
                                 c.peakSlot,
                                 c.previousBest,
                                 c.clockCycles,
                                 c.clockDrift,
                                 c.clockError,
                                 q.goodCount,
                                 q.badCount,
                                 q.imdValid,
                                 q.squelchOpen,
                                 d.imd.count,
                                 readToo ? d.reader.varicodeShift : 0,
                                 readToo && d.reader.lastBitZero,
                                 readToo ? d.trellis.random : 0};
}

void expectSameDecisions(const bank& a, const bank& b, size_t at, size_t count = SIZE_MAX, bool ownSignal = false) {
  for (size_t i = 0; i < std::min(count, a.detectors.size()); i++) {
    const CPSKDet &x = a.detectors[i], &y = b.detectors[i];
    ASSERT_EQ(decisions(x, ownSignal), decisions(y, ownSignal)) << "detector " << i << ", block or sample " << at;
    for (size_t n = 0; n < 2; n++) {
      ASSERT_NEAR(x.previousIQ[n].i, y.previousIQ[n].i, 1e-6) << "detector " << i << ", block or sample " << at;
      ASSERT_NEAR(x.previousIQ[n].q, y.previousIQ[n].q, 1e-6) << "detector " << i << ", block or sample " << at;
    }
    for (size_t s = 0; s < viterbiStates; s++)
      ASSERT_NEAR(x.trellis.survivors[s].distance, y.trellis.survivors[s].distance, 1e-5)
          << "detector " << i << ", block or sample " << at << ", state " << s;
  }
}

void expectAlike(const bank& a, const bank& b) {
  for (size_t i = 0; i < a.detectors.size(); i++) {
    const CPSKDet &x = a.detectors[i], &y = b.detectors[i];
    EXPECT_EQ(x.afc.rxFrequency, y.afc.rxFrequency) << i;
    EXPECT_NEAR(x.afc.increment(), y.afc.increment(), 1e-7) << i;
    EXPECT_NEAR(std::cos(x.ncoPhase - y.ncoPhase), 1, 1e-7) << i;
    EXPECT_NEAR(x.agcLevel, y.agcLevel, 1e-6 * x.agcLevel) << i;
    EXPECT_NEAR(x.quality.squelchLevel, y.quality.squelchLevel, 1e-3) << i;
    EXPECT_EQ(x.sampleIndex, y.sampleIndex) << i;
    EXPECT_EQ(x.afc.acquireCount, y.afc.acquireCount) << i;
    if (x.detectMode == detectBpsk) {
      EXPECT_EQ(a.texts[i], b.texts[i]) << i;
    }
  }
}

// Where two paths of the four-phase decoder are equally long, the last digits of their sums choose. Noise makes such paths now
// and then: outside of the angles between two phases the distances to them differ by a quarter of a turn whatever the angle is.
struct equalPaths {
  std::array<bool, viterbiStates> into{};
  bool decide = false; // the bit that comes out
};

double distance(double angle, int phase) {
  constexpr double pi = std::numbers::pi, at[] = {3 * pi / 2, 0, pi / 2, pi};
  return phase == 1 ? std::min(angle, 2 * pi - angle) : std::abs(angle - at[phase]);
}

equalPaths equalPathsOf(const viterbiState& before, double angle) {
  equalPaths equal;
  for (size_t s = 0; s < viterbiStates; s++) {
    const size_t other = s + viterbiStates;
    const viterbiSurvivor &a = before.survivors[s / 2], &b = before.survivors[other / 2];
    const double longer =
        a.distance + distance(angle, convolutionTable[s]) - b.distance - distance(angle, convolutionTable[other]);
    equal.into[s] = std::abs(longer) < 1e-6;
    if (equal.into[s] && ((a.bits ^ b.bits) >> (viterbiDelay - 1) & 1)) equal.decide = true;
  }
  return equal;
}

// The last symbol, before which both decoders were alike; whether there were no equal paths to decide it.
bool expectSameDecoding(const CPSKDet& x, const CPSKDet& y, const viterbiState& before) {
  const iqSample now = x.previousIQ[0], last = x.previousIQ[1];
  const double angle = std::atan2(now.i * last.i + now.q * last.q, now.q * last.i - now.i * last.q) + std::numbers::pi;
  const equalPaths equal = x.detectMode == detectBpsk ? equalPaths() : equalPathsOf(before, angle);
  for (size_t s = 0; s < viterbiStates; s++) {
    if (equal.into[s]) continue;
    EXPECT_EQ(x.trellis.survivors[s].bits, y.trellis.survivors[s].bits) << "state " << s;
  }
  if (equal.decide) return false;
  EXPECT_EQ(x.trellis.random, y.trellis.random);
  EXPECT_EQ(x.reader.varicodeShift, y.reader.varicodeShift);
  EXPECT_EQ(x.reader.lastBitZero, y.reader.lastBitZero);
  return true;
}

class pskBankTest : public larch::testing::variantTest {};
INSTANTIATE_TEST_SUITE_P(variants, pskBankTest, larch::testing::allVariants(), larch::testing::variantTestName);

} // namespace

TEST_P(pskBankTest, equalsTheDetectorsOneByOne) {
  const auto sound = band();
  bank plain(24), together(24);
  for (size_t at = 0; at < sound.size(); at += block) {
    plain.runPlain(sound.data() + at, block);
    together.runTogether(sound.data() + at, block, GetParam());
    ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, at / block));
  }
  expectAlike(plain, together);
  for (size_t i = 0; i < 6; i++) EXPECT_NE(together.texts[i].find("hello from me"), std::string::npos) << i;
}

// In so short blocks that none holds two symbols, each of them with the same decoder before it.
TEST_P(pskBankTest, everySymbolIsDecodedTheSame) {
  constexpr int32_t shortest = 16;
  const auto sound = band("hi", 40);
  bank plain(6), together(6);
  size_t decoded = 0, undecided = 0;
  for (size_t at = 0; at < sound.size() && !HasFailure(); at += shortest) {
    std::array<viterbiState, 6> before;
    std::array<int32_t, 6> symbol;
    for (size_t i = 0; i < 6; i++) {
      before[i] = together.detectors[i].trellis = plain.detectors[i].trellis;
      together.detectors[i].reader = plain.detectors[i].reader;
      together.texts[i] = plain.texts[i];
      symbol[i] = plain.detectors[i].iqIndex;
    }
    plain.runPlain(sound.data() + at, shortest);
    together.runTogether(sound.data() + at, shortest, GetParam());
    ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, at));
    for (size_t i = 0; i < 6; i++) {
      const CPSKDet &x = plain.detectors[i], &y = together.detectors[i];
      if (x.iqIndex == symbol[i]) continue;
      ASSERT_EQ(x.iqIndex, (symbol[i] + 2) % static_cast<int32_t>(x.iqDisplay.size())) << "one symbol";
      const bool sure = expectSameDecoding(x, y, before[i]);
      if (sure) {
        EXPECT_EQ(plain.texts[i], together.texts[i]) << "detector " << i << ", sample " << at;
      }
      decoded++;
      undecided += !sure;
    }
  }
  EXPECT_GT(decoded, 2000U);
  EXPECT_LT(undecided, decoded / 10);
  for (size_t i = 0; i < 6; i++) EXPECT_NE(plain.texts[i].find("hi"), std::string::npos) << i;
}

TEST_P(pskBankTest, everyDecisionOnOwnSignalsIsTheSame) {
  for (const int32_t mode : allModes) {
    pskSignal s;
    s.mode = mode;
    s.noise = 1000;
    auto sound = samplesOf(s, turnsOf(s, "hello from me"));
    sound.resize(sound.size() / block * block);
    bank plain(5), together(5);
    for (bank* b : {&plain, &together})
      for (size_t i = 0; i < 5; i++) {
        b->detectors[i].setMode(mode);
        b->detectors[i].setRxFrequency(1496 + 2 * static_cast<int32_t>(i));
        b->detectors[i].reset();
      }
    for (size_t at = 0; at < sound.size(); at += block) {
      plain.runPlain(sound.data() + at, block);
      together.runTogether(sound.data() + at, block, GetParam());
      ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, at / block, SIZE_MAX, true)) << "mode " << mode;
    }
    EXPECT_NE(together.texts[2].find("hello from me"), std::string::npos) << mode;
  }
}

TEST_P(pskBankTest, anyNumberOfDetectorsIsServed) {
  const auto sound = band();
  for (const size_t count : {0u, 1u, 7u, 49u}) {
    bank plain(count), together(count);
    for (size_t at = 0; at < 20 * block; at += block) {
      plain.runPlain(sound.data() + at, block);
      together.runTogether(sound.data() + at, block, GetParam());
      ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, at / block));
    }
    expectAlike(plain, together);
  }
}

// The rings' positions differ from lane to lane then.
TEST_P(pskBankTest, detectorsMayBeResetAndRetunedBetweenBlocks) {
  const auto sound = band();
  bank plain(14), together(14);
  for (size_t n = 0; n * block < sound.size(); n++) {
    plain.runPlain(sound.data() + n * block, block);
    together.runTogether(sound.data() + n * block, block, GetParam());
    ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, n));
    for (bank* b : {&plain, &together}) {
      CPSKDet& d = b->detectors[8 + n % 6];
      d.setRxFrequency(500 + static_cast<int32_t>(n));
      d.reset();
    }
  }
  expectAlike(plain, together);
}

TEST_P(pskBankTest, whatDoesntFitIntoStridesRunsOneByOne) {
  const auto sound = band();
  bank plain(12), together(12);
  int32_t length = 1;
  for (size_t at = 0; at + block < sound.size(); at += static_cast<size_t>(length)) {
    length = at % 3 == 0 ? 512 : at % 3 == 1 ? 7 : 505;
    plain.runPlain(sound.data() + at, length);
    together.runTogether(sound.data() + at, length, GetParam());
    ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, at));
  }
  plain.runPlain(nullptr, 0);
  together.runTogether(nullptr, 0, GetParam());
  expectAlike(plain, together);
}

TEST_P(pskBankTest, plainAndTogetherMayTakeTurns) {
  const auto sound = band();
  bank plain(18), mixed(18);
  for (size_t n = 0; n * block < sound.size(); n++) {
    plain.runPlain(sound.data() + n * block, block);
    if (n % 3)
      mixed.runTogether(sound.data() + n * block, block, GetParam());
    else
      mixed.runPlain(sound.data() + n * block, block);
    ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, mixed, n));
  }
  expectAlike(plain, mixed);
}

TEST_P(pskBankTest, aLaneWithHostileValuesHarmsNoOther) {
  auto sound = band();
  bank plain(18), together(18);
  const int32_t hostile[] = {INT_MIN, -8000, -1, 0, 4000, INT_MAX};
  for (size_t i = 0; i < 6; i++) together.detectors[12 + i].setRxFrequency(hostile[i]);
  for (size_t n = 0; n * block < sound.size(); n++) {
    sound[n * block + n % block] = n % 2 ? double{NAN} : double{INFINITY};
    plain.runPlain(sound.data() + n * block, block);
    together.runTogether(sound.data() + n * block, block, GetParam());
    ASSERT_NO_FATAL_FAILURE(expectSameDecisions(plain, together, n, 12));
  }
  for (size_t i = 12; i < 18; i++) {
    EXPECT_TRUE(std::isfinite(together.detectors[i].agcLevel)) << i;
    EXPECT_TRUE(std::isfinite(together.detectors[i].afc.increment())) << i;
    EXPECT_TRUE(std::isfinite(together.detectors[i].ncoPhase)) << i;
  }
  plain.detectors.resize(12);
  together.detectors.resize(12);
  plain.texts.resize(12);
  together.texts.resize(12);
  expectAlike(plain, together);
}

TEST(pskBankLimitTest, whatIsBeyondTenCharactersOfABlockIsLost) {
  pskSignal s;
  s.mode = 16;
  auto sound = samplesOf(s, turnsOf(s, "the quick brown fox"));
  sound.resize(sound.size() / 16 * 16);
  CPSKDet d;
  d.setMode(16);
  d.varicodeTable = reverseVaricode();
  CPSKDet* const pointer = &d;
  pskText text[2];
  text[1].count = 77;
  processDetectors({&pointer, 1}, sound.data(), static_cast<int32_t>(sound.size()), text);
  EXPECT_EQ(std::string(text[0].characters, static_cast<size_t>(text[0].count)), "the quick ");
  EXPECT_EQ(text[1].count, 77);
}
