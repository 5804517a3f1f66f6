#include "modes/CPSKDet.h"
#include "tests/support/allocationCounter.h"
#include "tests/support/pskTestSender.h"
#include <algorithm>
#include <climits>
#include <gtest/gtest.h>

using namespace larch;
using namespace larch::testing_psk;

namespace {

const std::string message = "The quick brown fox jumps over the lazy dog 0123456789 = ? %";
constexpr int32_t allModes[] = {0, 8, 16, 1, 9, 17};
constexpr int32_t block = 512;

CPSKDet detector(int32_t mode, int32_t frequency = 1500) {
  CPSKDet d;
  d.setMode(mode);
  d.varicodeTable = reverseVaricode();
  d.setRxFrequency(frequency);
  d.reset();
  return d;
}

std::string receive(CPSKDet& d, const std::vector<double>& samples, int32_t blockLength = block) {
  std::string text;
  char out[CPSKDet::maxCharacters];
  for (size_t at = 0; at < samples.size(); at += static_cast<size_t>(blockLength)) {
    const auto count = std::min<size_t>(static_cast<size_t>(blockLength), samples.size() - at);
    text.append(out, static_cast<size_t>(d.processBlock(samples.data() + at, static_cast<int32_t>(count), out)));
  }
  return text;
}

std::string overTheAir(pskSignal signal, const std::string& text = message) {
  CPSKDet d = detector(signal.mode);
  if (signal.reversed) d.detectMode = detectReversedQpsk;
  return receive(d, samplesOf(signal, turnsOf(signal, text)));
}

bool heard(const std::string& text, const std::string& wanted = message) { return text.find(wanted) != std::string::npos; }

} // namespace

class CPSKDetModeTest : public testing::TestWithParam<int32_t> {
 protected:
  pskSignal signal() const {
    pskSignal s;
    s.mode = GetParam();
    return s;
  }
  double baud() const { return signal().baud(); }
};
INSTANTIATE_TEST_SUITE_P(allModes, CPSKDetModeTest, testing::ValuesIn(allModes));

TEST_P(CPSKDetModeTest, decodesACleanSignalWithoutAnErrorAndNothingElse) { EXPECT_EQ(overTheAir(signal()), message); }

TEST_P(CPSKDetModeTest, decodesInNoise) {
  for (uint32_t seed = 1; seed <= 3; seed++) {
    pskSignal s = signal();
    s.seed = seed;
    s.setNoise(GetParam() & 1 ? 15 : 12);
    EXPECT_TRUE(heard(overTheAir(s))) << seed;
  }
}

// In hertz: what the discriminator can still pull in.
TEST_P(CPSKDetModeTest, acquiresASignalBesideItsFrequency) {
  const double reach = (GetParam() & 1 ? 0.3 : 0.36) * baud();
  for (const double offset : {-reach, -reach / 2, reach / 2, reach}) {
    pskSignal s = signal();
    s.frequency += offset;
    CPSKDet d = detector(GetParam(), 1400);
    d.setRxFrequency(1500);
    EXPECT_TRUE(heard(receive(d, samplesOf(s, turnsOf(s, message))))) << offset;
    EXPECT_NEAR(d.afc.rxFrequency, s.frequency, 2) << offset;
  }
}

TEST_P(CPSKDetModeTest, followsADriftingSender) {
  for (const double sign : {-1.0, 1.0}) {
    pskSignal s = signal();
    s.drift = sign * baud() / 125;
    EXPECT_TRUE(heard(overTheAir(s))) << s.drift;
  }
}

TEST_P(CPSKDetModeTest, bearsTheClockErrorOfTheSender) {
  const std::string text = message + message + message; // long enough for several slots
  for (const double ppm : {-300.0, 300.0}) {
    pskSignal s = signal();
    s.clockError_ppm = ppm;
    EXPECT_TRUE(heard(overTheAir(s, text), text)) << ppm;
  }
}

TEST_P(CPSKDetModeTest, hearsNothingInNoise) {
  pskSignal s = signal();
  s.amplitude = 0;
  s.noise = 10000;
  EXPECT_EQ(overTheAir(s, message), "");
}

TEST_P(CPSKDetModeTest, aStrongNeighbourDoesNoHarm) {
  pskSignal s = signal(), neighbour = signal();
  s.amplitude = 1000;
  neighbour.frequency += 5 * baud();
  auto samples = samplesOf(s, turnsOf(s, message));
  const auto other = samplesOf(neighbour, turnsOf(neighbour, "another text that goes on for a while, 20 dB above"));
  for (size_t n = 0; n < std::min(samples.size(), other.size()); n++) samples[n] += other[n];
  CPSKDet d = detector(GetParam());
  EXPECT_TRUE(heard(receive(d, samples)));
}

TEST_P(CPSKDetModeTest, theLengthOfTheBlocksDoesntMatter) {
  pskSignal s = signal();
  s.setNoise(10);
  const auto samples = samplesOf(s, turnsOf(s, message));
  CPSKDet reference = detector(GetParam());
  const std::string expected = receive(reference, samples);
  for (const int32_t length : {1, 7, 511, 513}) {
    CPSKDet d = detector(GetParam());
    EXPECT_EQ(receive(d, samples, length), expected) << length;
    EXPECT_EQ(d.ncoPhase, reference.ncoPhase) << length;
    EXPECT_EQ(d.agcLevel, reference.agcLevel) << length;
    EXPECT_EQ(d.sampleIndex, reference.sampleIndex) << length;
  }
}

TEST(CPSKDetTest, decodesEveryCharacter) {
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  for (const int32_t mode : {0, 17}) {
    pskSignal s;
    s.mode = mode;
    EXPECT_EQ(overTheAir(s, all), all) << mode;
  }
}

TEST(CPSKDetTest, theSenseOfRotationMattersInQpsk) {
  pskSignal s;
  s.mode = 1;
  s.reversed = true;
  EXPECT_TRUE(heard(overTheAir(s))); // by detectReversedQpsk
  CPSKDet d = detector(1);
  EXPECT_FALSE(heard(receive(d, samplesOf(s, turnsOf(s, message)))));
}

TEST(CPSKDetTest, aCallWithoutSamplesLeavesEverythingAlone) {
  CPSKDet d = detector(0, 1000);
  const std::vector<double> samples(block + 5, 1000);
  receive(d, samples);
  const CPSKDet before = d;
  char out[CPSKDet::maxCharacters];
  for (const int32_t count : {0, -1, INT_MIN}) EXPECT_EQ(d.processBlock(nullptr, count, out), 0);
  EXPECT_EQ(d.ncoPhase, before.ncoPhase);
  EXPECT_EQ(d.sampleIndex, before.sampleIndex);
  EXPECT_EQ(d.ring1.index, before.ring1.index);
  EXPECT_EQ(d.afc.acquireCount, before.afc.acquireCount);
  EXPECT_EQ(d.afc.rxFrequency, before.afc.rxFrequency);
}

TEST(CPSKDetTest, anIdleCarrierClosesTheBpskSquelch) {
  pskSignal s;
  const auto idle = turnsOf(s, "", 30);
  std::vector<int> turns = idle;
  turns.insert(turns.end(), 15, 0);
  CPSKDet d = detector(0);
  receive(d, samplesOf(s, turns));
  EXPECT_TRUE(d.quality.squelchOpen); // not yet
  turns = idle;
  turns.insert(turns.end(), 40, 0);
  const auto samples = samplesOf(s, turns);
  d = detector(0);
  receive(d, std::vector<double>(samples.begin(), samples.end() - 1000)); // without the silence behind
  EXPECT_GE(d.quality.badCount, 21);
  EXPECT_FALSE(d.quality.squelchOpen);
}

TEST(CPSKDetTest, aWeakSignalKeepsTheSquelchClosed) {
  pskSignal s;
  s.amplitude = 18; // half of it, and the filter's gain, at the AGC
  EXPECT_EQ(overTheAir(s), "");
  s.amplitude = 60;
  EXPECT_TRUE(heard(overTheAir(s)));
}

TEST(CPSKDetTest, theSameFrequencyDoesNotRestartAcquisition) {
  CPSKDet d = detector(0, 1000);
  d.quality.positiveRun = 3;
  receive(d, std::vector<double>(20 * block, 0));
  EXPECT_EQ(d.afc.acquireCount, 0);
  d.setRxFrequency(1000);
  EXPECT_EQ(d.afc.acquireCount, 0);
  d.setRxFrequency(1001);
  EXPECT_EQ(d.afc.acquireCount, 10);
  EXPECT_EQ(d.quality.positiveRun, 0);
}

TEST(CPSKDetTest, whatIsBeyondTenCharactersOfABlockIsLost) {
  pskSignal s;
  s.mode = 16;
  const auto samples = samplesOf(s, turnsOf(s, message));
  CPSKDet d = detector(16);
  char out[CPSKDet::maxCharacters + 1];
  out[CPSKDet::maxCharacters] = 'x';
  EXPECT_EQ(d.processBlock(samples.data(), static_cast<int32_t>(samples.size()), out), 10);
  EXPECT_EQ(std::string(out, 11), message.substr(0, 10) + "x");
}

TEST(CPSKDetTest, aSpeedOf125WinsOver63) {
  CPSKDet d;
  d.setMode(8 | 16 | 1);
  EXPECT_EQ(d.detectMode, detectQpsk);
  EXPECT_EQ(d.clock.peakSlot, 5);
  d.varicodeTable = reverseVaricode();
  pskSignal s;
  s.mode = 17;
  EXPECT_TRUE(heard(receive(d, samplesOf(s, turnsOf(s, message)))));
}

TEST(CPSKDetTest, resetKeepsFrequencyRatesAndLimits) {
  pskSignal s;
  s.mode = 9;
  s.frequency = 1012;
  CPSKDet d = detector(9, 1000);
  receive(d, samplesOf(s, turnsOf(s, message)));
  ASSERT_NEAR(d.afc.rxFrequency, 1012, 1);
  d.clock.clockError = d.clock.clockDrift = d.clock.clockCycles = 5;
  const CPSKDet before = d;
  d.reset();
  EXPECT_EQ(d.afc.nominalIncrement, before.afc.nominalIncrement);
  EXPECT_EQ(d.afc.afcHigh, before.afc.afcHigh);
  EXPECT_EQ(d.afc.afcLow, before.afc.afcLow);
  EXPECT_EQ(d.afc.afcLimit, before.afc.afcLimit);
  EXPECT_EQ(d.afc.rxFrequency, before.afc.rxFrequency);
  EXPECT_TRUE(d.rate63);
  EXPECT_EQ(d.detectMode, detectQpsk);
  EXPECT_EQ(d.agcLevel, before.agcLevel);
  for (const double e : d.clock.syncEnergy) EXPECT_EQ(e, 0);
  EXPECT_EQ(d.clock.clockError + d.clock.clockDrift + d.clock.clockCycles, 0);
  EXPECT_EQ(d.quality.squelchLevel, 90.0);
  EXPECT_EQ(d.quality.quality, 10);
  EXPECT_EQ(d.ring1.index, 34);
  EXPECT_EQ(d.ring2.index, 34);
  EXPECT_EQ(d.ring3.index, 64);
  EXPECT_EQ(*std::max_element(d.ring1.i.begin(), d.ring1.i.end()), 0);
  EXPECT_EQ(*std::max_element(d.ring3.q.begin(), d.ring3.q.end()), 0);
}

// Twenty-one steps at the angle of no change: the best path is all ones, which is what an idle encoder of ones sends.
TEST(CPSKDetTest, resetPutsTheTrellisIntoTheIdleState) {
  CPSKDet d = detector(1);
  size_t best = 0;
  for (size_t state = 0; state < d.trellis.survivors.size(); state++)
    if (d.trellis.survivors[state].distance == 0) best = state;
  EXPECT_EQ(best, 15u);
  EXPECT_EQ(d.trellis.survivors[15].bits & 0xfffff, 0xfffffu);
}

TEST(CPSKDetTest, theAgcBringsASignalToOne) {
  for (const double amplitude : {100.0, 30000.0}) {
    pskSignal s;
    s.amplitude = amplitude;
    s.start = 0;
    const auto samples = samplesOf(s, std::vector<int>(400, 0));
    CPSKDet d = detector(0);
    receive(d, std::vector<double>(samples.begin(), samples.end() - 1000));
    EXPECT_NEAR(d.agcLevel, amplitude / 2 * 1.0353, amplitude * 0.01);
    EXPECT_NEAR(std::hypot(d.freqFilterOut.i, d.freqFilterOut.q), 1.0, 0.01);
    EXPECT_NEAR(std::hypot(d.bitFilterOut.i, d.bitFilterOut.q), 0.85406 / 1.0353, 0.01);
  }
}

TEST(CPSKDetTest, aLevelBelowOneIsNotBroughtUp) {
  pskSignal s;
  s.amplitude = 1;
  s.start = 0;
  const auto samples = samplesOf(s, std::vector<int>(400, 0));
  CPSKDet d = detector(0);
  receive(d, std::vector<double>(samples.begin(), samples.end() - 1000));
  EXPECT_NEAR(std::hypot(d.freqFilterOut.i, d.freqFilterOut.q), 0.5 * 1.0353, 0.01);
}

// Idle reversals are one line at half the symbol rate.
TEST(CPSKDetTest, measuresIntermodulationOnTheIdleSignal) {
  pskSignal s;
  const auto samples = samplesOf(s, turnsOf(s, "", 200));
  CPSKDet d = detector(0);
  receive(d, std::vector<double>(samples.begin(), samples.end() - 2000));
  EXPECT_TRUE(d.quality.imdValid);
  EXPECT_GT(d.imd.energy[0], 1e4 * d.imd.energy[1]);
  EXPECT_GT(d.imd.energy[0], 1e4 * d.imd.energy[2]);
}

TEST(CPSKDetTest, displaysReversalsOnOneSide) {
  pskSignal s;
  const auto samples = samplesOf(s, turnsOf(s, "", 200));
  CPSKDet d = detector(0);
  receive(d, std::vector<double>(samples.begin(), samples.end() - 2000));
  for (size_t k = 0; k < d.iqDisplay.size(); k += 2) {
    EXPECT_NEAR(d.iqDisplay[k], 0, 50);
    EXPECT_NEAR(d.iqDisplay[k + 1], -1000, 5);
  }
  receive(d, std::vector<double>(80000, 0)); // nothing to show: around the middle
  EXPECT_EQ(d.iqDisplay[0], 2);
  EXPECT_EQ(d.iqDisplay[1], 2);
}

TEST(CPSKDetTest, followsASenderToTheLimitOfItsRangeAndNoFurther) {
  for (const double sign : {-1.0, 1.0}) {
    pskSignal s;
    s.mode = 16;
    s.drift = sign * 2;
    CPSKDet d = detector(16, 1000);
    d.setRxFrequency(1500);
    int32_t farthest = 1500;
    const auto samples = samplesOf(s, turnsOf(s, "", 2500)); // 40 s, 80 Hz
    for (size_t at = 0; at + block <= samples.size(); at += block) {
      char out[CPSKDet::maxCharacters];
      d.processBlock(samples.data() + at, block, out);
      if (sign * (d.afc.rxFrequency - farthest) > 0) farthest = d.afc.rxFrequency;
    }
    EXPECT_NEAR(farthest, 1500 + sign * 51, 2) << sign; // acquisition had gone one hertz
  }
}

TEST(CPSKDetTest, measuresTheSendersClock) {
  pskSignal s;
  s.mode = 16;
  s.clockError_ppm = -1000;
  const auto samples = samplesOf(s, turnsOf(s, message + message + message + message));
  CPSKDet d = detector(16);
  receive(d, std::vector<double>(samples.begin(), samples.end() - 4000));
  EXPECT_NEAR(d.clock.clockError, 1000, 200); // a slow sender: the slots move up
}

TEST(CPSKDetTest, enduresHostileSamplesAndHearsAgain) {
  const double hostile[] = {double{NAN}, double{INFINITY}, -double{INFINITY}, 1e308, -1e308, 1e9, -1e9, 5e-324, 0.0};
  std::mt19937 random(1);
  std::vector<double> samples(20 * block);
  for (double& x : samples) x = hostile[random() % std::size(hostile)];
  for (const int32_t mode : allModes) {
    CPSKDet d = detector(mode);
    receive(d, samples);
    EXPECT_TRUE(std::isfinite(d.agcLevel));
    EXPECT_TRUE(std::isfinite(d.afc.increment()));
    receive(d, std::vector<double>(25 * 8000, 0.0)); // the AGC comes down
    d.setRxFrequency(1400);
    d.setRxFrequency(1500);
    d.reset();
    pskSignal s;
    s.mode = mode;
    EXPECT_TRUE(heard(receive(d, samplesOf(s, turnsOf(s, message))))) << mode;
  }
}

TEST(CPSKDetTest, enduresEveryFrequencyAndHearsAgain) {
  pskSignal s;
  const auto samples = samplesOf(s, turnsOf(s, message));
  for (const int32_t hertz : {INT_MIN, INT_MIN + 1, -8000, -1500, -1, 1, 4000, 6500, 8000, INT_MAX - 1, INT_MAX}) {
    CPSKDet d = detector(0, hertz);
    receive(d, samples);
    d.setRxFrequency(hertz); // may differ from where the AFC took it
    receive(d, samples);
    d.setRxFrequency(1500);
    d.reset();
    EXPECT_TRUE(heard(receive(d, samples))) << hertz;
  }
}

TEST(CPSKDetTest, aBlockAllocatesNothing) {
  const auto samples = samplesOf({}, turnsOf({}, message));
  CPSKDet d = detector(0);
  char out[CPSKDet::maxCharacters];
  const int64_t before = test::allocationsOfThisThread();
  int32_t characters = 0;
  for (size_t at = 0; at + block <= samples.size(); at += block) characters += d.processBlock(samples.data() + at, block, out);
  EXPECT_EQ(test::allocationsOfThisThread() - before, 0);
  EXPECT_GT(characters, 0);
}

TEST(CPSKDetTest, detectorsShareNothing) {
  pskSignal a, b;
  b.frequency = 1000;
  const std::string other = "something else";
  auto samples = samplesOf(a, turnsOf(a, message));
  const auto second = samplesOf(b, turnsOf(b, other));
  for (size_t n = 0; n < std::min(samples.size(), second.size()); n++) samples[n] += second[n];
  CPSKDet first = detector(0), last = detector(0, 1000);
  std::string textA, textB;
  for (size_t at = 0; at + block <= samples.size(); at += block) {
    const std::vector<double> part(samples.begin() + static_cast<long>(at), samples.begin() + static_cast<long>(at + block));
    textA += receive(first, part);
    textB += receive(last, part);
  }
  EXPECT_TRUE(heard(textA));
  EXPECT_TRUE(heard(textB, other));
}
